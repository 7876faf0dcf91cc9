// orvi-test-run as a test driver sees it: what it returns and says at each ending, and that nothing stays behind.
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>

#include "simulator_process.h"

namespace orvi_test {
namespace {

class TestRunTest : public testing::Test {
 protected:
    void SetUp() override {
        if (*ORVI_TEST_EMULATOR != '\0') {
            GTEST_SKIP() << "what it starts does not know the emulator";
        }
        std::filesystem::create_directory(temporary_);
        setenv("TMPDIR", temporary_.c_str(), 1);
    }

    void TearDown() override { unsetenv("TMPDIR"); }

    // The whole output of a child whose end is that of all who share its output. Its exit code, or minus its signal.
    int End(ChildProcess& child) {
        said_.clear();
        for (std::string line; child.ReadLine(line);) {
            said_ += line + "\n";
        }
        const int code = child.Wait();
        said_ += ReadFile(sandbox_.Path("errors"));
        (void)std::remove(sandbox_.Path("errors").c_str());
        return code;
    }

    int Run(const std::vector<std::string>& words) {
        ChildProcess child("orvi-test-run", words, sandbox_.Path("errors"));
        return End(child);
    }

    // The files in the directory for such, and the processes that were told of it.
    std::string Left() const {
        std::string left;
        for (const auto& entry : std::filesystem::directory_iterator(temporary_)) {
            left += entry.path().string() + "\n";
        }
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            const std::string name = entry.path().filename();
            if (name.find_first_not_of("0123456789") == std::string::npos && name != std::to_string(getpid())) {
                std::ifstream file(entry.path() / "environ");
                const std::string environment((std::istreambuf_iterator<char>(file)), {});
                left += environment.find("TMPDIR=" + temporary_) == std::string::npos
                            ? ""
                            : ReadFile(entry.path() / "cmdline") + "\n";
            }
        }
        return left;
    }

    // A runner that was killed is cleared up behind a moment later: that much is waited for.
    void ExpectNothingLeft() const {
        const auto end = std::chrono::steady_clock::now() + PATIENCE;
        std::string left = Left();
        for (; !left.empty() && std::chrono::steady_clock::now() < end; left = Left()) {
            (void)poll(nullptr, 0, 5);
        }
        EXPECT_EQ(left, "") << said_;
    }

