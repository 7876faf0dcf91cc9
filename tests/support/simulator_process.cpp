#include "simulator_process.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <signal.h>

namespace orvi_test {

void SimulatorProcess::Start(const std::vector<std::string>& options) {
    std::vector<std::string> arguments{"--control"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const char* const other = std::getenv("ORVI_TEST_SIMULATOR");
    child_ = std::make_unique<ChildProcess>(other != nullptr ? other : "orvi-vision-sim", arguments,
                                            sandbox_.Path("service.log"));
    ASSERT_TRUE(child_->ReadUntil("ready AI_VISION")) << Log();
}

std::string SimulatorProcess::Ask(const std::string& line) {
    child_->WriteLine(line);
    std::string answer;
    if (!child_->ReadLine(answer)) {
        ADD_FAILURE() << "no answer to \"" << line << "\"";
    }
    return answer;
}

std::string SimulatorProcess::Command(const std::string& line) {
    const std::string answer = Ask(line);
    EXPECT_EQ(answer.substr(0, 2), "ok") << line << ": " << answer;
    return answer.size() > 3 ? answer.substr(3) : "";
}

void SimulatorProcess::Await(const std::string& what) {
    const std::chrono::milliseconds limit = PATIENCE - std::chrono::seconds(2);
    Command("await " + what + " " + std::to_string(limit.count()) + "ms");
}

void SimulatorProcess::Kill() {
    child_->Signal(SIGKILL);
    EXPECT_EQ(child_->Wait(), -SIGKILL);
    child_.reset();
}

int SimulatorProcess::Stop(int signal) {
    child_->Signal(signal);
    const int result = child_->Wait();
    child_.reset();
    return result;
}

std::string SimulatorProcess::Log() const {
    return ReadFile(sandbox_.Path("service.log"));
}

}  // namespace orvi_test
