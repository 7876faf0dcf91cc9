// The simulated room's time since the start: it flows as the machine's does, a number of times as fast, or not at all.
// A value without a lock or a thread.
#ifndef ORVI_SIM_SERVICE_CLOCK_H
#define ORVI_SIM_SERVICE_CLOCK_H

#include <chrono>
#include <cstdint>

namespace orvi_sim {

class Clock {
 public:
    using Machine = std::chrono::steady_clock::time_point;
    using Time = std::chrono::nanoseconds;

    static constexpr uint32_t FASTEST = 10000;

    explicit Clock(Machine start) : from_(start) {}

    Time At(Machine now) const { return now > from_ ? reached_ + (now - from_) * scale_ : reached_; }

    // When the machine's clock shows `time`. Only while it flows.
    Machine When(Time time) const;

    // It goes on from where it is, so many times as fast as the machine's; 0: it stands.
    void SetScale(uint32_t scale, Machine now) { *this = Clock(At(now), now, scale); }
    uint32_t Scale() const { return scale_; }
    bool Flows() const { return scale_ != 0; }

    // It goes on from `time`, at its pace.
    void Set(Time time, Machine now) { *this = Clock(time, now, scale_); }

 private:
    Clock(Time reached, Machine from, uint32_t scale) : reached_(reached), from_(from), scale_(scale) {}

    Time reached_{0};  // at from_
    Machine from_;
    uint32_t scale_ = 1;
};

}  // namespace orvi_sim

#endif