    BusSandbox sandbox_;
    const std::string temporary_ = sandbox_.Path("t");
    std::string said_;
};

TEST_F(TestRunTest, Endings) {
    const std::string refused = sandbox_.Path("refused.jsonl");
    std::ofstream(refused) << R"({"at": "0s", "do": "person leaves", "name": "Nobody"})"
                           << "\n";
    const std::string late = sandbox_.Path("late.jsonl");
    std::ofstream(late) << R"({"at": "10m", "do": "person leaves", "name": "Nobody"})"
                        << "\n";
    const std::string room = "\"$ORVI_TEST_PROGRAMS/orvi-room\" ";
    const struct {
        std::vector<std::string> options;
        std::vector<std::string> command;
        int code;
        std::string says;  // "" when it is silent
    } cases[] = {
        {{}, {"true"}, 0, ""},
        {{}, {"sh", "-c", "echo kept back; " + room + "faces 3"}, 0, ""},
        {{},
         {"sh", "-c", "test -S \"$ORVI_BUS_DIR\" || echo out of order >&2; exit 3"},
         3,
         "the command ----\nout of order\n"},
        {{}, {"sh", "-c", "exit 3"}, 3, "the service ----\nready AI_VISION"},
        {{}, {"sh", "-c", room + "faces 3; exit 3"}, 3, "what happened in the room ----\n"},
        {{}, {"sh", "-c", "kill -SEGV $$"}, 128 + SIGSEGV, "ended by signal 11 (Segmentation fault)"},
        {{}, {"/absent"}, 127, "/absent cannot be run: No such file"},
        {{}, {"/"}, 126, "/ cannot be run: Permission denied"},
        {{}, {"sh", "-c", "setsid sleep 1000 & (sleep 1000 &)"}, 0, ""},
        // A run inside it, which is ended with it.
        {{},
         {"sh", "-c",
          "mkfifo $ORVI_BUS_DIR/up; $ORVI_TEST_PROGRAMS/orvi-test-run -- sh -c \"echo >$ORVI_BUS_DIR/up; sleep 1000\" "
          "& "
          "read up <$ORVI_BUS_DIR/up"},
         0,
         ""},
        {{"--timeout", "400ms"}, {"sh", "-c", "sleep 1000"}, 124, "not done within 400 ms"},
        {{}, {"sh", "-c", room + "crash; sleep 1000"}, 123, "the service was ended by signal 9 (Killed) while"},
        {{}, {"sh", "-c", room + "quit; sleep 1000"}, 123, "the service ended with exit code 0 while"},
        {{}, {"sh", "-c", "kill -9 $PPID; sleep 1000"}, 125, "its keeper was killed"},
        {{"--service-may-end"}, {"sh", "-c", room + "crash; ! " + room + "faces 3"}, 0, ""},
        {{"--speed", "nonsense"}, {"true"}, 125, "the service did not start: it ended with exit code 2"},
        {{"--scenario", refused}, {"sh", "-c", room + "await sent"}, 1, "a direction of its scenario was answered no"},
        {{"--scenario", refused, "--service-may-end"}, {"sh", "-c", room + "await sent"}, 1, "was answered no"},
        {{"--scenario", late}, {"true"}, 0, ""},
        {{"--scenario", late, "--speed", "max", "--exit-at-end"}, {"true"}, 1, "nobody named 'Nobody' is here"},
        {{"--control"}, {"true"}, 2, "--control has no use here"},
        {{"--timeout", "soon"}, {"true"}, 2, "'soon' is no time"},
        {{}, {}, 2, "a command is missing"},
    };
    for (const auto& testCase : cases) {
        std::vector<std::string> words = testCase.options;
        words.emplace_back("--");
        words.insert(words.end(), testCase.command.begin(), testCase.command.end());
        SCOPED_TRACE(testing::PrintToString(words));
        EXPECT_EQ(Run(words), testCase.code) << said_;
        if (testCase.says.empty()) {
            EXPECT_EQ(said_, "");
        } else {
            EXPECT_NE(said_.find(testCase.says), std::string::npos) << said_;
        }
        ExpectNothingLeft();
    }
}

TEST_F(TestRunTest, ItsOwnEnd) {
    const struct {
        const char* title;
        std::vector<int> signals;  // to the runner, while the command runs
        std::string command;       // says "go", behind what it does with them
        const char* says;          // of the command's own
    } cases[] = {
        {"Ctrl-C", {SIGINT}, "trap 'echo farewell; exit 0' INT; echo go; while :; do sleep 0.01; done", "farewell"},
        {"a driver's end", {SIGTERM}, "echo go; sleep 1000", "interrupted: Terminated"},
        {"a terminal's end", {SIGHUP}, "echo go; sleep 1000", ""},
        {"an impatient one", {SIGINT, SIGTERM}, "trap '' INT TERM; echo go; while :; do sleep 1000; done", ""},
        {"kill -9", {SIGKILL}, "trap '' TERM HUP; (setsid sleep 1000 &); echo go; sleep 1000", ""},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.title);
        ChildProcess runner("orvi-test-run", {"--show", "--", "sh", "-c", testCase.command}, sandbox_.Path("errors"));
        ASSERT_TRUE(runner.ReadUntil("go"));
        for (const int signal : testCase.signals) {
            runner.Signal(signal);
        }
        EXPECT_EQ(End(runner), -testCase.signals.front()) << said_;
        EXPECT_NE(said_.find(testCase.says), std::string::npos) << said_;
        ExpectNothingLeft();
    }
}

