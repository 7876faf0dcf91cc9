// orvi-bus replay: a captured session played to either side, and what it says of a side that does something else.
#include <fstream>
#include <regex>

#include "tool_test.h"

namespace orvi_test {
namespace {

class ReplayTest : public ToolTest {
 protected:
    ReplayTest() { EXPECT_EQ(setenv("ORVI_BUS_TRACE", "1", 1), 0); }
    ~ReplayTest() override { (void)unsetenv("ORVI_BUS_TRACE"); }

    std::string Write(const std::string& name, const std::string& text) {
        std::ofstream(sandbox_.Path(name)) << text;
        return sandbox_.Path(name);
    }

    void Application(const std::string& calls) {
        std::string output;
        EXPECT_EQ(End(*Start("orvi-ai", "run " + calls), output), 0) << output;
    }

    // What an application says to a service with these options, in a file.
    std::string Capture(const std::string& name, const std::vector<std::string>& service, const std::string& calls,
                        const std::string& options = "--payloads --reveal") {
        const std::string file = sandbox_.Path(name);
        const auto capture = StartListening("orvi-bus", "capture " + file + " " + options);
        simulator_.Start(service);
        Application(calls);
        EXPECT_EQ(EndService(), 0);
        EXPECT_EQ(Stop(*capture), "");
        return file;
    }

    int EndService() { return endsItself_ ? simulator_.Child().Wait() : simulator_.Stop(); }

    // Plays the service to an application; returns what replay printed.
    std::string AsService(const std::string& words, const std::string& calls, int code) {
        const auto replay = StartListening("orvi-bus", "replay --as service --speed max " + words);
        Application(calls);
        std::string output;
        EXPECT_EQ(End(*replay, output), code) << ReadFile(sandbox_.Path("errors"));
        return output + ReadFile(sandbox_.Path("errors"));
    }

    std::string AsApplication(const std::string& words, const std::vector<std::string>& service, int code) {
        simulator_.Start(service);
        std::string output;
        EXPECT_EQ(Run("orvi-bus", "replay --as application --speed max " + words, output), code) << output;
        EXPECT_EQ(EndService(), 0);
        return output;
    }

