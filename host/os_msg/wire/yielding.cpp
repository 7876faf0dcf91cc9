#include "wire/yielding.h"

#include <algorithm>
#include <atomic>
#include <sched.h>

#include "wire/deadline.h"
#include "wire/settings.h"

namespace orvi_bus {

namespace {

constexpr int64_t kCrowdedNs = 100000;
constexpr int64_t kPauseNs = 200000000;
constexpr int64_t kPauseTimes = 16;  // so often what was lost: little is, and a short guest costs little
// A yield that takes so long has let somebody else run.
constexpr int64_t kSharedNs = 2000;
constexpr int kSharedAtMost = 4;

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
    bool shared = false;
    if (GetSettings().pinned) {
        // The partner may have this very processor, where it runs as soon as this process sleeps, and no sooner. Then
        // every yield lets it run; an interrupt makes one of many long.
        static std::atomic<int> sharedYields{0};
        if (back - now <= kSharedNs) {
            sharedYields.store(0, std::memory_order_relaxed);
        } else if (sharedYields.fetch_add(1, std::memory_order_relaxed) + 1 >= kSharedAtMost) {
            sharedYields.store(kSharedAtMost - 1, std::memory_order_relaxed);  // the next one decides again
            shared = true;
        }
    }
    if (shared || back - now > kCrowdedNs) {
        // Others had the processor for that long. Who wakes from a sleep gets it back sooner than who has yielded it.
        const int64_t pauseNs = shared ? kPauseNs : std::min(kPauseNs, kPauseTimes * (back - now));
        notBeforeNs.store(back + pauseNs, std::memory_order_relaxed);
        untilNs_ = back;
    }
    return true;
}

}  // namespace orvi_bus
