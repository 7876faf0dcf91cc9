// A place at the bus where processes tell their traffic (host/os_msg/wire/trace.h).
#ifndef ORVI_BUS_TOOL_TAP_H
#define ORVI_BUS_TOOL_TAP_H

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "end_signal.h"
#include "membership/directory.h"
#include "traffic_record.h"
#include "wire/descriptor.h"

namespace orvi_bus_tool {

class Tap {
 public:
    explicit Tap(const EndSignal& end) : end_(end) {}  // which outlives it
    ~Tap();
    Tap(const Tap&) = delete;
    Tap& operator=(const Tap&) = delete;

    // Takes a free place. False with the reason when there is none, or no bus directory.
    bool Open(bool wantsPayloads, std::string& why);
    const std::string& Path() const { return path_; }

    // Waits for records until the end is wanted (false), at most so long. Those of several processes
    // come in the order of their times, but for what was told later than REORDER afterwards.
    using Milliseconds = std::chrono::milliseconds;
    static constexpr Milliseconds REORDER{20};
    bool Wait(Milliseconds most, std::vector<TrafficRecord>& records);

    // All that is left, after the last Wait.
    void Drain(std::vector<TrafficRecord>& records);

    uint64_t Lost() const { return lost_; }

 private:
    struct Teller {
        orvi_bus::Fd socket;
        int32_t pid = 0;
        uint32_t uid = 0;
        std::unique_ptr<TrafficRecord> unfinished;
    };

    bool Bind(const orvi_bus::Directory& where, bool wantsPayloads, std::string& why);
    void Accept();
    bool Read(Teller& teller);
    bool Take(Teller& teller, const uint8_t* bytes, size_t size);
    void Release(int64_t until, std::vector<TrafficRecord>& records);

    const EndSignal& end_;
    std::string path_;
    orvi_bus::Fd listener_;
    std::vector<std::unique_ptr<Teller>> tellers_;
    std::multimap<int64_t, TrafficRecord> waiting_;  // by time
    std::vector<uint8_t> buffer_;
    uint64_t lost_ = 0;
    int64_t acceptAgainNs_ = 0;  // not before: there was no descriptor left
    bool isShortageTold_ = false;
};

}  // namespace orvi_bus_tool

#endif
