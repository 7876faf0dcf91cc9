#include "service/service_fault_point.h"

#ifdef ORVI_FAULT_POINTS

#include <iterator>

#include "log.h"

namespace orvi_sim {
namespace {

constexpr char VARIABLE[] = "ORVI_TEST_SERVICE_FAULT";

// In the order of the enumeration.
constexpr orvi_bus::FaultPointRow POINTS[] = {
    {"announced", orvi_bus::kAnywhere},
    {"request.before", orvi_bus::kAnywhere | orvi_bus::kDrop},
    {"request.accepted", orvi_bus::kAnywhere | orvi_bus::kDrop},
    {"reply.before", orvi_bus::kAnywhere | orvi_bus::kDrop | orvi_bus::kTruncate | orvi_bus::kCorrupt},
    {"reply.after", orvi_bus::kAnywhere},
};

struct ServicePlan : orvi_bus::FaultPlan {
    ServicePlan() : FaultPlan(VARIABLE, POINTS, std::size(POINTS)) {
        ExplainWhatIsWrong([](const char* line) { Log("%s", line); });
    }
};

}  // namespace

orvi_bus::Fault AtFaultPoint(FaultPoint point) {
    static ServicePlan plan;
    return plan.Pass(static_cast<int>(point));
}

}  // namespace orvi_sim

#endif
