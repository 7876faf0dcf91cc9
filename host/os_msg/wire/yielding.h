// The moments before a wait: to be woken from a sleep takes longer than many an answer.
#ifndef ORVI_HOST_OS_MSG_YIELDING_H
#define ORVI_HOST_OS_MSG_YIELDING_H

#include <cstdint>

namespace orvi_bus {

// Lets others run for up to ORVI_BUS_YIELD_US, for those who expect something within microseconds. Any thread; one object
// for each wait.
class Yielding {
 public:
    bool Go();  // false: it is time to sleep

 private:
    int64_t untilNs_ = 0;
};

}  // namespace orvi_bus

#endif
