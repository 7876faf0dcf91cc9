#include "wire/fault_point.h"

#ifdef ORVI_FAULT_POINTS

#include <iterator>

#include "wire/bus_log.h"

namespace orvi_bus {

namespace {

constexpr char kVariable[] = "ORVI_TEST_FAULT";

// In the order of the enumeration.
constexpr FaultPointRow kPoints[] = {
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

struct BusPlan : FaultPlan {
    BusPlan() : FaultPlan(kVariable, kPoints, std::size(kPoints)) {
        ExplainWhatIsWrong([](const char* line) { Log(kLogError, "%s", line); });
    }
};

FaultPlan& ThePlan() {
    static BusPlan plan;
    return plan;
}

}  // namespace

bool HasFaultAt(FaultPoint point) {
    return ThePlan().IsAt(static_cast<int>(point));
}

Fault AtFaultPoint(FaultPoint point) {
    return ThePlan().Pass(static_cast<int>(point));
}

}  // namespace orvi_bus

#endif
