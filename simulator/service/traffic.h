// What applications asked: the journal, and for each message id how many have come and the bytes of the last.
#ifndef ORVI_SIM_SERVICE_TRAFFIC_H
#define ORVI_SIM_SERVICE_TRAFFIC_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "payload.h"
#include "service/request.h"

namespace orvi_sim {

class Traffic {
 public:
    struct Entry {
        uint64_t number;  // the first is 1
        uint32_t id;
        std::string application;  // its name on the bus
        Payload payload;          // its first LONGEST_KEPT bytes
        std::string ending;       // "answered", "refused busy", "taken" of a one-way message, "unanswered" so far
        std::chrono::milliseconds at;
    };

    // Notes a message, before its reply leaves. Returns its number.
    uint64_t Note(const Request& request, const std::string& ending, std::chrono::milliseconds at);
    void End(uint64_t number, const std::string& ending);  // what was unanswered when it was noted

    uint64_t Count(uint32_t id) const;
    Payload Last(uint32_t id) const;

    uint64_t LastNumber() const;
    std::deque<Entry> Behind(uint64_t number) const;  // those that came later and are still kept

    // Wait until `count` messages of the id have been noted, or one behind `number`. False at the deadline or after
    // Stop.
    using TimePoint = std::chrono::steady_clock::time_point;
    bool AwaitCount(uint32_t id, uint64_t count, TimePoint deadline);
    bool AwaitBehind(uint64_t number, TimePoint deadline);
    void Stop();

 private:
    static constexpr size_t MOST_IDS = 1024;
    static constexpr size_t MOST_ENTRIES = 10000;
    static constexpr size_t MOST_BYTES = 16U << 20;
    static constexpr uint32_t LONGEST_KEPT = 64U << 10;

    struct Seen {
        uint64_t count = 0;
        Payload last;
    };

    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    std::map<uint32_t, Seen> seen_;  // at most MOST_IDS entries: an id is a sender's choice
    std::deque<Entry> journal_;
    size_t journalBytes_ = 0;
    uint64_t lastNumber_ = 0;
    bool stopped_ = false;
};

}  // namespace orvi_sim

#endif
