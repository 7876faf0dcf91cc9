// The simulated service itself: its answers, its own errors, its clients, its end.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <signal.h>
#include <sys/stat.h>

#include "orvi_os_msg.h"
#include "orvi_vision_sim_payloads.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

class SimulatorTest : public VisionTest {
 protected:
    // Runs the simulator to its end: its exit code. It tells its error in one line of stderr, which contains `text`.
    void ExpectError(const std::vector<std::string>& arguments, int result, const std::string& text = "") {
        const std::string file = sandbox_.Path("run.log");
        remove(file.c_str());
        EXPECT_EQ(ChildProcess("orvi-vision-sim", arguments, file).Wait(), result);
        const std::string errors = ReadFile(file);
        EXPECT_EQ(errors.find('\n'), errors.size() - 1) << errors;
        EXPECT_NE(errors.find(text), std::string::npos) << errors;
    }

    // Another application, which is connected as the last of so many clients.
    std::unique_ptr<ChildProcess> StartOther(int clients) {
        auto other =
            std::make_unique<ChildProcess>("first_steps", std::vector<std::string>{}, sandbox_.Path("other.log"));
        EXPECT_TRUE(other->ReadUntil("connected"));
        simulator_.Await("clients " + std::to_string(clients));
        return other;
    }
};

TEST_F(SimulatorTest, RefusalsAreLoggedAndChangeNothing) {
    Connect();
    Bytes photos(76);
    photos[72] = 6;
    Bytes stranger = Address();
    stranger[0] = 'x';
    const std::string refused = "refused ";
    const std::string fromMe = " from " + ProcessName() + ": ";
    enum Kind { REQUEST, ONE_WAY };
    const struct {
        Kind kind;
        const char* task;
        uint32_t id;
        Bytes payload;
        std::string line;
    } cases[] = {
        {REQUEST, "ai_v_task_i", 0x600013, {}, "0x600013" + fromMe + "unknown id"},
        {REQUEST, "ai_v_task_i", 0x600014, Bytes(35), "caption init" + fromMe + "35 bytes, expected 36"},
        {REQUEST, "VDirector", 0x600014, Bytes(36), "caption init" + fromMe + "belongs to ai_v_task_i"},
        {REQUEST, "ai_v_task_m", 0x60000F, Address(), "init" + fromMe + "is no request, but its sender waits"},
        {REQUEST, "ai_face_task", 0x600027, Bytes(260, 'y'), "check-in photo" + fromMe + "the user id has no end"},
        {REQUEST, "ai_face_task", 0x600022, stranger, "check-in init" + fromMe + "the address in it is that of xi_vpp"},
        {REQUEST, "ai_face_task", 0x600023, Bytes(1152, 'c'), "check-in start" + fromMe + "the conference has no id"},
        {REQUEST, "ai_v_task_i", 0x600004, Bytes(51), "detector start" + fromMe + "51 bytes, expected 52"},
        {REQUEST, "ai_v_task_i", 0x600006, photos, "face photos" + fromMe + "6 face ids"},
        {ONE_WAY, "ai_v_task_m", OS_MSG_PROC_EXITRESULT, {}, "0x200003" + fromMe + "unknown id"},
        {ONE_WAY, "ai_v_task_m", 0x60000F, Bytes(36), "init" + fromMe + "a name of the client is empty or has no end"},
        {ONE_WAY, "ai_v_task_m", 0x60000F, Bytes(35, 'z'), "init" + fromMe + "35 bytes, expected 36"},
        {ONE_WAY, "ai_v_task_m", 0x600010, stranger, "uninit" + fromMe + "the address in it is that of xi_vpp"},
        {ONE_WAY, "ai_assist_task", 0x600056, {255, 255, 255, 255}, "assistant init intent" + fromMe + "4294967295"},
        {ONE_WAY,
         "ai_hotword_task",
         0x600060,
         {'a', 'b'},
         "assistant init key word" + fromMe + "the hot-word key does"},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.line);
        if (testCase.kind == REQUEST) {
            // In the place of a record it is longer than one, so that the library takes it for none.
            const Bytes refusal = RequestFromTask(testCase.task, testCase.id, testCase.payload, LONG_WAIT_MS).data;
            ASSERT_TRUE(refusal.size() == 1 || refusal.size() > 4);
            EXPECT_EQ(refusal[refusal.size() == 1 ? 0 : refusal.size() - 4], ORVI_SIM_MALFORMED);
        } else {
            const std::string id = std::to_string(testCase.id);
            const int count = std::stoi(simulator_.Command("count " + id));
            SendToTask(testCase.task, testCase.id, testCase.payload);
            simulator_.Await("request " + id + " " + std::to_string(count + 1));
        }
        ExpectLogged(refused + testCase.line);
    }
    EXPECT_EQ(simulator_.Command("clients").substr(0, 2), "1 ") << "no malformed client came or went";
}

TEST_F(SimulatorTest, OwnErrorsAreOneLineAndAnExitCode) {
    simulator_.Start();
    ExpectError({}, 1, "AI_VISION");
    ExpectError({"--no-such-option"}, 2);
    ExpectError({"--exit-after", "soon"}, 2);
    ExpectError({"--queue-size", "0"}, 2);
    ExpectError({"--push", "0x60002b:x"}, 2);
    ExpectError({"--push", "0x60002b:1@x"}, 2);
    simulator_.Stop();

    const std::string open = sandbox_.Path("open");
    mkdir(open.c_str(), 0700);
    chmod(open.c_str(), 0777);
    for (const std::string& directory : {open, sandbox_.Path("absent/deeper"), "/" + std::string(200, 'x')}) {
        setenv("ORVI_BUS_DIR", directory.c_str(), 1);
        ExpectError({}, 1);
    }
}

