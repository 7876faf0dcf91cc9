// Faults that a test or a person asks for: what happens to messages of one id instead of the usual.
#ifndef ORVI_SIM_SERVICE_FAULTS_H
#define ORVI_SIM_SERVICE_FAULTS_H

#include <chrono>
#include <cstdint>
#include <map>
#include <vector>

#include "payload.h"

namespace orvi_sim {

// Decided before a request reaches its feature, and before an event reaches an application. One that is answered in the
// feature's place or lost leaves no trace there.
struct Fault {
    bool isLost = false;                 // as if it had never come
    bool isHeld = false;                 // until it is released
    std::chrono::milliseconds delay{0};  // before it is handled, or sent

    enum class Reply { AsUsual, Refusal, NoData, Given };
    Reply reply = Reply::AsUsual;
    uint8_t verdict = 0;  // of the refusal
    Payload given;        // may be empty, which is a reply of length 0
};

// On the stage.
class Faults {
 public:
    // The fault of an id, to be changed.
    Fault& Of(uint32_t id) { return faults_[id]; }

    bool Has(uint32_t id) const { return faults_.count(id) != 0; }
    void Reset(uint32_t id) { faults_.erase(id); }

    std::vector<uint32_t> Ids() const {
        std::vector<uint32_t> ids;
        for (const auto& [id, fault] : faults_) {
            ids.push_back(id);
        }
        return ids;
    }

    Fault Find(uint32_t id) const {
        const auto found = faults_.find(id);
        return found != faults_.end() ? found->second : Fault{};
    }

 private:
    std::map<uint32_t, Fault> faults_;
};

}  // namespace orvi_sim

#endif
