#include "wire/fault_point.h"

#ifdef ORVI_FAULT_POINTS

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <signal.h>
#include <sstream>
#include <string>
#include <unistd.h>

#include "wire/bus_log.h"

namespace orvi_bus {

namespace {

// In the order of the enumeration, with what can be done there beside what befalls any process.
constexpr struct {
    const char* name;
    bool drop;
    bool truncate;
    bool corrupt;
} kPoints[] = {
    {"accept.before", false, false, false}, {"accept.after", true, false, false},  // the connection is closed
    {"receive.after", true, true, true},                                           // the message
    {"reply.before", true, true, true},                                            // the reply
    {"reply.inside", false, true, false},                                          // the connection ends here
    {"reply.after", false, false, false},   {"join.locked", false, false, false},
    {"join.recorded", false, false, false}, {"unlink.before", true, false, false},  // the endpoint stays
};
constexpr long kDelayNs = 50000000;

struct Plan {
    int point = -1;
    std::string action;
    int passage = 1;
};

bool IsAction(int point, const std::string& action) {
    const auto& row = kPoints[point];
    return action == "kill" || action == "stop" || action == "delay" || (action == "drop" && row.drop) ||
           (action == "truncate" && row.truncate) || (action == "corrupt" && row.corrupt);
}

Plan ReadPlan() {
    const char* const text = getenv("ORVI_TEST_FAULT");
    Plan plan;
    if (text == nullptr) {
        return plan;
    }
    std::istringstream words(text);
    std::string name;
    words >> name >> plan.action >> plan.passage;
    int point = 0;
    for (const auto& row : kPoints) {
        if (name == row.name && IsAction(point, plan.action)) {
            plan.point = point;
        }
        ++point;
    }
    if (plan.point < 0) {
        Log(kLogError, "ORVI_TEST_FAULT=\"%s\": no such point, or not that action there", text);
    }
    plan.passage = words.fail() ? 1 : plan.passage;
    return plan;
}

}  // namespace

Fault AtFaultPoint(FaultPoint point) {
    static const Plan plan = ReadPlan();
    static std::atomic<int> passages{0};
    if (static_cast<int>(point) != plan.point || ++passages != plan.passage) {
        return Fault::kNone;
    }
    if (plan.action == "kill") {
        (void)kill(getpid(), SIGKILL);
    } else if (plan.action == "stop") {
        (void)raise(SIGSTOP);  // this thread goes no step further
    } else if (plan.action == "delay") {
        const timespec delay{0, kDelayNs};
        (void)nanosleep(&delay, nullptr);
    }
    return plan.action == "drop"       ? Fault::kDrop
           : plan.action == "truncate" ? Fault::kTruncate
           : plan.action == "corrupt"  ? Fault::kCorrupt
                                       : Fault::kNone;
}

}  // namespace orvi_bus

#endif
