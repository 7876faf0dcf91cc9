// orvi-bus as its user sees it, on a bus with the simulated service.
#include <fstream>
#include <gtest/gtest.h>
#include <list>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <sys/stat.h>
#include <unistd.h>

#include "tool_test.h"

namespace orvi_test {
namespace {

class OrviBusTest : public ToolTest {
 protected:
    OrviBusTest() { EXPECT_EQ(setenv("ORVI_BUS_TRACE", "1", 1), 0); }
    ~OrviBusTest() override { (void)unsetenv("ORVI_BUS_TRACE"); }

    std::unique_ptr<ChildProcess> Watch(const std::string& options) {
        return StartListening("orvi-bus", "monitor " + options);
    }
};

TEST_F(OrviBusTest, MonitorJoinsQuestionsAndAnswers) {
    simulator_.Start({"--arrival", "0"});
    simulator_.Command("refuse caption.init busy --once");
    simulator_.Command("silent nameplate.init");
    const auto all = Watch("--json --reveal");
    const auto masked = Watch("--task ai_v_task_i");
    const auto slow = Watch("caption.* nameplate.init --slow 1s");
    std::string ignored;
    EXPECT_EQ(Run("orvi-ai", "lock state 4", ignored), 0);
    EXPECT_EQ(Run("orvi-ai", "caption init", ignored), 1);
    EXPECT_EQ(Run("orvi-ai", "model ask \"who are you\"", ignored), 0);
    EXPECT_EQ(Run("orvi-ai", "nameplate init", ignored), 1);  // after 3 s
    simulator_.Stop();
    EXPECT_EQ(Run("orvi-ai", "lock state 4", ignored), 3);
    const std::string json = Stop(*all);
    for (
        const char* line : {
            R"("to":"AI_VISION","task":"VDirector","name":"lock.state","id":6291567,"size":4,"verdict":"ok","ms":[0-9.]+,)"
            R"("values":\{"state":4\},"replySize":)",
            R"("name":"caption.init",.*"verdict":"refused",.*"reply":\{"verdict":"busy"\}\})",
            R"("name":"model.ask",.*"text":"who are you")",
            R"("from":"AI_VISION","to":"ai_vpp[0-9]+","task":"ai_vpt[0-9]+","name":"model.begin",)",
            R"("name":"nameplate.init","id":6291482,"size":0,"verdict":"unanswered"\})",
            R"("name":"nameplate.init","id":6291482,"size":0,"verdict":"timeout","ms":3[0-9]{3}\.[0-9]+,"late":true\})",
            R"("kind":"one-way",.*"name":"app.init",.*"verdict":"absent")",
        }) {
        EXPECT_TRUE(std::regex_search(json, std::regex(line))) << line << "\n" << json;
    }
    const std::string text = Stop(*masked);
    EXPECT_NE(text.find(R"x(text="(private, 11 bytes)")x"), std::string::npos) << text;
    EXPECT_EQ(text.find("lock.state"), std::string::npos) << text;
    const std::string few = Stop(*slow);
    EXPECT_TRUE(std::regex_match(few, std::regex("[^\n]*nameplate.init *0 B *unanswered\n"
                                                 "[^\n]*nameplate.init *0 B *3[0-9]{3}.[0-9]{3} ms +timeout [^\n]*\n")))
        << few;
}

// A process that is watched for the first time while it runs looks once a second, whether or not another watches.
TEST_F(OrviBusTest, AttachesToWhatRuns) {
    (void)unsetenv("ORVI_BUS_TRACE");
    simulator_.Start({"--arrival", "0"});
    std::string ignored;
    EXPECT_EQ(Run("orvi-ai", "lock state 1", ignored), 0);
    std::string script;
    for (int i = 0; i < 2000; ++i) {
        script += "lock state 2\nsleep 20ms\n";
    }
    std::ofstream(sandbox_.Path("script")) << script;
    const auto first = Watch("lock.state");
    const auto application = Start("orvi-ai", "run " + sandbox_.Path("script"));
    const auto hasReply = [](ChildProcess& monitor) {
        std::string line;
        while (monitor.ReadLine(line) && !std::regex_search(line, std::regex("4 B => [0-9]+ B .*state=2"))) {
        }
        return !line.empty();
    };
    EXPECT_TRUE(hasReply(*first));
    const auto second = Watch("lock.state");
    EXPECT_TRUE(hasReply(*second));
    // What has just gone leaves its place to the next, which misses nothing of what begins then.
    application->Signal(SIGKILL);
    (void)application->Wait();
    (void)Stop(*first);
    const auto third = Watch("lock.state");
    EXPECT_EQ(Run("orvi-ai", "lock state 2", ignored), 0);
    EXPECT_TRUE(hasReply(*third));
    (void)Stop(*second);
    (void)Stop(*third);
}

TEST_F(OrviBusTest, TopCounts) {
    simulator_.Start({"--arrival", "0"});
    const auto top = Start("orvi-bus", "top --count 3 lock.state");
    while (top->IsAlive()) {
        std::string ignored;
        (void)Run("orvi-ai", "lock state 1", ignored);
    }
    std::string table;
    EXPECT_EQ(End(*top, table), 0);
    EXPECT_TRUE(std::regex_search(table, std::regex("lock.state +[3-9] +0 +[0-9.]+ +[0-9.]+ +[0-9.]+\n"))) << table;
}

TEST_F(OrviBusTest, ListTellsWhoIsThere) {
    std::string output;
    EXPECT_EQ(Run("orvi-bus", "list", output), 0);
    EXPECT_NE(output.find("nobody is on the bus in " + sandbox_.BusDirectory()), std::string::npos) << output;
    simulator_.Start();
    const auto application = Start("orvi-ai", "watch caption.line");
    simulator_.Await("clients 1");
    output.clear();
    EXPECT_EQ(Run("orvi-bus", "list", output), 0);
    const std::string pid = std::to_string(simulator_.Child().Pid());
    if (*ORVI_TEST_EMULATOR == '\0') {
        EXPECT_TRUE(std::regex_search(output, std::regex("AI_VISION +alive +" + pid + " .* ai_v_task_m \\([1-9]\\)")))
            << output;
    }
    EXPECT_TRUE(std::regex_search(output, std::regex("\nai_vpp[0-9]+ +alive "))) << output;
    application->Signal(SIGINT);
    (void)application->Wait();
    simulator_.Kill();
    output.clear();
    EXPECT_EQ(Run("orvi-bus", "list --all --json", output), 0);
    EXPECT_NE(output.find("\"process\":\"AI_VISION\",\"state\":\"ended\""), std::string::npos) << output;
}

// Broken set-ups: what was done, and what the doctor says. Each starts with a service that runs.
TEST_F(OrviBusTest, TheDoctorFindsWhatIsBroken) {
    const std::string bus = sandbox_.BusDirectory();
    const auto other = sandbox_.Path("other");
    ASSERT_EQ(mkdir(other.c_str(), 0700), 0);
    const struct {
        const char* name;
        std::vector<std::string> environment;  // of the doctor
        std::function<void()> breaks;
        std::function<void()> mends;
        int code;
        std::string says;
    } cases[] = {
        {"all is well", {}, [] {}, [] {}, 0, "a process that joins and asks itself has its answer"},
        {"relative", {"ORVI_BUS_DIR=bus"}, [] {}, [] {}, 1, "ORVI_BUS_DIR is not an absolute path"},
        {"missing", {"ORVI_BUS_DIR=/nowhere/bus"}, [] {}, [] {}, 1, "/nowhere/bus refused: No such file or directory"},
        {"link",
         {"ORVI_BUS_DIR=" + sandbox_.Path("link")},
         [&] { ASSERT_EQ(symlink(bus.c_str(), sandbox_.Path("link").c_str()), 0); },
         [] {},
         1,
         "it is a symbolic link"},
        {"everybody's",
         {"ORVI_BUS_DIR=" + other},
         [&] { ASSERT_EQ(chmod(other.c_str(), 0777), 0); },
         [&] { ASSERT_EQ(chmod(other.c_str(), 0700), 0); },
         1,
         "everybody may write to it (mode 0777)"},
        {"too long",
         {"ORVI_BUS_DIR=/tmp/" + std::string(100, 'x')},
         [] {},
         [] {},
         1,
         "too long for a socket's address"},
        {"another directory", {"ORVI_BUS_DIR=" + other}, [] {}, [] {}, 1, "has another bus directory: " + bus},
        {"nobody", {"ORVI_BUS_DIR=" + other}, [] {}, [] {}, 1, "nobody is on the bus"},
        {"no number", {"ORVI_BUS_SLOW_MS=soon"}, [] {}, [] {}, 1, "ORVI_BUS_SLOW_MS is 'soon', which is no number"},
        {"stopped",
         {},
         [&] {
             simulator_.Child().Signal(SIGSTOP);
             const std::string state = "/proc/" + std::to_string(simulator_.Child().Pid()) + "/stat";
             while (ReadFile(state).find(") T ") == std::string::npos) {
                 (void)sched_yield();  // it takes effect when the process is next looked at
             }
         },
         [&] { simulator_.Child().Signal(SIGCONT); },
         1,
         ") is stopped: requests to it wait to their end\n       -> kill -CONT "},
        {"two names",
         {},
         [&] { ASSERT_EQ(link((bus + "/AI_VISION.lock").c_str(), (bus + "/twin.lock").c_str()), 0); },
         [&] { ASSERT_EQ(unlink((bus + "/twin.lock").c_str()), 0); },
         1,
         "'AI_VISION' and 'twin' are the same file"},
        {"strange",
         {},
         [&] { std::ofstream(bus + "/notes"); },
         [&] { ASSERT_EQ(unlink((bus + "/notes").c_str()), 0); },
         0,
         "'notes' in the bus directory belongs to no process"},
        {"task gone",
         {},
         [&] { ASSERT_EQ(rename((bus + "/AI_VISION:VDirector").c_str(), (other + "/V").c_str()), 0); },
         [&] { ASSERT_EQ(rename((other + "/V").c_str(), (bus + "/AI_VISION:VDirector").c_str()), 0); },
         1,
         "the service's task VDirector cannot be reached"},
        {"ended", {}, [&] { simulator_.Kill(); }, [] {}, 1, "the service AI_VISION has ended"},
    };
    simulator_.Start();
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        one.breaks();
        std::vector<std::string> wrapper{"/usr/bin/env"};
        wrapper.insert(wrapper.end(), one.environment.begin(), one.environment.end());
        std::string output;
        // An emulator shows neither the other processes' state nor what they have loaded.
        if (*ORVI_TEST_EMULATOR == '\0' || (*one.name != 's' && std::string(one.name) != "another directory")) {
            EXPECT_EQ(Run("orvi-bus", "doctor", output, wrapper), one.code) << output;
            EXPECT_NE(output.find(one.says), std::string::npos) << output;
        }
        one.mends();
    }
    // The service is another program's when its limits are to be low.
    const auto poor = Start("orvi-vision-sim", "--verbose", {"/bin/sh", "-c", "ulimit -n 100; exec \"$@\"", "sh"});
    ASSERT_TRUE(poor->ReadUntil("ready"));
    std::string output;
    EXPECT_EQ(Run("orvi-bus", "doctor --json", output), 0);
    if (*ORVI_TEST_EMULATOR == '\0') {
        EXPECT_NE(output.find(R"({"level":"note","finding":"AI_VISION may open 100 files only","todo":"raise)"),
                  std::string::npos)
            << output;
    }
}

// What is kept prints as what was seen, private contents overwritten; what is no such file is told with its byte.
TEST_F(OrviBusTest, KeepsTheTrafficInAFile) {
    simulator_.Start({"--arrival", "0"});
    const std::string kept = sandbox_.Path("kept.pcapng");
    const std::string open = sandbox_.Path("open.pcapng");
    const std::string bare = sandbox_.Path("bare.pcapng");
    const auto monitor = Watch("--reveal");
    std::list<std::unique_ptr<ChildProcess>> captures;
    for (const std::string& options : {kept + " --payloads", open + " --payloads --reveal", bare}) {
        captures.push_back(StartListening("orvi-bus", "capture " + options));
    }
    std::ofstream(sandbox_.Path("script")) << "model init\nmodel ask \"who are <you>\"\nlock state 4\nface create\n"
                                              "face photos 1001 1002\nsleep 100ms\n";
    std::string ignored;
    EXPECT_EQ(Run("orvi-ai", "run " + sandbox_.Path("script"), ignored), 0);
    const std::string seen = Stop(*monitor);
    for (const auto& capture : captures) {
        EXPECT_EQ(Stop(*capture), "");
    }
    const auto print = [this](const std::string& words, int expected = 0) {
        std::string output;
        EXPECT_EQ(Run("orvi-bus", "print " + words, output), expected) << output;
        return output;
    };
    EXPECT_EQ(print(open + " --reveal"), seen);
    EXPECT_NE(seen.find("who are <you>"), std::string::npos) << seen;
    EXPECT_EQ(ReadFile(kept).find("who are"), std::string::npos);
    EXPECT_NE(print(kept + " --reveal model.ask").find("text=\"*************\""), std::string::npos) << print(kept);
    EXPECT_EQ(print(bare + " lock.state").find("state="), std::string::npos);
    EXPECT_NE(print(bare + " lock.state").find(" ok\n"), std::string::npos);

    std::string table;
    const std::string picture = sandbox_.Path("picture.json");
    EXPECT_EQ(Run("orvi-bus", "timeline " + picture + " --from " + open, table), 0);
    EXPECT_TRUE(std::regex_search(table, std::regex("\nlock.state +1 +0 +[0-9.]+ "))) << table;
    const auto json = nlohmann::json::parse(ReadFile(picture));
    std::map<std::string, int> phases;
    for (const auto& event : json.at("traceEvents")) {
        ++phases[event.at("ph").get<std::string>()];
    }
    EXPECT_GE(phases["X"], 8) << "the waits and the handlers of four requests";
    EXPECT_GE(phases["s"], 4);
    EXPECT_EQ(phases["s"], phases["f"]);

    // As a page in one file: what was said ends no element of it.
    const std::string page = sandbox_.Path("page.html");
    const struct {
        std::string words;
        const char* says;
        bool isOpen;
    } pages[] = {{kept, "private contents masked", false},
                 {open, "private contents masked", false},
                 {open + " --reveal", "messages are in", true},
                 {bare, "without contents", false}};
    for (const auto& one : pages) {
        std::string output;
        EXPECT_EQ(Run("orvi-bus",
                      "view " + one.words.substr(0, one.words.find(' ')) + " " + page + (one.isOpen ? " --reveal" : ""),
                      output),
                  0);
        EXPECT_NE(output.find(one.says), std::string::npos) << output;
        const std::string made = ReadFile(page);
        EXPECT_EQ(made.find("who are \\u003cyou>") != std::string::npos, one.isOpen);
        EXPECT_EQ(made.find("who are"), one.isOpen ? made.find("who are \\u003cyou>") : std::string::npos);
        EXPECT_NE(made.find("\"name\":\"lock.state\""), std::string::npos);
        EXPECT_EQ(made.find(" src="), std::string::npos);
        EXPECT_EQ(made.find("<link"), std::string::npos);
    }

    const std::string whole = ReadFile(open);
    const struct {
        std::string bytes;
        const char* says;
    } broken[] = {
        {"", "is empty"},
        {"notes\n and more notes", "is no pcapng file"},
        {whole.substr(0, whole.size() - 1), "the file ends inside a block"},
        {whole + std::string(8, '\xff'), "it is no block of a pcapng file"},
        {whole.substr(0, whole.size() - 2) + "\xff\xff" + std::string("\6\0\0\0\x20\0\0\0", 8) + std::string(24, '\0'),
         "the packet is none of this bus"},
    };
    for (const auto& one : broken) {
        std::ofstream(sandbox_.Path("broken")) << one.bytes;
        std::string output;
        EXPECT_EQ(Run("orvi-bus", "view " + sandbox_.Path("broken") + " " + page, output), 2);
        EXPECT_NE(output.find(one.says), std::string::npos) << output;
        EXPECT_NE(print(sandbox_.Path("broken"), 2).find(one.says), std::string::npos) << one.says;
    }
    const struct {
        std::string words;
        const char* says;
    } wrong[] = {
        {"print " + sandbox_.Path("none"), "none: No such file"},
        {"print " + sandbox_.Path(""), "Is a directory"},
        {"replay --as service " + sandbox_.Path("none"), "none: No such file"},
        {"timeline " + sandbox_.Path("p.json") + " --from " + sandbox_.Path("none"), "none: No such file"},
        {"timeline " + open + " --from " + open, "would overwrite"},
        {"timeline " + open, "it is read with --from"},
    };
    for (const auto& one : wrong) {
        std::string output;
        EXPECT_EQ(Run("orvi-bus", one.words, output), 2) << one.words;
        EXPECT_NE(output.find(one.says), std::string::npos) << output;
    }
    EXPECT_EQ(ReadFile(open), whole);
    // A pipe is a file as well. What cannot be written is told, and nothing that was captured is lost to a wrong word.
    std::string sameFromPipe;
    EXPECT_EQ(
        Run("orvi-bus", "print /dev/stdin --reveal", sameFromPipe, {"/bin/sh", "-c", "cat " + open + R"(|"$@")", "-"}),
        0);
    EXPECT_EQ(sameFromPipe, seen);
    const struct {
        std::string words;
        std::vector<std::string> wrapper;
        const char* says;
    } failing[] = {
        {"print " + open, {"/bin/sh", "-c", R"("$@" >/dev/full)", "-"}, "standard output: No space left on device"},
        {"dissector", {"/bin/sh", "-c", R"("$@" >/dev/full)", "-"}, "standard output"},
        {"view " + open + " /nonexistent/page", {}, "/nonexistent/page cannot be written: No such file"},
        {"capture " + open, {"/usr/bin/env", "ORVI_BUS_DIR=/nonexistent"}, "/nonexistent refused"},
    };
    for (const auto& one : failing) {
        std::string output;
        EXPECT_EQ(Run("orvi-bus", one.words, output, one.wrapper), 1) << one.words;
        EXPECT_NE(output.find(one.says), std::string::npos) << output;
        EXPECT_EQ(ReadFile(open), whole) << one.words;
    }
    // Names are whatever their tellers say.
    std::ofstream(sandbox_.Path("broken")) << std::regex_replace(whole, std::regex("ai_vpp"), "a\"\\vpp");
    EXPECT_EQ(Run("orvi-bus", "timeline " + picture + " --from " + sandbox_.Path("broken"), table), 0);
    EXPECT_TRUE(nlohmann::json::accept(ReadFile(picture)));

    std::string full;
    EXPECT_EQ(Run("orvi-bus", "capture /dev/full --for 1s", full), 1);
    EXPECT_NE(full.find("No space left on device"), std::string::npos) << full;
    EXPECT_EQ(Run("orvi-bus", "capture " + bare + " --run \"kill -9 $$\"", full), 1);
    EXPECT_NE(full.find("kill -9 $$ ended with 137"), std::string::npos) << full;
}

TEST_F(OrviBusTest, WrongWordsAreUsage) {
    for (const auto& [line, says] : std::vector<std::pair<std::string, std::string>>{
             {"", "A subcommand is required"},
             {"monitor caption.strat", "there is no message 'caption.strat'"},
             {"monitor --slow fast", "'fast' is no time"},
             {"monitor --for 0s", "'0s' is no time at all"},
             {"top --json", "--json"},
             {"list all", "all"},
             {"capture", "file is required"},
             {"capture x --reveal", "--payloads"},
         }) {
        std::string output;
        EXPECT_EQ(Run("orvi-bus", line, output), 2) << line;
        EXPECT_NE(output.find(says), std::string::npos) << output;
    }
}

TEST_F(OrviBusTest, DocumentationRuns) {
    if (*ORVI_TEST_EMULATOR != '\0') {
        GTEST_SKIP() << "a shell does not know the emulator";
    }
    simulator_.Start({"--arrival", "0"});
    ASSERT_EQ(setenv("PATH", (std::string(ORVI_TEST_BIN_DIR ":") + getenv("PATH")).c_str(), 1), 0);
    const std::string page = ReadFile(ORVI_SOURCE_DIR "/docs/host-bus.md");
    const std::regex block("\n```sh\n([^`]*)```\n");
    int blocks = 0;
    for (std::sregex_iterator match(page.begin(), page.end(), block), end; match != end; ++match, ++blocks) {
        ChildProcess shell("/bin/bash", {"-c", "set -e\n" + (*match)[1].str()}, sandbox_.Path("errors"));
        std::string output;
        EXPECT_EQ(End(shell, output), 0) << (*match)[1].str() << "\n" << output << ReadFile(sandbox_.Path("errors"));
    }
    EXPECT_GE(blocks, 2);
}

}  // namespace
}  // namespace orvi_test
