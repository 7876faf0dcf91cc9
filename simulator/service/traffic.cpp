#include "service/traffic.h"

#include <algorithm>

namespace orvi_sim {

uint64_t Traffic::Note(const Request& request, const std::string& ending, std::chrono::milliseconds at) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Payload payload(request.data, request.data + std::min(request.length, LONGEST_KEPT));
    if (seen_.size() < MOST_IDS || seen_.find(request.id) != seen_.end()) {
        Seen& seen = seen_[request.id];
        ++seen.count;
        seen.last = payload;
    }
    journal_.push_back({++lastNumber_, request.id, request.sender.process, payload, ending, at});
    journalBytes_ += payload.size();
    while (journal_.size() > MOST_ENTRIES || journalBytes_ > MOST_BYTES) {
        journalBytes_ -= journal_.front().payload.size();
        journal_.pop_front();
    }
    changed_.notify_all();
    return lastNumber_;
}

void Traffic::End(uint64_t number, const std::string& ending) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const uint64_t first = lastNumber_ - journal_.size() + 1;
    if (number >= first && number <= lastNumber_) {
        journal_[static_cast<size_t>(number - first)].ending = ending;
    }
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

uint64_t Traffic::LastNumber() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lastNumber_;
}

std::deque<Traffic::Entry> Traffic::Behind(uint64_t number) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto first = std::upper_bound(journal_.begin(), journal_.end(), number,
                                        [](uint64_t value, const Entry& entry) { return value < entry.number; });
    return {first, journal_.end()};
}

bool Traffic::AwaitCount(uint32_t id, uint64_t count, TimePoint deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto arrived = [&] {
        const auto found = seen_.find(id);
        return found != seen_.end() && found->second.count >= count;
    };
    changed_.wait_until(lock, deadline, [&] { return stopped_ || arrived(); });
    return !stopped_ && arrived();
}

bool Traffic::AwaitBehind(uint64_t number, TimePoint deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_until(lock, deadline, [&] { return stopped_ || lastNumber_ > number; });
    return !stopped_ && lastNumber_ > number;
}

void Traffic::Stop() {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
}

}  // namespace orvi_sim
