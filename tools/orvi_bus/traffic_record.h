// One thing that a process told of the traffic, as every command of orvi-bus knows it: live, or from a file.
#ifndef ORVI_BUS_TOOL_TRAFFIC_RECORD_H
#define ORVI_BUS_TOOL_TRAFFIC_RECORD_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "wire/trace.h"

namespace orvi_bus_tool {

using orvi_bus::TraceKind;

struct TrafficRecord {
    TraceKind kind = TraceKind::kOneWay;
    int64_t timeNs = 0;  // CLOCK_MONOTONIC: when it was sent or, of what has a duration, when it ended
    int64_t durationNs = 0;
    uint64_t stream = 0;
    uint32_t sequence = 0;
    uint32_t msgId = 0;
    int32_t result = 0;
    uint32_t size = 0;  // of the payload
    bool hasNoData = false;
    bool isMasked = false;  // private contents of the payload have been overwritten
    uint32_t lost = 0;      // that the teller could not tell before this one
    uint32_t wordBits = 0;  // of the teller
    int32_t pid = 0;        // of the teller, as the kernel knows it; 0 when it is not visible
    uint32_t uid = 0;
    std::string from;
    std::string to;
    std::string task;
    std::string teller;
    std::optional<std::vector<uint8_t>> payload;  // when payloads are told
};

// What a record holds without its payload; pid and uid are left to who knows them. Nothing when it is no record of this
// version. Names are printable, whatever was told.
std::optional<TrafficRecord> FromTrace(const orvi_bus::TraceRecord& told);

}  // namespace orvi_bus_tool

#endif
