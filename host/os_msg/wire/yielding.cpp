#include "wire/yielding.h"

#include <atomic>
#include <sched.h>

#include "wire/deadline.h"
#include "wire/settings.h"

namespace orvi_bus {

namespace {

constexpr int64_t kCrowdedNs = 100000;
constexpr int64_t kCrowdedPauseNs = 200000000;

}  // namespace

bool Yielding::Go() {
    static std::atomic<int64_t> notBeforeNs{0};
    const int64_t mostNs = static_cast<int64_t>(GetSettings().yieldUs) * 1000;
    if (mostNs == 0) {
        return false;
    }
    const int64_t now = MonotonicNs();
    if (untilNs_ == 0 && now >= notBeforeNs.load(std::memory_order_relaxed)) {
        untilNs_ = now + mostNs;
    }
    if (now >= untilNs_) {
        return false;
    }
    (void)sched_yield();
    const int64_t back = MonotonicNs();
    if (back - now > kCrowdedNs) {
        // Others had the processor for that long. Who wakes from a sleep gets it back sooner than who has yielded it.
        notBeforeNs.store(back + kCrowdedPauseNs, std::memory_order_relaxed);
        untilNs_ = back;
    }
    return true;
}

}  // namespace orvi_bus
