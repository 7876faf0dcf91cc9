// The header for C++ tests, with an application in a process of its own.
#include <fstream>
#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>
#include <regex>

#include "orvi/test/room_gtest.hpp"
#include "simulator_process.h"

namespace orvi_test {
namespace {

using namespace std::chrono_literals;
using orvi::test::Failure;
using orvi::test::Holds;
using orvi::test::IsAsked;
using orvi::test::IsNotAsked;
using orvi::test::Room;

class RoomTest : public testing::Test {
 protected:
    void SetUp() override {
        if (*ORVI_TEST_EMULATOR != '\0') {
            GTEST_SKIP() << "what it starts does not know the emulator";
        }
        unsetenv("ORVI_TEST_PROGRAMS");
    }

    int Call(const std::vector<std::string>& words) {
        ChildProcess application("orvi-ai", words, sandbox_.Path("errors"));
        return application.Wait();
    }

    std::string Scenario(const std::string& text) const {
        std::ofstream(sandbox_.Path("s.jsonl")) << text << "\n";
        return sandbox_.Path("s.jsonl");
    }

    template <class Function>
    static std::string WhatFails(Function function) {
        try {
            function();
        } catch (const Failure& failure) {
            return failure.what();
        }
        return "nothing";
    }

    BusSandbox sandbox_;
};

TEST_F(RoomTest, DirectsAndExpects) {
    Room room{Scenario(R"({"on": "lock.state", "do": "person enters", "name": "Grace \"G\" Hopper"})")};
    EXPECT_THAT(room, IsNotAsked("lock.state"));
    EXPECT_EQ(Call({"lock", "state", "7"}), 0);
    EXPECT_NE(room.expect("lock.state").with("state", 7).within(20s), "");
    EXPECT_THAT(room, IsAsked("lock.state").With("state", 7).Within(20s));
    EXPECT_TRUE(Holds(room.expect_no("caption.start")));

    // What is wrong is told in the words of the service.
    EXPECT_THAT(WhatFails([&] { (void)room.expect("lock.state").with("state", 8).now(); }),
                testing::HasSubstr("state=7"));
    EXPECT_FALSE(Holds(room.expect("lock.state").with("state", 8), 1ms));
    EXPECT_THAT(WhatFails([&] { room.person_leaves("Nobody"); }), testing::HasSubstr("nobody named 'Nobody' is here"));
    EXPECT_THAT(WhatFails([&] { (void)room.expect("lock.stat").now(); }),
                testing::HasSubstr("'lock.stat' is no message"));
    EXPECT_THAT(WhatFails([&] { room.say("two\nlines"); }), testing::HasSubstr("no line's end"));

    room.mark();
    EXPECT_THAT(room, IsNotAsked("lock.state"));
    room.person_enters("Ada \"A\" \\ Lovelace", true);
    EXPECT_THAT(room.direct("persons"), testing::HasSubstr("Ada \"A\" \\ Lovelace"));
    EXPECT_THAT(room.direct("persons"), testing::HasSubstr("Grace \"G\" Hopper"));
    room.refuse("nameplate.init", "busy", "--once");
    EXPECT_NE(Call({"nameplate", "init"}), 0);
    EXPECT_EQ(Call({"nameplate", "init"}), 0);
    room.restart();
    EXPECT_THAT(room.direct("persons"), testing::Not(testing::HasSubstr("Ada")));
    EXPECT_EQ(Call({"lock", "state", "9"}), 0);
    EXPECT_THAT(room, IsAsked("lock.state").With("state", 9));

    // A service that is gone is told of, and no surprise at the end.
    room.direct("crash");
    EXPECT_EQ(room.ask("faces 3").code, orvi::test::Answer::NOBODY);
    room.close();
    EXPECT_THAT(WhatFails([&] { room.faces(3); }), testing::HasSubstr("the room has ended"));
    EXPECT_THAT(WhatFails([] { const Room second{""}; }), testing::HasSubstr("one room with a service of its own"));
}

TEST_F(RoomTest, AScenarioThatFailsFailsTheRoom) {
    Room room{Scenario(R"({"at": "0s", "do": "person leaves", "name": "Nobody"})")};
    room.direct("await sent");
    EXPECT_THAT(WhatFails([&] { room.close(); }), testing::HasSubstr("exit code 1"));
}

TEST_F(RoomTest, AScenarioWithAFaultMakesNoRoom) {
    EXPECT_THAT(WhatFails([&] { const Room room{Scenario("{}")}; }), testing::HasSubstr("the room did not start"));
}

// Each block of a shell runs, and each block of code stands in a file that is built and tested elsewhere.
TEST_F(RoomTest, DocumentationRuns) {
    setenv("PATH", (std::string(ORVI_TEST_BIN_DIR ":") + getenv("PATH")).c_str(), 1);
    const struct {
        const char* page;
        std::vector<const char*> files;
    } pages[] = {
        {"docs/testing.md",
         {"examples/template/CMakeLists.txt", "examples/template/tests/board_unit_test.cpp",
          "examples/template/tests/board_room_test.cpp", "examples/template/tests/meeting.jsonl",
          "examples/template/src/caption_board.cpp"}},
        {"docs/cpp.md", {"examples/cpp_captions.cpp"}},
    };
    for (const auto& one : pages) {
        const std::string page = ReadFile(std::string(ORVI_SOURCE_DIR "/") + one.page);
        std::string code;
        for (const char* file : one.files) {
            code += ReadFile(std::string(ORVI_SOURCE_DIR "/") + file);
        }
        const std::regex block("\n```([a-z]+)\n([^`]*)```\n");
        int blocks = 0;
        for (std::sregex_iterator match(page.begin(), page.end(), block), end; match != end; ++match, ++blocks) {
            const std::string text = (*match)[2];
            if ((*match)[1] != "sh") {
                EXPECT_NE(code.find(text), std::string::npos) << text << "is in no file of " << one.page;
                continue;
            }
            ChildProcess shell("/bin/bash", {"-c", "set -e\n" + text}, sandbox_.Path("errors"));
            EXPECT_EQ(shell.Wait(), 0) << text << ReadFile(sandbox_.Path("errors"));
        }
        EXPECT_GE(blocks, 5);
    }
}

}  // namespace
}  // namespace orvi_test
