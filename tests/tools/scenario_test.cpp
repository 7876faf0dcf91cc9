// Scenarios and the clock of the simulated room, as the user of orvi-vision-sim, orvi-room and orvi-ai sees them.
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <list>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "directions/words.h"
#include "simulator_process.h"

namespace orvi_test {
namespace {

constexpr char SCENARIOS[] = ORVI_SOURCE_DIR "/simulator/scenarios/";

class ScenarioTest : public testing::Test {
 protected:
    std::unique_ptr<ChildProcess> Start(const std::string& program, const std::string& line) {
        std::vector<std::string> words;
        EXPECT_TRUE(orvi_sim::SplitLine(line, words));
        return std::make_unique<ChildProcess>(program, words, sandbox_.Path("errors"));
    }

    static int End(ChildProcess& child, std::string& output) {
        child.CloseInput();
        for (std::string line; child.ReadLine(line);) {
            output += line + "\n";
        }
        return child.Wait();
    }

    std::string Write(const std::string& name, const std::string& text) {
        std::ofstream(sandbox_.Path(name)) << text;
        return sandbox_.Path(name);
    }

    // Plays a scenario, with an application when `calls` names its file, and returns the log.
    std::string Play(const std::string& scenario, const std::string& pace, const std::string& calls = "",
                     int expected = 0) {
        simulator_.Start({"--scenario", scenario, "--speed", pace, "--log", sandbox_.Path("log"), "--exit-at-end"});
        if (!calls.empty()) {
            std::string output;
            EXPECT_EQ(End(*Start("orvi-ai", "run " + calls), output), 0) << ReadFile(sandbox_.Path("errors"));
        }
        EXPECT_EQ(simulator_.Child().Wait(), expected) << simulator_.Log();
        return ReadFile(sandbox_.Path("log"));
    }

