// orvi-ai as its user sees it: words in, text and exit code out, with the simulated service in another process.
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>

#include "simulator_process.h"

namespace orvi_test {
namespace {

struct Ended {
    int code;
    std::string output;
    std::string errors;
};

std::string ReadAll(ChildProcess& child) {
    std::string text;
    for (std::string line; child.ReadLine(line);) {
        text += line + "\n";
    }
    return text;
}

class OrviAiTest : public testing::Test {
 protected:
    // The program shows the library's log of a failed call, unless it goes elsewhere.
    OrviAiTest() { (void)unsetenv("ORVI_LOG_FILE"); }

    void StartService() { simulator_.Start({"--arrival", "0", "--participants", "3"}); }

    // "model ask 'how are you'": a blank separates words unless it is quoted.
    std::unique_ptr<ChildProcess> Start(const std::string& line) {
        std::vector<std::string> words;
        const std::regex word("'([^']*)'|(\\S+)");
        for (std::sregex_iterator match(line.begin(), line.end(), word), end; match != end; ++match) {
            words.push_back((*match)[1].matched ? (*match)[1] : (*match)[2]);
        }
        return std::make_unique<ChildProcess>("orvi-ai", words, sandbox_.Path("errors"));
    }

    Ended Run(const std::string& line, const std::string& input = "") {
        (void)std::remove(sandbox_.Path("errors").c_str());
        const auto child = Start(line);
        if (!input.empty()) {
            child->WriteLine(input);
        }
        child->CloseInput();
        const std::string output = ReadAll(*child);
        return {child->Wait(), output, ReadFile(sandbox_.Path("errors"))};
    }