TEST_F(SimulatorTest, EndsCleanly) {
    struct End {
        const char* name;
        std::vector<std::string> options;
        void (*tell)(SimulatorProcess&);
    };
    const End ends[] = {
        {"SIGTERM", {}, [](SimulatorProcess& simulator) { simulator.Child().Signal(SIGTERM); }},
        {"SIGINT", {}, [](SimulatorProcess& simulator) { simulator.Child().Signal(SIGINT); }},
        {"quit", {}, [](SimulatorProcess& simulator) { simulator.Command("quit"); }},
        {"end of input", {}, [](SimulatorProcess& simulator) { simulator.Child().CloseInput(); }},
        {"--exit-after", {"--exit-after", "1"}, [](SimulatorProcess&) {}},
        {"SIGTERM while a command waits",
         {},
         [](SimulatorProcess& simulator) {
             simulator.Child().WriteLine("await clients 5 1000000");
             simulator.Child().Signal(SIGTERM);
         }},
        {"SIGTERM while an answer waits for its reader",
         {},
         [](SimulatorProcess& simulator) {
             simulator.Child().WriteLine("push 0x60002b " + std::string(200000, 'y'));
             simulator.Child().Signal(SIGTERM);
         }},
    };
    for (const End& end : ends) {
        simulator_.Start(end.options);
        end.tell(simulator_);
        EXPECT_EQ(simulator_.Child().Wait(), 0) << end.name;
        EXPECT_EQ(sandbox_.SocketCount(), 0U) << end.name;
    }
}

TEST_F(SimulatorTest, CommandsExplainThemselves) {
    simulator_.Start();
    const struct {
        const char* line;
        const char* answer;
    } cases[] = {
        {"nonsense", "there is no command 'nonsense'"},
        {"push", "ID is missing; it is: push ID [WORD...]"},
        {"push x", "'x' is no number for ID"},
        {"push 5000000000", "'5000000000' is no number"},
        {"push 0x60002b y", "'y' is neither a 32-bit integer"},
        {"push 0x60002b hex:123", "even number of hexadecimal digits"},
        {"pushto a", "ID is missing"},
        {"await", "there is no command 'await'"},
        {"await clients x", "'x' is no number for N"},
        {"await clients 1 2 3", "'3' is too much; it is: await clients N [MS]"},
        {"await nothing 1", "there is no command"},
        {"await clients 7 1", "waited 1 ms in vain"},
        {"mic loud", "'loud' is none of on|off"},
        {"help nonsense", "there is no command 'nonsense'"},
    };
    for (const auto& testCase : cases) {
        const std::string answer = simulator_.Ask(testCase.line);
        EXPECT_EQ(answer.substr(0, 6), "error ") << testCase.line;
        EXPECT_NE(answer.find(testCase.answer), std::string::npos) << answer;
    }
    EXPECT_EQ(simulator_.Ask(std::string("say a\0b", 7)), "error the line has a NUL");
    EXPECT_NE(simulator_.Command("help").find("hold ID, release ID"), std::string::npos);
    EXPECT_EQ(simulator_.Command("help mic"), "mic on|off: its microphone");
    EXPECT_EQ(simulator_.Command("push 0x60002b 1"), "0") << "nobody to send it to";
    EXPECT_EQ(simulator_.Stop(), 0);
}

TEST_F(SimulatorTest, PushReachesTheClientThatIsMeant) {
    Connect();
    const auto other = StartOther(2);
    EXPECT_EQ(simulator_.Command("pushto " + ProcessName(other->Pid()) + " 0x60002b 31"), "1");
    EXPECT_EQ(simulator_.Command("pushto " + ProcessName() + " 0x60002b 32"), "1");
    EXPECT_EQ(simulator_.Command("pushto nobody 0x60002b 33"), "0");
    EXPECT_EQ(simulator_.Command("push 0x60002b 34"), "2");
    for (const int status : {32, 34}) {
        EventRecorder::ExpectStatus(ORVI_AI_STATUS_2B, status);
    }
    EXPECT_TRUE(other->ReadUntil("status of type 3 is 31"));
    EXPECT_TRUE(other->ReadUntil("status of type 3 is 34"));
    other->Signal(SIGTERM);
    EXPECT_TRUE(other->ReadUntil("left the service"));
    EXPECT_EQ(other->Wait(), 0);
    simulator_.Await("clients 1");
}

// The stopped client's queue fills and runs over; this client receives everything, one after the other.
TEST_F(SimulatorTest, StuckClientSlowsNobodyAndKeepsNobodyFromEnding) {
    Connect({"--queue-size", "4"});
    const auto stuck = StartOther(2);
    stuck->Signal(SIGSTOP);
    const auto fillQueue = [&] {
        for (int i = 1; i <= 40; ++i) {
            simulator_.Command("push 0x60002d --raw " + std::to_string(i) + " zeros:200000");
            ASSERT_EQ(EventRecorder::Next(), (Event{4, true, {i}}));
        }
    };
    fillQueue();
    const std::string log = simulator_.Log();
    EXPECT_NE(log.find("queue of " + ProcessName(stuck->Pid())), std::string::npos);
    EXPECT_EQ(log.find("queue of " + ProcessName()), std::string::npos);

    stuck->Signal(SIGCONT);
    simulator_.Await("sent");
    simulator_.Command("push 0x60002b 50");
    EXPECT_TRUE(stuck->ReadUntil("status of type 3 is 50")) << "the client is served again";
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_2B, 50);

    stuck->Signal(SIGSTOP);
    fillQueue();
    EXPECT_EQ(simulator_.Stop(), 0);
    ExpectLogged("queued messages for");
}

}  // namespace
}  // namespace orvi_test
