// Named points of the service at which a test makes it fail on a request, as ORVI_TEST_SERVICE_FAULT says; those of the
// bus below it are ORVI_TEST_FAULT's. What a person asks for is in faults.h.
#ifndef ORVI_SIM_SERVICE_SERVICE_FAULT_POINT_H
#define ORVI_SIM_SERVICE_SERVICE_FAULT_POINT_H

#include "wire/fault_plan.h"

namespace orvi_sim {

enum class FaultPoint {
    Announced,  // and nothing asked
    BeforeRequest,
    AcceptedRequest,  // its sender is known, its feature has not heard of it
    BeforeReply,      // its feature has done it
    AfterReply,       // and its events have not left
};

#ifdef ORVI_FAULT_POINTS
orvi_bus::Fault AtFaultPoint(FaultPoint point);
#else
constexpr orvi_bus::Fault AtFaultPoint(FaultPoint) {
    return orvi_bus::Fault::kNone;
}
#endif

}  // namespace orvi_sim

#endif
