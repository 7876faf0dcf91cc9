// Faults that a test or a person asks for: how requests of one id are answered instead of as usual.
#ifndef ORVI_SIM_FAULTS_H
#define ORVI_SIM_FAULTS_H

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>

#include "payload.h"

namespace orvi_sim {

struct Fault {
    enum class Reply { AsUsual, Silent, NoData, Given };
    Reply reply = Reply::AsUsual;
    Payload given;                       // for Given; may be empty, which is a reply of length 0
    std::chrono::milliseconds delay{0};  // before the reply, in addition
    bool hold = false;                   // until the reply is released, in addition
};

class Faults {
 public:
    void SetReply(uint32_t id, Fault::Reply reply, Payload given);
    void SetDelay(uint32_t id, std::chrono::milliseconds delay);
    void SetHold(uint32_t id);
    void Reset(uint32_t id);
    void ResetAll();
    Fault Find(uint32_t id) const;

 private:
    mutable std::mutex mutex_;
    std::map<uint32_t, Fault> faults_;  // guarded by mutex_
};

}  // namespace orvi_sim

#endif
