// orvi-room as its user sees it: words in, text and exit code out, with the simulated service in another process.
#include <gtest/gtest.h>
#include <regex>
#include <signal.h>

#include "directions/vocabulary.h"
#include "directions/words.h"
#include "simulator_process.h"

namespace orvi_test {
namespace {

struct Ended {
    int code;
    std::string output;  // then the errors
};

class OrviRoomTest : public testing::Test {
 protected:
    std::unique_ptr<ChildProcess> Start(const std::string& line) {
        std::vector<std::string> words;
        EXPECT_TRUE(orvi_sim::SplitLine(line, words));
        (void)std::remove(sandbox_.Path("errors").c_str());
        return std::make_unique<ChildProcess>("orvi-room", words, sandbox_.Path("errors"));
    }

    Ended End(ChildProcess& child) const {
        std::string output;
        for (std::string line; child.ReadLine(line);) {
            output += line + "\n";
        }
        const int code = child.Wait();
        return {code, output + ReadFile(sandbox_.Path("errors"))};
    }

    Ended Run(const std::string& line) {
        const auto child = Start(line);
        child->CloseInput();
        return End(*child);
    }

    // A file with more than the bus carries at once.
    std::string Long() {
        std::ofstream(sandbox_.Path("long")) << "say " << std::string(17U << 20, 'x') << "\n";
        return sandbox_.Path("long");
    }