    bool endsItself_ = false;  // the service, at the end of its scenario
};

const char* const MEETING = ORVI_SOURCE_DIR "/simulator/scenarios/meeting.jsonl";
const char* const CALLS = ORVI_SOURCE_DIR "/examples/meeting.calls";

TEST_F(ReplayTest, TheMeetingIsTheSameBothWays) {
    endsItself_ = true;
    const std::vector<std::string> service{"--scenario", MEETING, "--speed", "max", "--exit-at-end"};
    const std::string file = Capture("meeting.pcapng", service, CALLS);
    EXPECT_NE(AsService(file, CALLS, 0).find("15 requests, 2 messages, 62 events"), std::string::npos);
    EXPECT_NE(AsApplication(file, service, 0).find(": no difference"), std::string::npos);
}

TEST_F(ReplayTest, AnotherProcessWithoutEventsIsNoDifference) {
    const std::string calls = Write("calls", "lock state 4\ncheckin init\ncheckin deinit\n");
    EXPECT_NE(AsService(Capture("file", {"--arrival", "0"}, calls), calls, 0).find(": no difference"),
              std::string::npos);
}

TEST_F(ReplayTest, DifferencesAreTold) {
    const std::vector<std::string> plain{"--arrival", "0"};
    const std::string calls =
        Write("calls", "lock state 4\ncaption init\nmodel init\nmodel ask \"who are you\"\nwait model.end\n");
    const std::string file = Capture("file", plain, calls);
    const struct {
        const char* calls;
        const char* options;
        int code;
        std::vector<const char*> says;
    } service[] = {
        {"lock state 5\ncaption init\nmodel init\nmodel ask \"who is she\"\nwait model.end",
         "",
         1,
         {"lock.state 1: state recorded 4, seen 5\n",
          "model.ask 1: text recorded (private, 11 bytes), seen (private, 10 bytes)\n"}},
        {"lock state 5\ncaption init\nmodel init\nmodel ask \"who is she\"\nwait model.end",
         "--allow state --allow text --allow textLength --allow request",
         0,
         {": no difference\n"}},
        {"lock state 4\nlock state 4\ncaption init",
         "--json",
         1,
         {R"({"of":"lock.state","difference":"came once more than it was recorded"})",
          R"({"of":"model.ask 1","difference":"did not happen"})"}},
    };
    for (const auto& one : service) {
        SCOPED_TRACE(one.calls);
        const std::string output = AsService(file + " " + one.options, Write("other", one.calls), one.code);
        for (const char* const says : one.says) {
            EXPECT_NE(output.find(says), std::string::npos) << output;
        }
    }
    // A service that answers another way, and one that does not say everything.
    simulator_.Start(plain);
    simulator_.Command("refuse caption.init busy");
    simulator_.Command("model answers \"Nobody.\"");
    simulator_.Command("drop model.end");
    std::string output;
    EXPECT_EQ(Run("orvi-bus", "replay " + file + " --as application --reveal --speed max --patience 1s", output), 1);
    EXPECT_EQ(simulator_.Stop(), 0);
    for (const char* const says : {"the reply to caption.init 1: verdict recorded 0, seen 3\n", "seen Nobody.\n",
                                   "model.end 1: did not come before app.deinit 1\n"}) {
        EXPECT_NE(output.find(says), std::string::npos) << output;
    }
    output.clear();
    EXPECT_EQ(Run("orvi-bus", "replay " + file + " --as application", output), 3) << output;
    output.clear();
    EXPECT_EQ(Run("orvi-bus", "replay " + file + " --as service --for 100ms", output), 3) << output;
}

TEST_F(ReplayTest, WhatCannotBePlayedIsRefused) {
    const std::string calls = Write("calls", "lock state 4\nmodel init\nmodel ask \"who are you\"\nwait model.end\n");
    const std::string bare = Capture("bare", {}, calls, "");
    const std::string masked = Capture("masked", {}, calls, "--payloads");
    const std::string other = Capture("other", {}, Write("none", "version\n"), "--payloads --reveal lock.state");
    const std::string late = Capture("late", {}, calls, "--payloads --reveal lock.state model.end");
    const std::string two = sandbox_.Path("two");
    {
        const auto capture = StartListening("orvi-bus", "capture " + two + " --payloads --reveal");
        for (int i = 0; i < 2; ++i) {
            simulator_.Start();
            Application(calls);
            EXPECT_EQ(simulator_.Stop(), 0);
        }
        (void)Stop(*capture);
    }
    std::smatch name;
    std::string output;
    EXPECT_EQ(Run("orvi-bus", "replay --as service " + two, output), 2);
    ASSERT_TRUE(std::regex_search(output, name, std::regex("choose with --app: (ai_vpp[0-9]+), ai_vpp[0-9]+")))
        << output;
    const struct {
        std::string words;
        const char* says;
    } cases[] = {
        {bare, "what app.init holds is not in it: capture with --payloads --reveal"},
        {masked, "capture with --reveal, too"},
        {other, "no application says anything to AI_VISION"},
        {late, "model.end comes before ai_vpp"},
        {two + " --app nobody", "there is no application 'nobody', but ai_vpp"},
        {sandbox_.Path("missing"), "missing"},
        {Write("notes", "notes"), "is no pcapng file"},
        {two + " --allow colour", "no message has a field 'colour'"},
        {two + " --speed 0", "'0' is neither a number from 0.01 to 10000 nor max"},
        {two + " --patience long", "'long' is no time"},
    };
    for (const auto& one : cases) {
        output.clear();
        EXPECT_EQ(Run("orvi-bus", "replay --as service " + one.words, output), 2) << output;
        EXPECT_NE(output.find(one.says), std::string::npos) << output;
    }
    output.clear();
    EXPECT_EQ(Run("orvi-bus", "replay --as application --for 1s " + two, output), 2);
    EXPECT_NE(output.find("are the service's"), std::string::npos) << output;
}

}  // namespace
}  // namespace orvi_test
