#include "service/clock.h"

namespace orvi_sim {

Clock::Machine Clock::When(Time time) const {
    const Time left = time > reached_ ? time - reached_ : Time(0);
    return from_ + (left + Time(scale_ - 1)) / scale_;  // not before it
}

}  // namespace orvi_sim
