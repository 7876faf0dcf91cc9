#include "faults.h"

#include <utility>

namespace orvi_sim {

void Faults::SetReply(uint32_t id, Fault::Reply reply, Payload given) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Fault& fault = faults_[id];
    fault.reply = reply;
    fault.given = std::move(given);
}

void Faults::SetDelay(uint32_t id, std::chrono::milliseconds delay) {
    const std::lock_guard<std::mutex> lock(mutex_);
    faults_[id].delay = delay;
}

void Faults::SetHold(uint32_t id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    faults_[id].hold = true;
}

void Faults::Reset(uint32_t id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    faults_.erase(id);
}

void Faults::ResetAll() {
    const std::lock_guard<std::mutex> lock(mutex_);
    faults_.clear();
}

Fault Faults::Find(uint32_t id) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = faults_.find(id);
    return found != faults_.end() ? found->second : Fault{};
}

}  // namespace orvi_sim
