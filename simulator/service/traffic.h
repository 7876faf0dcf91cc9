// What has been handled so far, by message id: lets a script wait for a message and look at its bytes.
#ifndef ORVI_SIM_SERVICE_TRAFFIC_H
#define ORVI_SIM_SERVICE_TRAFFIC_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>

#include "payload.h"
#include "service/request.h"

namespace orvi_sim {

class Traffic {
 public:
    // Notes a message that has been handled; its reply comes after that.
    void Note(const Request& request);

    uint64_t Count(uint32_t id) const;
    Payload Last(uint32_t id) const;  // the last payload, its first 64 KiB

    // Waits until `count` messages of the id have been handled. False at the deadline or after Stop.
    bool AwaitCount(uint32_t id, uint64_t count, std::chrono::steady_clock::time_point deadline);
    void Stop();

 private:
    static constexpr size_t MOST_IDS = 1024;
    static constexpr uint32_t LONGEST_KEPT = 64U << 10;

    struct Seen {
        uint64_t count = 0;
        Payload last;
    };

    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    std::map<uint32_t, Seen> seen_;  // at most MOST_IDS entries: an id is a sender's choice
    bool stopped_ = false;
};

}  // namespace orvi_sim

#endif
