#include "traffic_record.h"

#include <algorithm>
#include <cstring>

namespace orvi_bus_tool {
namespace {

constexpr int64_t LONGEST_UPTIME_NS = int64_t{1} << 60;  // 36 years; sums of such times are numbers still

template <size_t N>
std::string Name(const char (&field)[N]) {
    std::string name(field, strnlen(field, N));
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c < '!' || c > '~'; }, '?');
    return name;
}

}  // namespace

std::optional<TrafficRecord> FromTrace(const orvi_bus::TraceRecord& told) {
    const auto kind = static_cast<TraceKind>(told.kind);
    if (told.magic != orvi_bus::kTraceMagic || told.version != orvi_bus::kTraceVersion || kind < TraceKind::kOneWay ||
        kind > TraceKind::kHandled || told.dataLen > orvi_bus::kMaxDataLen || told.timeNs < 0 ||
        told.timeNs > LONGEST_UPTIME_NS) {
        return std::nullopt;
    }
    TrafficRecord record;
    record.kind = kind;
    record.timeNs = told.timeNs;
    record.durationNs = std::clamp<int64_t>(told.durationNs, 0, told.timeNs);
    record.stream = told.stream;
    record.sequence = told.sequence;
    record.msgId = told.msgId;
    record.result = told.result;
    record.size = told.dataLen;
    record.hasNoData = (told.flags & orvi_bus::kTraceNoData) != 0;
    record.lost = told.lost;
    record.wordBits = told.wordBits;
    record.from = Name(told.from);
    record.to = Name(told.to);
    record.task = Name(told.task);
    record.teller = Name(told.teller);
    return record;
}

}  // namespace orvi_bus_tool