    BusSandbox sandbox_;
    SimulatorProcess simulator_{sandbox_};
};

TEST_F(OrviRoomTest, SaysWhatCameOfIt) {
    EXPECT_EQ(Run("state").code, 3);
    simulator_.Start({"--arrival", "0"});
    const struct {
        std::string line;
        int code;
        const char* says;
    } cases[] = {
        {"", 2, "a direction is missing"},
        {"nonsense", 2, "there is no command 'nonsense', help tells them"},
        {"person", 2, "there is person enters, person leaves"},
        {"mic loud", 2, "'loud' is none of on|off; it is: mic on|off"},
        {"refuse caption.strat busy", 2, "there are caption.init, caption.start, "},
        {"person enters --name \"Ada \\\"A\\\" L\" --kind guest", 0, "waits for the check-in"},
        {"persons", 0, "\nAda \"A\" L (user-0013): guest, waits for the check-in\n"},
        {"person leaves --name Nobody", 1, "nobody named 'Nobody' is here"},
        {"say \"good morning\"", 0, "not heard: the assistant sleeps"},
        {"silent lock.state --once", 0, ""},
        {"status", 0, "faults: silent lock.state --once: 0 of 0\n"},
        {"push \"text:two words\"", 2, "is no message"},
        {"push assistant.mic \"text:two words\" --raw", 0, "0\n"},
        {"expect lock.state", 1, "no lock.state came; nothing else did"},
        {"run /dev/null", 0, ""},
        {"run /absent", 2, "/absent cannot be read"},
        {"run /", 2, "/ cannot be read"},
        {"run " + Long(), 2, "this direction is too long: "},
        {"quit", 0, ""},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.line);
        const Ended ended = Run(testCase.line);
        EXPECT_EQ(ended.code, testCase.code) << ended.output;
        EXPECT_NE(ended.output.find(testCase.says), std::string::npos) << ended.output;
    }
    EXPECT_EQ(simulator_.Child().Wait(), 0);
}

// Nor is an answer put into whatever has the number of a closed output.
TEST_F(OrviRoomTest, AnAnswerThatCannotBeWrittenIsAFailure) {
    if (*ORVI_TEST_EMULATOR != '\0') {
        GTEST_SKIP() << "the emulator may take the descriptors for itself";
    }
    simulator_.Start({"--arrival", "0"});
    for (const char* output : {">&-", ">/dev/full"}) {
        ChildProcess shell("/bin/sh",
                           {"-c", std::string(ORVI_TEST_EMULATOR) + " " ORVI_TEST_BIN_DIR "/orvi-room clock " + output},
                           sandbox_.Path("errors"));
        const Ended ended = End(shell);
        EXPECT_EQ(ended.code, 1) << output;
        EXPECT_NE(ended.output.find("orvi-room: what was told cannot be written\n"), std::string::npos) << ended.output;
    }
}

// One that waits holds up nobody, and is told when the service dies.
TEST_F(OrviRoomTest, ManyAtOnce) {
    if (*ORVI_TEST_EMULATOR != '\0') {
        GTEST_SKIP() << "an emulated service cannot start itself again";
    }
    simulator_.Start();
    const auto waiting = Start("expect lock.state --within 1h");
    std::vector<std::unique_ptr<ChildProcess>> others;
    for (int i = 0; i < 8; ++i) {
        others.push_back(Start("mic on"));
    }
    for (const auto& other : others) {
        EXPECT_EQ(other->Wait(), 0);
    }
    EXPECT_EQ(Run("restart").code, 0);
    EXPECT_EQ(waiting->Wait(), 3);
    EXPECT_TRUE(simulator_.Child().ReadUntil("ready AI_VISION"));
    EXPECT_EQ(Run("crash").code, 0);
    EXPECT_EQ(simulator_.Child().Wait(), -SIGKILL);
}

// What is said in the room is what an application meets.
TEST_F(OrviRoomTest, TheRoomDoesAsItIsTold) {
    simulator_.Start({"--arrival", "0"});
    const struct {
        std::vector<const char*> directions;
        std::vector<std::string> application;  // words of orvi-ai
        const char* sees;
    } cases[] = {
        {{"model answers \"seven chairs\"", "model pace 0ms"}, {"model", "ask", "how many"}, "seven chairs"},
        {{"model fails busy"}, {"model", "ask", "how many"}, "busy"},
        {{"model usual"}, {"model", "ask", "how many"}, "You asked"},
        {{"ability cloud-model off"}, {"ability"}, "cloudModel        0"},
        {{"faces 0"}, {"face", "start", "--rate", "30", "--count", "1"}, "count=0"},
        {{"faces 2", "face 2 300 200"}, {"face", "start", "--rate", "30", "--count", "1", "--json"}, "\"left\":225"},
        {{"faces usual"}, {"face", "start", "--rate", "30", "--count", "1"}, "face=1003"},
        {{"refuse nameplate.init busy --once"}, {"nameplate", "init"}, "OrviAiSrvNamePlateInit returned -1"},
    };
    for (const auto& testCase : cases) {
        for (const char* direction : testCase.directions) {
            SCOPED_TRACE(direction);
            EXPECT_EQ(Run(direction).code, 0);
        }
        ChildProcess application("orvi-ai", testCase.application, sandbox_.Path("errors"));
        const Ended ended = End(application);
        EXPECT_NE(ended.output.find(testCase.sees), std::string::npos) << testCase.directions[0] << ended.output;
    }
    simulator_.Command("conversation off");
    ChildProcess application("orvi-ai", {"run", "-"}, sandbox_.Path("errors"));
    for (const char* line :
         {"caption init", "caption start --conference C --report", "checkin init", "checkin start --conference C",
          "checkin start-report --conference C", "wait checkin.arrival", "wait caption.line"}) {
        application.WriteLine(line);
    }
    simulator_.Await("request checkin.start-report 1");
    EXPECT_EQ(Run("person enters --name Zoe").output, "checked in\n");
    EXPECT_EQ(Run("caption --speaker Zoe good morning").code, 0);
    EXPECT_TRUE(application.ReadUntil("name=\"Zoe\""));
    EXPECT_TRUE(application.ReadUntil("speaker=\"Zoe\" text=\"good morning\""));
    EXPECT_EQ(Run("person leaves --name Zoe").code, 0);
    EXPECT_EQ(Run("expect caption.start conference=C report=1").code, 0);
}

// Each row explains itself without a service, and is completed.
TEST_F(OrviRoomTest, HelpAndCompletionAreComplete) {
    const std::string completion = Run("--completion bash").output;
    const std::string overview = Run("--help").output;
    for (const orvi_sim::Row& row : orvi_sim::Vocabulary()) {
        const std::string name = row.name;
        EXPECT_NE(overview.find("  " + name + " "), std::string::npos) << name;
        const std::string help = Run(name + " --help").output;
        EXPECT_EQ(help.find(name), 0U) << help;
        EXPECT_NE(help.find(row.help), std::string::npos) << help;
        EXPECT_NE(completion.find(name.substr(name.find(' ') + 1)), std::string::npos) << name;
    }
}

TEST_F(OrviRoomTest, DocumentationRuns) {
    if (*ORVI_TEST_EMULATOR != '\0') {
        GTEST_SKIP() << "a shell does not know the emulator";
    }
    simulator_.Start({"--arrival", "0"});
    ASSERT_EQ(setenv("PATH", (std::string(ORVI_TEST_BIN_DIR ":") + getenv("PATH")).c_str(), 1), 0);
    const std::string page = ReadFile(ORVI_SOURCE_DIR "/docs/simulator.md");
    const std::regex block("\n```sh\n([^`]*)```\n");
    int blocks = 0;
    for (std::sregex_iterator match(page.begin(), page.end(), block), end; match != end; ++match, ++blocks) {
        ChildProcess shell("/bin/bash", {"-c", "set -e\n" + (*match)[1].str()}, sandbox_.Path("errors"));
        const Ended ended = End(shell);
        EXPECT_EQ(ended.code, 0) << (*match)[1].str() << "\n" << ended.output;
    }
    EXPECT_GT(blocks, 5);
}

}  // namespace
}  // namespace orvi_test