    BusSandbox sandbox_;
    SimulatorProcess simulator_{sandbox_};
};

// What is said, and where: on standard output after success, on standard error otherwise.
TEST_F(OrviAiTest, EveryCommandDoesWhatItSays) {
    StartService();
    const struct {
        const char* line;
        int code;
        const char* says;
    } cases[] = {
        {"app init", 0, "app init  done"},
        {"app deinit", 0, "app deinit  done"},
        {"version", 0, "\n3.1.0.1\n"},
        {"ability", 0, "\n  cloudModel        1\n"},
        {"face create --rate 30 --reid", 0, "face create  done"},
        {"face start --count 1 --rate 30", 0, "  face.event            count="},
        {"face stop", 0, "face stop  done"},
        {"face destroy", 0, "face destroy  done"},
        {"face photos 1001 77 1002", 0, "\n  face 1001  1031 bytes\n  face 1002  "},
        {"face photos 77", 1, "OrviAiSrvFaceDetectorGetById returned -1"},
        {"face photos 1 2 3 4 5 6", 2, "faces: there is room for 5"},
        {"face extract /dev/null", 1, "/dev/null is no reply with photos: 0 bytes, at least 4 expected"},
        {"caption init", 0, "caption init  done"},
        {"caption start --conference C --report --count 4", 0, "  caption.line          number=1 final=0 "},
        {"caption stop", 1, "response ret is error"},  // they were put away at the end
        {"caption deinit", 0, "caption deinit  done"},
        {"caption start", 2, "conference is missing\nSee orvi-ai caption start --help"},
        {"caption start --conference C --option1 2", 2, "option1 is '2': -2147483648 to 1"},
        {"nameplate init", 0, "done"},
        {"nameplate start --count 1", 0, "  nameplate.started     verdict=done\n"},
        {"nameplate stop", 0, "done"},
        {"nameplate deinit", 0, "done"},
        {"director init", 1, "OrviAiSrvDirectorInit returned -1"},
        {"director start", 0, "done"},
        {"director stop", 0, "done"},
        {"director deinit", 1, "OrviAiSrvDirectorDeInit returned -1"},
        {"lock state -7", 0, "done"},
        {"lock state", 2, "state is required"},
        {"checkin init", 0, "done"},
        {"checkin start --conference C --user Ada --for 0s", 0, "done"},
        {"checkin start --for 0s", 1, "OrviAiSrvCheckInStart returned -1"},  // neither id nor uuid
        {"checkin start-report --conference C --for 0s", 0, "done"},
        {"checkin stop-report", 0, "done"},
        {"checkin page --view present", 0, "\n  present     0  ....................\n"},
        {"checkin page --view 7", 2, "view is '7': everybody, present"},
        {"checkin page --page 57", 2, "page is '57': 1 to 56"},
        {"checkin photo user-0001", 0, "\n  no photo\n"},
        {"checkin stop", 0, "done"},
        {"checkin clear", 0, "done"},
        {"checkin deinit", 0, "done"},
        {"minutes start --conference C --subject S --for 0s", 0, "done"},
        {"minutes stop", 1, "response ret is error"},  // they have ended with the command
        {"model init --server device", 0, "done"},
        {"model init --server 7", 1, "the service has no such model"},
        {"model ask how are you", 0, "\nYou asked: \"how are you\" These are 3 words"},
        {"--report model ask how are you", 0, "\n(private, 121 bytes)\n"},
        {"model deinit", 0, "done"},
        {"hotword register", 0, "done"},
        {"hotword replace computer --for 0s", 0, "done"},
        {"hotword add 'dear room' lamp --for 0s", 0, "done"},
        {"hotword remove lamp", 0, "done"},
        {"hotword add", 2, "WORD is required"},
        {"assistant intents open_blinds close_blinds --for 0s", 0, "done"},
        {"assistant wake --mode announce", 0, "done"},
        {"assistant speak --text hello", 0, "done"},
        {"assistant answer --seq 1 --text yes --final", 0, "done"},
        {"assistant card --title T --item yes --item no", 0, "done"},
        {"assistant choose --seq 1 --item 2", 0, "done"},
        {"assistant sleep", 0, "done"},
        {"assistant status", 0, "\n  status  "},
        {"assistant set-page --page 3 --name lobby", 0, "done"},
        {"assistant page", 0, "\n  page  3\n  name  lobby\n"},
        {"assistant ability", 0, "\n  value1  100\n  value2  50\n"},
        {"watch caption.line --for 0s", 0, ""},
        {"watch caption.lines", 2, "there is no event 'caption.lines'"},
        {"wait checkin.arrival --within 0s", 1, "no checkin.arrival came"},
        {"wait checkin.arrival now", 2, "'now' is no FIELD=VALUE"},
        {"sleep 0ms", 0, ""},
        {"sleep long", 2, "'long' is no time"},
        {"sleep 100us", 2, "'100us' is no time"},
        {"sleep 1s30m", 2, "'1s30m' is no time"},
        {"watch --for 1y", 2, "'1y' is no time"},
        {"watch --for 0x10s", 2, "'0x10s' is no time"},
        {"watch --for 1.5.2s", 2, "'1.5.2s' is no time"},
        {"watch --for 9999999999m", 2, "'9999999999m' is no time"},
        {"messages checkin.page", 0, "request 0x600026 ai_face_task OrviAiSrvGetCheckinData\n"},
        {"messages nonsense", 2, "there is no message 'nonsense'"},
        {"messages caption", 0, "\ncaption.line "},
        {"wait face.event source=0 --within 20s", 0, "  face.event            count="},
        {"wait face.event size=1", 2, "there is no field 'size'; there are count, "},
        {"wait face.event count=many", 2, "count is 'many': 0 to 7"},
        {"caption begin", 2, "there is no command 'caption begin'"},
        {"caption", 2, "There are init, start, stop, deinit"},
        {"chekin page", 2, "did you mean checkin?"},
        {"caption start --conf C", 2, "there is no option --conf; did you mean --conference?"},
        {"checkin page 1", 2, "'1' is a word too many"},
        {"run /", 2, "/ cannot be read"},
        {"face extract /", 1, "/ cannot be read"},
        {"", 2, "a command is missing"},
        {"--help", 0, "checkin "},
        {"--app name:colon hotword register", 1, "OrviAiAssistantInitKeyWord returned -1"},
        {"--quiet lock state 1", 0, ""},
        {"--quiet --json lock state 1", 0, ""},
        {"face create --as one", 2, "--as and --detector are for scripts"},
        {"model ask how --count 1", 2, "--count"},
        {"watch --count 0", 2, "'0' is no number from 1 to 4294967295"},
    };
    for (const auto& one : cases) {
        const Ended ended = Run(one.line);
        EXPECT_EQ(ended.code, one.code) << one.line << "\n" << ended.output << ended.errors;
        const std::string& said = one.code == 0 ? ended.output : ended.errors;
        EXPECT_NE(said.find(one.says), std::string::npos) << one.line << "\n" << said;
        EXPECT_EQ(said.empty(), *one.says == '\0') << one.line << "\n" << said;
    }
}

TEST_F(OrviAiTest, HasACommandForEveryExportedFunction) {
    const std::string map = ReadFile(ORVI_SOURCE_DIR "/interface/orvi_ai_srv.map");
    std::set<std::string> exported;
    const std::regex name("\n +\"?((?:OrviAi\\w+)|(?:OrviAiService::[A-Z]\\w+))(?:;|\\()");
    for (std::sregex_iterator match(map.begin(), map.end(), name), end; match != end; ++match) {
        exported.insert((*match)[1]);
    }
    std::set<std::string> called;
    std::istringstream list(Run("commands").output);
    for (std::string line; std::getline(list, line);) {
        std::istringstream words(line.substr(std::min<size_t>(line.size(), 22)));
        for (std::string word; words >> word;) {
            called.insert(word);
        }
    }
    called.erase("-");
    EXPECT_GT(exported.size(), 50U);
    EXPECT_EQ(called, exported);
}

TEST_F(OrviAiTest, SaysThatNobodyIsThere) {
    for (const char* line : {"caption init", "watch", "wait face.event", "app init"}) {
        const Ended ended = Run(line);
        EXPECT_EQ(ended.code, 3) << line;
    }
    EXPECT_EQ(Run("version").code, 0);
    EXPECT_EQ(Run("face extract /nowhere").code, 1);
}

TEST_F(OrviAiTest, PrintsJsonForPrograms) {
    StartService();
    const std::string output = Run("--json caption start --conference C --report --count 4").output;
    const std::regex call(
        "\\{\"call\":\"caption start\",\"function\":\"OrviAiSrvCaptionStart\",\"result\":0,\"ok\":true,"
        "\"ms\":[0-9.]+\\}\n");
    EXPECT_TRUE(std::regex_search(output, call)) << output;
    const std::regex line(
        "\\{\"event\":\"caption.line\",\"seconds\":[0-9.]+,\"values\":\\{\"length\":512,\"number\":1,"
        "\"final\":false,\"start\":[0-9]+,\"face\":1001,\"speaker\":\"Ada\",\"text\":\"Good morning. "
        "Can\"\\}\\}\n");
    EXPECT_TRUE(std::regex_search(output, line)) << output;
    const Ended failed = Run("--json caption stop");
    EXPECT_EQ(failed.code, 1);
    EXPECT_EQ(failed.output.find(
                  "{\"call\":\"caption stop\",\"function\":\"OrviAiSrvCaptionStop\",\"result\":-1,\"ok\":false"),
              0U)
        << failed.output;
    EXPECT_NE(failed.output.find("response ret is error"), std::string::npos) << failed.output;
}

TEST_F(OrviAiTest, SavesPhotos) {
    StartService();
    simulator_.Command("push 0x60002b 1");
    const std::string folder = sandbox_.Path("");
    EXPECT_EQ(Run("face photos 1001 1002 --out " + folder).code, 0);
    const std::string face = ReadFile(sandbox_.Path("face-1002.png"));
    EXPECT_EQ(face.substr(1, 3), "PNG");
    // The same photo in a reply that was kept.
    const auto byte = [](size_t number, int shift) { return static_cast<char>(number >> shift); };
    std::string reply("\1\0\0\0\7\0\0\0", 8);
    for (const int shift : {0, 8, 16, 24}) {
        reply += byte(face.size(), shift);
    }
    std::ofstream(sandbox_.Path("reply"), std::ios::binary) << reply + face;
    const Ended ended = Run("face extract " + sandbox_.Path("reply") + " --out " + folder);
    EXPECT_EQ(ended.code, 0) << ended.errors;
    EXPECT_EQ(ReadFile(sandbox_.Path("face-7.png")), face);
    EXPECT_EQ(Run("face photos 1001 --out /nowhere").code, 2);
}

TEST_F(OrviAiTest, CarriesOutAScript) {
    StartService();
    const Ended ended = Run("--report run -",
                            "# two detectors\n"
                            "face create --as one --rate 30\n"
                            "face create --as 'the other'\n"
                            "face start --detector one\n"
                            "wait face.event\n"
                            "face destroy --detector one\n"
                            "caption init\n"
                            "caption start --conference \"a conference\" --report\n"
                            "wait caption.line final=1 number=1\n"
                            "caption stop\n"
                            "sleep 1ms");
    EXPECT_EQ(ended.code, 0) << ended.errors;
    EXPECT_NE(ended.output.find("final=1 start="), std::string::npos) << ended.output;
    EXPECT_NE(ended.output.find("speaker=\"(private, 3 bytes)\""), std::string::npos) << ended.output;

    const struct {
        const char* options;
        const char* script;
        int code;
        const char* says;
    } cases[] = {
        {"", "version\nface stop\nversion", 1, "no detector has been created by this run"},
        {"", "caption begin\nversion", 2, "-:1: "},
        {"", "version 'open", 2, "-:1: a quote has no end"},
        {"", "watch", 2, "watch does not belong into a script"},
        {"", "--json version", 2, "-:1: "},
        {"", "caption start --conference C --count 3", 2, "`wait` waits for one"},
        {"--keep-going", "face stop\nlock state 1", 1, "no detector"},
    };
    for (const auto& one : cases) {
        const Ended failed = Run(std::string("run - ") + one.options, one.script);
        EXPECT_EQ(failed.code, one.code) << one.script;
        EXPECT_NE(failed.errors.find(one.says), std::string::npos) << one.script << "\n" << failed.errors;
        EXPECT_EQ(failed.errors.find("stopped here") == std::string::npos, *one.options != '\0') << failed.errors;
    }
}

TEST_F(OrviAiTest, WatchesAcrossARestart) {
    StartService();
    const auto watch = Start("watch");
    ASSERT_TRUE(watch->ReadUntil("face.event"));  // it is there
    simulator_.Command("push 0x600038 --raw hex:01");
    EXPECT_TRUE(watch->ReadUntil("caption.line          (1 bytes, at least 512 expected)"));
    simulator_.Kill();
    ASSERT_TRUE(watch->ReadUntil("bus.exit"));
    StartService();
    ASSERT_TRUE(watch->ReadUntil("bus.start"));
    EXPECT_TRUE(watch->ReadUntil("face.event"));
    watch->Signal(SIGINT);
    EXPECT_EQ(watch->Wait(), 0);
}

// The wait of the bus is longer than the test's: only the interrupt can end it.
TEST_F(OrviAiTest, LeavesAServiceThatHangs) {
    ASSERT_EQ(setenv("ORVI_BUS_DEFAULT_WAIT_MS", "600000", 1), 0);
    StartService();
    simulator_.Command("silent 0x60006f");
    const auto child = Start("lock state 1");
    simulator_.Await("request 0x60006f 1");
    child->Signal(SIGINT);
    EXPECT_EQ(child->Wait(), 1);
}

TEST_F(OrviAiTest, HotWordsLastAsLongAsTheirCommand) {
    StartService();
    const auto child = Start("hotword add lamp");
    simulator_.Await("request 0x600062 1");
    simulator_.Command("say lamp");
    EXPECT_TRUE(child->ReadUntil("assistant.woken"));
    child->Signal(SIGINT);
    EXPECT_EQ(child->Wait(), 0);
}

TEST_F(OrviAiTest, EndsWithTheServiceItListensTo) {
    StartService();
    const auto child = Start("caption start --conference C --report");
    ASSERT_TRUE(child->ReadUntil("caption.line"));
    simulator_.Kill();
    EXPECT_EQ(child->Wait(), 3);
}

TEST_F(OrviAiTest, EndsWhenNobodyReads) {
    StartService();
    ChildProcess shell("/bin/bash",
                       {"-c", std::string(ORVI_TEST_EMULATOR) + " " ORVI_TEST_BIN_DIR "/orvi-ai watch "
                                                                "--rate 30 | head -n 1; echo ${PIPESTATUS[0]}"},
                       sandbox_.Path("errors"));
    const std::string output = ReadAll(shell);
    EXPECT_EQ(output.substr(output.find('\n')), "\n1\n") << output;
}

TEST_F(OrviAiTest, CompletesWords) {
    const std::string file = sandbox_.Path("completion");
    std::ofstream(file) << Run("--completion bash").output;
    const struct {
        const char* words;
        const char* expected;
    } cases[] = {
        {"cap", "caption"},
        {"checkin start", "start start-report"},
        {"checkin page --view gu", "guests"},
        {"face start --ra", "--rate"},
        {"wait caption.li", "caption.line"},
    };
    for (const auto& one : cases) {
        const std::string words = std::string("orvi-ai ") + one.words;
        const std::string script = "source " + file + "; COMP_WORDS=(" + words +
                                   "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _orvi_ai; echo \"${COMPREPLY[*]}\"";
        ChildProcess shell("/bin/bash", {"-c", script}, sandbox_.Path("errors"));
        EXPECT_EQ(ReadAll(shell), std::string(one.expected) + "\n") << ReadFile(sandbox_.Path("errors"));
    }
}

// Each block of the page is a shell script that a reader may paste.
TEST_F(OrviAiTest, DocumentationRuns) {
    if (*ORVI_TEST_EMULATOR != '\0') {
        GTEST_SKIP() << "a shell does not know the emulator";
    }
    StartService();
    ASSERT_EQ(setenv("PATH", (std::string(ORVI_TEST_BIN_DIR ":") + getenv("PATH")).c_str(), 1), 0);
    const std::string page = ReadFile(ORVI_SOURCE_DIR "/docs/commands.md");
    const std::regex block("\n```sh\n([^`]*)```\n");
    int blocks = 0;
    for (std::sregex_iterator match(page.begin(), page.end(), block), end; match != end; ++match, ++blocks) {
        const std::string script = "set -e; cd '" + sandbox_.Path("") + "'\n" + (*match)[1].str();
        ChildProcess shell("/bin/bash", {"-c", script}, sandbox_.Path("errors"));
        const std::string output = ReadAll(shell);
        EXPECT_EQ(shell.Wait(), 0) << script << "\n" << output << ReadFile(sandbox_.Path("errors"));
    }
    EXPECT_GT(blocks, 5);
}

}  // namespace
}  // namespace orvi_test