// What its reader does not read holds up nobody, and a descriptor that is closed is nobody's output.
TEST_F(TestRunTest, OutputsOfManyKinds) {
    const std::string pipe = sandbox_.Path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::vector<std::string> words{"--", "sh", "-c", "head -c 200000 /dev/zero | tr '\\0' x; exit 3"};
    for (const int signal : {SIGTERM, SIGKILL}) {
        pollfd reader{open(pipe.c_str(), O_RDWR | O_CLOEXEC), POLLIN, 0};
        ChildProcess runner("orvi-test-run", words, pipe);
        EXPECT_EQ(poll(&reader, 1, static_cast<int>(std::chrono::milliseconds(PATIENCE).count())), 1);
        runner.Signal(signal);
        EXPECT_EQ(runner.Wait(), signal == SIGKILL ? -SIGKILL : 3);
        ExpectNothingLeft();
        close(reader.fd);
    }
    for (const char* const closed : {"<&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
        ChildProcess runner("orvi-test-run", words, sandbox_.Path("errors"),
                            {"/bin/sh", "-c", std::string(R"(exec "$@" )") + closed, "-"});
        EXPECT_EQ(runner.Wait(), 3) << closed;
        ExpectNothingLeft();
    }
}

// As a project has them: some good, some that leave children behind, some that fail, eight at a time.
TEST_F(TestRunTest, FiftyAtATime) {
    const std::string project = sandbox_.Path("p");
    std::filesystem::create_directory(project);
    std::ofstream(project + "/CMakeLists.txt")
        << "cmake_minimum_required(VERSION 3.25)\nproject(fifty NONE)\nenable_testing()\n"
        << "add_executable(orvi::test_run IMPORTED)\n"
        << "set_target_properties(orvi::test_run PROPERTIES IMPORTED_LOCATION " ORVI_TEST_BIN_DIR "/orvi-test-run)\n"
        << "include(" ORVI_SOURCE_DIR "/testkit/cmake/orvi_add_test.cmake)\n"
        << "foreach(i RANGE 1 12)\n"
        << "orvi_add_test(NAME asks.${i} COMMAND " ORVI_TEST_BIN_DIR "/orvi-ai lock state ${i} SCENARIO s.jsonl)\n"
        << "orvi_add_test(NAME leaves.${i} COMMAND sh -c \"setsid sleep 1000 & exit 0\")\n"
        << "orvi_add_test(NAME fails.${i} COMMAND sh -c \"true; exit 3\" TIMEOUT 20)\n"
        << "orvi_add_test(NAME crashes.${i} COMMAND sh -c \"$ORVI_TEST_PROGRAMS/orvi-room crash; sleep 1000\")\n"
        << "set_tests_properties(fails.${i} crashes.${i} PROPERTIES WILL_FAIL TRUE)\n"
        << "endforeach()\n"
        << "foreach(i 1 2)\n"
        << "orvi_add_test(NAME hangs.${i} COMMAND sleep 1000)\n"
        << "set_tests_properties(hangs.${i} PROPERTIES TIMEOUT 1)\n"  // the driver kills it and all of its descendants
        << "endforeach()\n";
    std::ofstream(project + "/s.jsonl") << R"({"on": "lock.state", "do": "mic off"})"
                                        << "\n";
    ChildProcess configuring(CMAKE, {"-S", project, "-B", project + "/b"}, sandbox_.Path("errors"));
    ASSERT_EQ(End(configuring), 0) << said_;
    ChildProcess driver(CTEST, {"--test-dir", project + "/b", "-j", "8"}, sandbox_.Path("errors"));
    EXPECT_EQ(End(driver), 8);  // some have failed
    EXPECT_NE(said_.find("2 tests failed out of 50"), std::string::npos) << said_;
    ExpectNothingLeft();
}

}  // namespace
}  // namespace orvi_test
