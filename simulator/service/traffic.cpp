#include "service/traffic.h"

#include <algorithm>

namespace orvi_sim {

void Traffic::Note(const Request& request) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (seen_.size() >= MOST_IDS && seen_.find(request.id) == seen_.end()) {
        return;
    }
    Seen& seen = seen_[request.id];
    ++seen.count;
    seen.last.assign(request.data, request.data + std::min(request.length, LONGEST_KEPT));
    changed_.notify_all();
}

uint64_t Traffic::Count(uint32_t id) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = seen_.find(id);
    return found != seen_.end() ? found->second.count : 0;
}

Payload Traffic::Last(uint32_t id) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = seen_.find(id);
    return found != seen_.end() ? found->second.last : Payload{};
}

bool Traffic::AwaitCount(uint32_t id, uint64_t count, std::chrono::steady_clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto arrived = [&] {
        const auto found = seen_.find(id);
        return found != seen_.end() && found->second.count >= count;
    };
    changed_.wait_until(lock, deadline, [&] { return stopped_ || arrived(); });
    return !stopped_ && arrived();
}

void Traffic::Stop() {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
}

}  // namespace orvi_sim
