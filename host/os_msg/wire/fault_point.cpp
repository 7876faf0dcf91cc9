#include "wire/fault_point.h"

#ifdef ORVI_FAULT_POINTS

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <signal.h>
#include <sstream>
#include <string>
#include <unistd.h>

#include "wire/bus_log.h"

namespace orvi_bus {

namespace {

// A bit each, in the order of their names.
enum Action : unsigned { kKill = 1, kStop = 2, kDelay = 4, kDrop = 8, kTruncate = 16, kCorrupt = 32 };
constexpr const char* kActionNames[] = {"kill", "stop", "delay", "drop", "truncate", "corrupt"};
constexpr unsigned kAnywhere = kKill | kStop | kDelay;

// In the order of the enumeration.
constexpr struct {
    const char* name;
    unsigned actions;
} kPoints[] = {
    {"accept.before", kAnywhere},
    {"accept.after", kAnywhere | kDrop},                          // the connection
    {"receive.after", kAnywhere | kDrop | kTruncate | kCorrupt},  // the message
    {"reply.before", kAnywhere | kDrop | kTruncate | kCorrupt},   // the reply
    {"reply.inside", kAnywhere | kTruncate},                      // the connection ends here
    {"reply.after", kAnywhere},
    {"join.locked", kAnywhere},
    {"join.recorded", kAnywhere},
    {"unlink.before", kAnywhere | kDrop},  // the endpoint stays
};
constexpr long kDelayNs = 50000000;

struct Plan {
    int point = -1;
    unsigned action = 0;
    int passage = 1;
};

Plan ReadPlan() {
    const char* const text = getenv("ORVI_TEST_FAULT");
    if (text == nullptr) {
        return {};
    }
    std::istringstream words(text);
    std::string name;
    std::string action;
    Plan plan;
    words >> name >> action;
    if (!(words >> plan.passage)) {
        plan.passage = 1;
    }
    for (size_t i = 0; i < std::size(kActionNames); ++i) {
        plan.action |= action == kActionNames[i] ? 1U << i : 0U;
    }
    for (size_t i = 0; i < std::size(kPoints); ++i) {
        if (name == kPoints[i].name && (kPoints[i].actions & plan.action) != 0) {
            plan.point = static_cast<int>(i);
        }
    }
    if (plan.point < 0) {
        Log(kLogError, "ORVI_TEST_FAULT=\"%s\": no such point, or not that action there", text);
    }
    return plan;
}

const Plan& ThePlan() {
    static const Plan plan = ReadPlan();
    return plan;
}

}  // namespace

bool HasFaultAt(FaultPoint point) {
    return static_cast<int>(point) == ThePlan().point;
}

Fault AtFaultPoint(FaultPoint point) {
    const Plan& plan = ThePlan();
    static std::atomic<int> passages{0};
    if (!HasFaultAt(point) || ++passages != plan.passage) {
        return Fault::kNone;
    }
    if (plan.action == kKill) {
        (void)kill(getpid(), SIGKILL);
    } else if (plan.action == kStop) {
        (void)raise(SIGSTOP);  // this thread goes no step further
    } else if (plan.action == kDelay) {
        const timespec delay{0, kDelayNs};
        (void)nanosleep(&delay, nullptr);
    }
    return plan.action == kDrop       ? Fault::kDrop
           : plan.action == kTruncate ? Fault::kTruncate
           : plan.action == kCorrupt  ? Fault::kCorrupt
                                      : Fault::kNone;
}

}  // namespace orvi_bus

#endif
