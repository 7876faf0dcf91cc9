// Named points of the bus at which a test makes its process fail, as ORVI_TEST_FAULT says.
#ifndef ORVI_BUS_FAULT_POINT_H
#define ORVI_BUS_FAULT_POINT_H

#include "wire/fault_plan.h"

namespace orvi_bus {

enum class FaultPoint {
    kBeforeAccept,
    kAfterAccept,
    kAfterReceive,
    kBeforeReply,
    kInsideReply,  // its header has gone
    kAfterReply,
    kJoinLocked,    // and no record written
    kJoinRecorded,  // and not started
    kBeforeUnlink,
};

#ifdef ORVI_FAULT_POINTS
Fault AtFaultPoint(FaultPoint point);
bool HasFaultAt(FaultPoint point);  // it may come
#else
constexpr Fault AtFaultPoint(FaultPoint) {
    return Fault::kNone;
}
#endif

}  // namespace orvi_bus

#endif
