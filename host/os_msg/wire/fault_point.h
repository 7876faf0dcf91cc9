// Named points of the bus at which a test makes its process fail: ORVI_TEST_FAULT="POINT ACTION [N]" in the environment, at
// the N-th passage, 1 when it is not given. Where the build has no fault points none of this is left.
#ifndef ORVI_BUS_FAULT_POINT_H
#define ORVI_BUS_FAULT_POINT_H

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

// What is to be done about what the point concerns; what befalls the process, its death, a stop, a delay, has befallen it
// when AtFaultPoint returns.
enum class Fault { kNone, kDrop, kTruncate, kCorrupt };

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