    BusSandbox sandbox_;
    SimulatorProcess simulator_{sandbox_};
};

TEST_F(ScenarioTest, WhatIsWrongIsToldWithItsLine) {
    const struct {
        std::string line;
        const char* says;  // "" when it is right
    } cases[] = {
        {R"(# for the reader)", ""},
        {R"({"at": "0s", "do": "faces 3"})", ""},
        {R"({"at": "0s", "do": "caption", "text": "--all of it", "speaker": "Zoe", "partial": true})", ""},
        {R"({"at": "0s", "do": "expect", "message": "lock.state", "fields": {"state": 7}, "within": "1s"})", ""},
        {R"({"on": "caption.start", "after": "1m30s", "do": "mic off"})", ""},
        {R"({"at": "0s", "do": "person enters"})", "--name NAME is missing; it is: person enters --name NAME ["},
        {R"({"at": "5x", "do": "faces 3"})", "at: '\"5x\"' is no time up to a day, as \"500ms\", \"2s\" or \"1m30s\""},
        {R"({"at": "1h30m0.5s20ms", "do": "faces 3"})", ""},
        {R"({"at": "30m1h", "do": "faces 3"})", "at: '\"30m1h\"' is no time"},
        {R"({"at": "1.5.2s", "do": "faces 3"})", "at: '\"1.5.2s\"' is no time"},
        {R"({"do": "faces 3"})", "it has either \"at\", a time since the start, or \"on\", a message"},
        {R"({"at": "1s", "after": "1s", "do": "faces 3"})", "\"after\" goes with \"on\" only"},
        {R"({"on": "caption.line", "do": "faces 3"})", "on: 'caption.line' is nothing that applications send"},
        {R"({"on": "caption.strat", "do": "faces 3"})", "on: 'caption.strat' is no message; there are caption.init,"},
        {R"({"at": "1s", "do": "flies"})", "do: there is no command 'flies', help tells them"},
        {R"({"at": "1s", "do": 7})", "\"do\" is missing, or no direction"},
        {R"({"at": "1s", "do": "faces 3", "colour": "red"})", "'colour' is nothing of faces, which has at, on, after,"},
        {R"({"at": "1s", "do": "refuse caption.start", "message": "caption.stop"})", "message is given twice"},
        {R"({"at": "1s", "at": "2s", "do": "faces 3"})", "'at' is given twice"},
        {R"({"at": "1s", "do": "caption", "text": ["a"]})", "text: '[\"a\"]' is no text, whole number, true or false"},
        {R"({"at": "1s", "do": "caption", "text": "a", "partial": 1})", "partial: '1' is neither true nor false"},
        {R"({"at": 1e999, "do": "faces 3"})", "s:1: a number in it is too big"},
        {R"({"at": "1s" "do": "faces 3"})", R"(no JSON behind '{"at": "1s" "do"')"},
        {"{\"at\": " + std::string(100000, '[') + std::string(100000, ']') + ", \"do\": \"faces 3\"}",
         "its values lie deeper"},
        {R"({"at": "1s", "do": "caption", "text": "a\u0000b"})", "text has a NUL"},
        {R"({"at": "25h", "do": "faces 3"})", "is no time up to a day"},
        {R"({"at": "1s", "do": "faces 99"})", "'99' is neither usual nor a number from 0 to 7; it is: faces N|usual"},
        {R"({"at": "1s", "do": "time 25:00"})", "'25:00' is no time of day, as 09:30"},
        {R"({"at": "1s", "do": "clock scale 0"})", "'0' is neither max nor a number from 1 to 10000"},
        {R"({"at": "1s", "do": "person enters", "name": "Ada", "photo": "none.png"})", "none.png cannot be read"},
        {R"({"at": "1s", "do": "expect", "message": "lock.state", "fields": {"room": 7}})", "has no field 'room'"},
        {R"({"at": "1s", "do": "push checkin.count 1 --raw"})", ""},
        {R"({"at": "1s", "do": "push caption.line", "fields": {"loudness": 7}})", "there is no field 'loudness'"},
        {R"({"at": "1s", "do": "push caption.start"})", "caption.start is what applications send"},
        {R"({"at": "1s", "do": "reply lock.state", "fields": {"verdict": 2}})", "it has no fields to name"},
        {R"([1])", "it is no object, as {\"at\": \"2s\", \"do\": \"faces 3\"}"},
        {"{\"at\": \"1s\", \"do\": \"faces 3\"}\n{\"at\": \"999ms\", \"do\": \"faces 3\"}",
         "at 999ms is before line 1, at 1s"},
        {"", "it has no line, as {\"at\": \"2s\""},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.line.substr(0, 200));
        const bool isComment = one.line[0] == '#';
        const std::string file = Write("s", one.line + (isComment ? "\n{\"at\":\"0s\",\"do\":\"mark\"}" : ""));
        std::string output;
        (void)std::remove(sandbox_.Path("errors").c_str());
        EXPECT_EQ(End(*Start("orvi-vision-sim", "--scenario " + file + " --check"), output), *one.says == '\0' ? 0 : 2);
        const std::string errors = ReadFile(sandbox_.Path("errors"));
        EXPECT_NE((*one.says == '\0' ? output : errors).find(one.says), std::string::npos) << errors;
        EXPECT_EQ(errors.empty(), *one.says == '\0') << errors;
    }
    for (const char* shipped : {"meeting", "meeting-with-faults", "day"}) {
        std::string output;
        EXPECT_EQ(
            End(*Start("orvi-vision-sim", std::string("--check --scenario ") + SCENARIOS + shipped + ".jsonl"), output),
            0);
    }
}

// Half an hour, at two paces. The log is kept beside the test: every build and every word size gives the same.
TEST_F(ScenarioTest, TheMeetingIsTheSameOnEveryMachine) {
    const std::string expected = ReadFile(ORVI_SOURCE_DIR "/tests/tools/meeting.log");
    for (const char* pace : {"max", "1200"}) {
        EXPECT_EQ(Play(std::string(SCENARIOS) + "meeting.jsonl", pace, ORVI_SOURCE_DIR "/examples/meeting.calls"),
                  expected)
            << pace;
    }
}

TEST_F(ScenarioTest, ChanceIsTheSeeds) {
    std::string lines =
        "{\"at\": \"0s\", \"do\": \"await clients 1\"}\n"
        "{\"at\": \"0s\", \"do\": \"drop assistant.mic\", \"chance\": 50}\n";
    for (int i = 0; i < 40; ++i) {
        lines += "{\"at\": \"1s\", \"do\": \"mic " + std::string(i % 2 == 0 ? "off" : "on") + "\"}\n";
    }
    const std::string scenario = Write("s", lines);
    std::string logs[3];
    for (const int i : {0, 1, 2}) {
        simulator_.Start({"--scenario", scenario, "--speed", "max", "--log", sandbox_.Path("log"), "--exit-at-end",
                          "--seed", i == 2 ? "8" : "7"});
        const auto application = Start("orvi-ai", "watch assistant.mic");
        EXPECT_EQ(simulator_.Child().Wait(), 0);
        application->Signal(SIGINT);
        (void)application->Wait();
        logs[i] = ReadFile(sandbox_.Path("log"));
    }
    EXPECT_NE(logs[0].find(": lost\n"), std::string::npos) << logs[0];
    EXPECT_EQ(logs[0], logs[1]);
    EXPECT_NE(logs[0], logs[2]);
}

TEST_F(ScenarioTest, ADayGoesOnAfterItsRestart) {
    if (*ORVI_TEST_EMULATOR != '\0') {
        GTEST_SKIP() << "an emulated service cannot start itself again";
    }
    const std::string log = Play(std::string(SCENARIOS) + "day.jsonl", "max");
    const size_t restart = log.find("14460.000 room: restart\n");
    ASSERT_NE(restart, std::string::npos) << log;
    EXPECT_NE(log.find("14520.000 room: time 12:02\n", restart), std::string::npos) << log;
    EXPECT_EQ(log.find("room: time 08:00"), log.rfind("room: time 08:00"));
    EXPECT_NE(log.find("36000.000 room: service status 1\n"), std::string::npos) << log;
}

TEST_F(ScenarioTest, ALineThatIsAnsweredNoIsCounted) {
    const std::string scenario = Write("s",
                                       "{\"at\": \"1h\", \"do\": \"expect caption.start\"}\n"
                                       "{\"at\": \"2h\", \"do\": \"clock step 1s\"}\n"
                                       "{\"at\": \"3h\", \"do\": \"faces 3\"}\n");
    const std::string log = Play(scenario, "max", "", 1);
    EXPECT_NE(log.find("3600.000 room: expect caption.start: not done\n"), std::string::npos) << log;
    EXPECT_NE(log.find("10800.000 room: faces 3\n"), std::string::npos) << log;
    EXPECT_NE(simulator_.Log().find(scenario + ":2: clock step 1s: error a scenario is what happens in its time"),
              std::string::npos)
        << simulator_.Log();
    EXPECT_NE(simulator_.Log().find(" has been played, 2 lines answered no"), std::string::npos) << simulator_.Log();
}

// A wait that the end of the service cuts short is neither in vain nor a no of the applications; nor has what did not
// come by then stayed away.
TEST_F(ScenarioTest, TheEndCutsAWaitShort) {
    for (const char* wait :
         {"await request caption.start 1 1h", "await clients 9 1h", "expect no caption.start --within 1h"}) {
        simulator_.Start({"--scenario", Write("s", std::string("{\"at\": \"0s\", \"do\": \"") + wait + "\"}\n")});
        const auto room = Start("orvi-room", wait);
        EXPECT_EQ(simulator_.Stop(), 0) << wait;
        EXPECT_EQ(simulator_.Log().find("1 lines answered no"), std::string::npos) << simulator_.Log();
        EXPECT_NE(room->Wait(), 0) << wait;
    }
}

// What a message has made due comes after the restart as well, and a restart may be the last line.
TEST_F(ScenarioTest, WhatIsDueOutlivesARestart) {
    if (*ORVI_TEST_EMULATOR != '\0') {
        GTEST_SKIP() << "an emulated service cannot start itself again";
    }
    const std::string scenario = Write("s",
                                       "{\"at\": \"0s\", \"do\": \"await request lock.state 1\"}\n"
                                       "{\"on\": \"lock.state\", \"after\": \"10s\", \"do\": \"faces 4\"}\n"
                                       "{\"at\": \"5s\", \"do\": \"restart\"}\n"
                                       "{\"at\": \"60s\", \"do\": \"restart\"}\n");
    const std::string log = Play(scenario, "max", Write("calls", "lock state 1\n"));
    EXPECT_NE(log.find("5.000 room: restart\n       10.000 room: faces 4\n       60.000 room: restart\n"),
              std::string::npos)
        << log;
}

// A log that nobody takes ends, and the service does not wait for it.
TEST_F(ScenarioTest, NobodyWaitsForTheLog) {
    const std::string scenario = Write("s", "{\"at\": \"1h\", \"do\": \"faces 3\"}\n");
    const std::string fifo = sandbox_.Path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int reader = open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const std::string full(4096, 'x');
    while (write(reader, full.data(), full.size()) > 0) {
    }
    simulator_.Start({"--scenario", scenario, "--log", fifo});
    std::string ignored;
    EXPECT_EQ(End(*Start("orvi-ai", "lock state 1"), ignored), 0);
    EXPECT_EQ(simulator_.Stop(), 1);  // it is not all
    EXPECT_NE(simulator_.Log().find("the log of the play ends here: its reader takes nothing"), std::string::npos);
    (void)close(reader);
}

// Options that would do nothing or harm, and descriptors that the caller has closed: what takes their numbers is neither
// read nor written to.
TEST_F(ScenarioTest, NothingIsLostOrLeftOut) {
    const std::string lines = "{\"at\": \"0s\", \"do\": \"faces 3\"}\n";
    const std::string scenario = Write("s", lines);
    const std::string play = "--exit-at-end --scenario " + scenario;
    const struct {
        std::string words;
        int code;
        const char* says;
    } cases[] = {
        {"--check --scenario ''", 2, "--scenario: the file's name is empty"},
        {"--log '' " + play, 2, "--log: the file's name is empty"},
        {"--log " + scenario + " " + play, 2, "the scenario would be overwritten"},
        {"--exit-after 0 " + play, 2, "--exit-after: "},
        {"--log /dev/full " + play, 1, "the log of the play ends here: No space left on device"},
        {"--log - " + play + " <&- >&-", 1, "the log of the play ends here: Bad file descriptor"},
    };
    for (const auto& one : cases) {
        if (*ORVI_TEST_EMULATOR != '\0' && one.words.find(">&-") != std::string::npos) {
            continue;  // the emulator may take the descriptors for itself
        }
        (void)std::remove(sandbox_.Path("errors").c_str());
        ChildProcess shell(
            "/bin/sh", {"-c", std::string(ORVI_TEST_EMULATOR) + " " ORVI_TEST_BIN_DIR "/orvi-vision-sim " + one.words},
            sandbox_.Path("errors"));
        std::string ignored;
        EXPECT_EQ(End(shell, ignored), one.code) << one.words;
        EXPECT_NE(ReadFile(sandbox_.Path("errors")).find(one.says), std::string::npos) << one.words;
    }
    EXPECT_EQ(ReadFile(scenario), lines);
}

// An application that stands still costs one moment of patience, not one with every event.
TEST_F(ScenarioTest, WhoTakesNothingIsNotWaitedForAgain) {
    std::string lines = "{\"at\": \"0s\", \"do\": \"await request lock.state 1\"}\n";
    for (int i = 0; i < 100; ++i) {
        lines += "{\"at\": \"1s\", \"do\": \"push assistant.mic zeros:20000 --raw\"}\n";
    }
    simulator_.Start({"--scenario", Write("s", lines), "--speed", "max", "--exit-at-end"});
    const auto stuck = Start("orvi-ai", "watch assistant.mic");
    simulator_.Await("clients 1");
    stuck->Signal(SIGSTOP);
    std::string ignored;
    EXPECT_EQ(End(*Start("orvi-ai", "lock state 1"), ignored), 0);
    EXPECT_EQ(simulator_.Child().Wait(), 0) << simulator_.Log();
    const std::string log = simulator_.Log();
    const size_t told = log.find(" takes nothing: the room does not wait for it");
    EXPECT_NE(told, std::string::npos) << log;
    EXPECT_EQ(log.find(" takes nothing", told + 1), std::string::npos) << log;
}

// What an application asks late is never before what it has been told.
TEST_F(ScenarioTest, TimeNeverGoesBack) {
    const std::string scenario = Write("s",
                                       "{\"at\": \"0s\", \"do\": \"conversation off\"}\n"
                                       "{\"at\": \"0s\", \"do\": \"await request caption.start 1\"}\n"
                                       "{\"at\": \"0s\", \"do\": \"caption\", \"text\": \"one\"}\n"
                                       "{\"at\": \"1h\", \"do\": \"await request caption.stop 1\"}\n");
    simulator_.Start({"--scenario", scenario, "--speed", "10000", "--log", sandbox_.Path("log"), "--exit-at-end"});
    std::string output;
    const std::string calls =
        "caption init\ncaption start --conference C --report\nwait caption.line --within 20s\ncaption stop\n";
    EXPECT_EQ(End(*Start("orvi-ai", "run " + Write("calls", calls)), output), 0);
    EXPECT_EQ(simulator_.Child().Wait(), 0);
    EXPECT_TRUE(std::regex_search(output, std::regex("caption.line +number=1 final=1 start=[0-9]{1,7} "))) << output;
    double last = 0;
    std::istringstream lines(ReadFile(sandbox_.Path("log")));
    for (std::string line; std::getline(lines, line);) {
        const double at = std::stod(line);
        EXPECT_GE(at, last) << line;
        last = at;
    }
}

TEST_F(ScenarioTest, TheClockStandsStepsAndRuns) {
    simulator_.Start({"--arrival", "0"});
    EXPECT_NE(simulator_.Command("clock step 0s").find(", stands"), std::string::npos);
    const std::string before = simulator_.Command("clock");
    simulator_.Command("delay lock.state 10s");
    const auto application = Start("orvi-ai", "lock state 5");
    simulator_.Await("clients 1");
    simulator_.Await("request lock.state 1");
    EXPECT_EQ(simulator_.Command("clock"), before);  // it stands
    simulator_.Command("clock step 9999ms");
    EXPECT_NE(simulator_.Command("journal lock.state").find("unanswered"), std::string::npos);
    simulator_.Command("clock step 1ms");
    EXPECT_NE(simulator_.Command("journal lock.state").find("answered"), std::string::npos);
    EXPECT_EQ(application->Wait(), 0);
    EXPECT_EQ(simulator_.Command("clock scale max"), "");
    EXPECT_NE(simulator_.Command("clock").find(", pace max"), std::string::npos);
    simulator_.Command("clock scale 10000");
    EXPECT_NE(simulator_.Ask("clock scale 0").find("error '0' is neither max nor a number from 1 to 10000"),
              std::string::npos);
}

// What each call has come to when its first reply is a refusal, the second empty, the third without data, the fourth as
// usual, the fifth far too long.
const struct {
    const char* command;
    const char* outcomes;
    bool isSilentThen;  // the sixth is not answered
} CALLS[] = {
    {"face create", "-+-+-", false},
    {"face start", "-+++-", false},
    {"face stop", "-+++-", false},
    {"face photos 1001", "---++", false},
    {"face destroy", "-+++-", false},
    {"caption init", "---++", true},
    {"caption start --conference C", "---++", true},
    {"caption stop", "---+-", true},  // they are off already
    {"caption deinit", "---++", true},
    {"nameplate init", "---++", true},
    {"nameplate start", "---++", true},
    {"nameplate stop", "---++", true},
    {"nameplate deinit", "---++", true},
    {"director start", "+++++", false},
    {"director stop", "+++++", false},
    {"lock state 1", "+++++", false},
    {"minutes start --conference C --subject S", "---++", true},
    {"minutes stop", "---+-", true},  // they have ended
    {"checkin init", "---++", true},
    {"checkin start --conference C --user U", "---++", true},
    {"checkin start-report --conference C", "---++", true},
    {"checkin page", "---+-", true},
    {"checkin photo user-0001", "-+-++", true},
    {"checkin stop-report", "---++", true},
    {"checkin stop", "---++", true},
    {"checkin clear", "---++", true},
    {"checkin deinit", "---++", true},
    {"ability", "+++++", false},  // its failure leaves two flags 0
    {"model init", "++-++", true},
    {"model ask hello", "-+-+-", true},
    {"model deinit", "-+-+-", true},
    {"assistant page", "-+-+-", true},
    {"assistant status", "---+-", true},
};

TEST_F(ScenarioTest, EveryFailureOfEveryCallIsSeenOnce) {
    simulator_.Start({"--scenario", std::string(SCENARIOS) + "meeting-with-faults.jsonl"});
    std::string script;
    std::string expected;
    for (const auto& call : CALLS) {
        const std::string command = call.command;
        const bool needsDetector = command == "face start" || command == "face stop" || command == "face destroy";
        for (const char* outcome = call.outcomes; *outcome != '\0'; ++outcome) {
            script += (needsDetector ? "face create\n" : "") + command + "\n";
            expected += (needsDetector ? "face create +\n" : "") + command + " " + *outcome + "\n";
        }
    }
    // What each command has come to, by the lines that its calls are told with.
    const auto run = Start("orvi-ai", "run --keep-going --json " + Write("script", script));
    std::string output;
    EXPECT_EQ(End(*run, output), 1);
    std::istringstream commands(script);
    std::istringstream lines(output);
    std::string actual;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("{\"call\":", 0) == 0) {
            std::string command;
            ASSERT_TRUE(std::getline(commands, command)) << line;
            actual += command + (line.find("\"ok\":true") != std::string::npos ? " +\n" : " -\n");
        }
    }
    EXPECT_EQ(actual, expected);

    // All of them wait at the same time.
    std::list<std::unique_ptr<ChildProcess>> waiting;
    for (const auto& call : CALLS) {
        if (call.isSilentThen) {
            waiting.push_back(
                Start("orvi-ai", "run " + Write("silent" + std::to_string(waiting.size()), call.command)));
        }
    }
    for (const auto& child : waiting) {
        EXPECT_EQ(child->Wait(), 1);
    }
    const std::string errors = ReadFile(sandbox_.Path("errors"));
    EXPECT_EQ(simulator_.Command("journal lock.state --last 1").find("unanswered"), std::string::npos);
    simulator_.Command("crash lock.state before reply");
    std::string last;
    EXPECT_EQ(End(*Start("orvi-ai", "run " + Write("script", "lock state 1")), last), 1);
    EXPECT_EQ(simulator_.Child().Wait(), -SIGKILL);
}

}  // namespace
}  // namespace orvi_test
