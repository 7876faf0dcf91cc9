// Tools as their users see them: words in, text and exit code out, beside the simulated service.
#ifndef ORVI_TEST_TOOL_TEST_H
#define ORVI_TEST_TOOL_TEST_H

#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <sched.h>
#include <string>
#include <vector>

#include "directions/words.h"
#include "simulator_process.h"

namespace orvi_test {

class ToolTest : public testing::Test {
 protected:
    // `line` has words as a shell's; `wrapper` starts the program.
    std::unique_ptr<ChildProcess> Start(const std::string& program, const std::string& line,
                                        const std::vector<std::string>& wrapper = {}) {
        std::vector<std::string> words;
        EXPECT_TRUE(orvi_sim::SplitLine(line, words));
        return std::make_unique<ChildProcess>(program, words, sandbox_.Path("errors"), wrapper);
    }

    // One that has said on standard error that it has begun.
    std::unique_ptr<ChildProcess> StartListening(const std::string& program, const std::string& line) {
        (void)std::remove(sandbox_.Path("errors").c_str());
        auto child = Start(program, line);
        while (child->IsAlive() && ReadFile(sandbox_.Path("errors")).empty()) {
            (void)sched_yield();
        }
        return child;
    }

    static int End(ChildProcess& child, std::string& output) {
        child.CloseInput();
        for (std::string line; child.ReadLine(line);) {
            output += line + "\n";
        }
        return child.Wait();
    }

    // Appends its output, then its errors.
    int Run(const std::string& program, const std::string& line, std::string& output,
            const std::vector<std::string>& wrapper = {}) {
        (void)std::remove(sandbox_.Path("errors").c_str());
        const int code = End(*Start(program, line, wrapper), output);
        output += ReadFile(sandbox_.Path("errors"));
        return code;
    }

    static std::string Stop(ChildProcess& child) {
        child.Signal(SIGINT);
        std::string output;
        EXPECT_EQ(End(child, output), 0);
        return output;
    }

    BusSandbox sandbox_;
    SimulatorProcess simulator_{sandbox_};
};

}  // namespace orvi_test

#endif
