// The right to what belongs to a task's receive loop: its connections, its watches, what they hold.
//
// Whoever runs the loop has it, or for a moment whoever clears up after it. Clang's analysis knows it as the capability
// kLoop: functions and members that ask for it cannot be reached from a thread that has not taken it.
#ifndef ORVI_HOST_OS_MSG_LOOP_RIGHT_H
#define ORVI_HOST_OS_MSG_LOOP_RIGHT_H

#include <atomic>

#include "wire/mutex.h"

namespace orvi_bus {

class ORVI_BUS_TSA(capability("right")) LoopCapability {};
inline LoopCapability kLoop;

class LoopRight {
 public:
    bool TryTake() ORVI_BUS_TSA(try_acquire_capability(true, kLoop)) ORVI_BUS_TSA(no_thread_safety_analysis) {
        return !taken_.exchange(true);
    }
    void GiveBack() ORVI_BUS_TSA(release_capability(kLoop)) ORVI_BUS_TSA(no_thread_safety_analysis) {
        taken_.store(false);
    }

 private:
    std::atomic<bool> taken_{false};
};

// For functions that are reached from the loop in ways which the analysis cannot follow.
inline void AssertLoop() ORVI_BUS_TSA(assert_capability(kLoop)) {}

}  // namespace orvi_bus

#endif
