// The service fails at a named point of a request: its caller gets the right answer or learns that there is none, nothing
// is done twice, and the service that follows answers.
#include "fault_points.h"

#include <cstdlib>
#include <fstream>
#include <sched.h>
#include <set>
#include <signal.h>

#include "orvi_host_bus.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

constexpr char SERVICE[] = "ORVI_TEST_SERVICE_FAULT";  // its own points
constexpr char BUS[] = "ORVI_TEST_FAULT";              // the bus's in its process

const std::string RIGHT = "00";
const std::string WRONG = "ff";
const std::string NOTHING = "";
const std::string ABSENT = "error " + std::to_string(ORVI_BUS_E_ABSENT);
const std::string TIMEOUT = "error " + std::to_string(ORVI_BUS_E_TIMEOUT);
const std::string GONE = "error " + std::to_string(ORVI_BUS_E_GONE);

const struct Row {
    const char* variable;
    const char* point;
    const char* action;
    const std::string& outcome;  // of a request whose right answer is one byte
    int executed;                // how often it was done for it
    int passage = 1;
} ROWS[] = {
    // variable, point, action, outcome, executed, passage: the first reply is the service's own to itself
    {SERVICE, "announced", "kill", ABSENT, 0},         {SERVICE, "announced", "stop", TIMEOUT, 0},
    {SERVICE, "announced", "delay", RIGHT, 1},         {SERVICE, "request.before", "kill", GONE, 0},
    {SERVICE, "request.before", "stop", TIMEOUT, 0},   {SERVICE, "request.before", "delay", RIGHT, 1},
    {SERVICE, "request.before", "drop", TIMEOUT, 0},   {SERVICE, "request.accepted", "kill", GONE, 0},
    {SERVICE, "request.accepted", "stop", TIMEOUT, 0}, {SERVICE, "request.accepted", "delay", RIGHT, 1},
    {SERVICE, "request.accepted", "drop", TIMEOUT, 0}, {SERVICE, "reply.before", "kill", GONE, 1},
    {SERVICE, "reply.before", "stop", TIMEOUT, 1},     {SERVICE, "reply.before", "delay", RIGHT, 1},
    {SERVICE, "reply.before", "drop", TIMEOUT, 1},     {SERVICE, "reply.before", "truncate", NOTHING, 1},
    {SERVICE, "reply.before", "corrupt", WRONG, 1},    {BUS, "reply.inside", "kill", GONE, 1, 2},
    {BUS, "reply.inside", "stop", TIMEOUT, 1, 2},      {BUS, "reply.inside", "delay", RIGHT, 1, 2},
    {BUS, "reply.inside", "truncate", GONE, 1, 2},     {SERVICE, "reply.after", "kill", RIGHT, 1},
    {SERVICE, "reply.after", "stop", RIGHT, 1},        {SERVICE, "reply.after", "delay", RIGHT, 1},
};

class FaultPointsTest : public VisionTest {
 protected:
    // A fault is set in the service's environment only: this process has a thread that may be reading its own.
    std::unique_ptr<ChildProcess> StartService(const std::string& log, const std::string& variable = "") {
        std::vector<std::string> wrapper;
        if (!variable.empty()) {
            wrapper = {"/usr/bin/env", variable};
        }
        return std::make_unique<ChildProcess>("orvi-vision-sim", std::vector<std::string>{"--log", sandbox_.Path(log)},
                                              sandbox_.Path("service.log"), wrapper);
    }

    // The answer's bytes, or why there is none.
    static std::string AskForCaptions(uint32_t waitMs) {
        const Outcome outcome = RequestFromTask("ai_v_task_i", 0x600014, Address(), waitMs);
        std::string answer = outcome.result != 0 ? "error " + std::to_string(outcome.result) : "";
        for (const uint8_t byte : outcome.data) {
            answer += {"0123456789abcdef"[byte / 16], "0123456789abcdef"[byte % 16]};
        }
        return answer;
    }

    int Executed(const std::string& log) const {
        const std::string text = ReadFile(sandbox_.Path(log));
        int count = 0;
        for (size_t at = text.find("caption.init: answered"); at != std::string::npos;
             at = text.find("caption.init: answered", at + 1)) {
            ++count;
        }
        return count;
    }

    static void AwaitStop(pid_t pid) {
        const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
        std::string state;
        while (state != "T") {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
            (void)sched_yield();
            std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
            std::string number;
            std::string name;
            file >> number >> name >> state;
        }
    }
};

TEST_F(FaultPointsTest, EachWithEachAction) {
    simulator_.Start();
    ASSERT_EQ(Init(), 0);
    simulator_.Kill();
    std::set<std::string> tried;
    for (const Row& row : ROWS) {
        const std::string action = row.action;
        SCOPED_TRACE(std::string(row.point) + ' ' + action);
        if (row.variable == std::string(SERVICE)) {
            tried.insert(std::string(row.point) + ' ' + action);
        }
        const bool isEarly = std::string(row.point) == "announced" && action != "delay";
        const std::unique_ptr<ChildProcess> service =
            StartService("failing", row.variable + ('=' + std::string(row.point)) + ' ' + action + ' ' +
                                        std::to_string(row.passage));
        if (isEarly && action == "kill") {
            EXPECT_EQ(service->Wait(), -SIGKILL);
        } else if (isEarly) {
            AwaitStop(service->Pid());
        } else {
            ASSERT_TRUE(service->ReadUntil("ready"));
        }
        EXPECT_EQ(AskForCaptions(action == "stop" || action == "drop" ? 200 : LONG_WAIT_MS), row.outcome);
        if (!isEarly && action == "kill") {
            EXPECT_EQ(service->Wait(), -SIGKILL);
        } else if (!isEarly && action == "stop") {
            AwaitStop(service->Pid());
        }
        EXPECT_EQ(Executed("failing"), row.executed);
        if (action != "kill") {
            service->Signal(SIGKILL);
            EXPECT_EQ(service->Wait(), -SIGKILL);
        }
        const std::unique_ptr<ChildProcess> successor = StartService("successor");
        ASSERT_TRUE(successor->ReadUntil("ready"));
        EXPECT_EQ(AskForCaptions(LONG_WAIT_MS), RIGHT);
        EXPECT_EQ(Executed("successor"), 1);
        successor->Signal(SIGKILL);
        EXPECT_EQ(successor->Wait(), -SIGKILL);
    }
    EXPECT_EQ(simulator_.Log().find("no such point"), std::string::npos);
    for (const char* wrong :
         {"reply.after drop", "reply.before", "elsewhere kill", "reply.before kill 0", "reply.before kill 1 x"}) {
        const std::unique_ptr<ChildProcess> service = StartService("wrong", SERVICE + ('=' + std::string(wrong)));
        ASSERT_TRUE(service->ReadUntil("ready"));
        EXPECT_NE(simulator_.Log().find("\"" + std::string(wrong) + "\": no such point"), std::string::npos);
    }
    EXPECT_EQ(PossibleFaults(simulator_.Log()), tried);
}

}  // namespace
}  // namespace orvi_test
