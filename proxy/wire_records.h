// Records that cross the bus, little-endian, each stated once with its size and offsets asserted beside it.
// Records that the application hands over are in the public header.
#ifndef ORVI_PROXY_WIRE_RECORDS_H
#define ORVI_PROXY_WIRE_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "orvi_ai_srv.h"
#include "orvi_os_msg.h"

// The last trait refuses padding that has no name.
#define WIRE_SIZE(type, size)                                                                                        \
    static_assert(sizeof(type) == (size) && std::is_trivially_copyable_v<type> && std::is_standard_layout_v<type> && \
                      std::has_unique_object_representations_v<type>,                                                \
                  #type)
#define WIRE_AT(type, field, offset) static_assert(offsetof(type, field) == (offset), #type "::" #field)

// This client's address on the bus, part of many request payloads.
struct tagAiTaskBasicInfo {
    char proc[OS_MSG_NAME_SIZE];
    char task[OS_MSG_NAME_SIZE];
    uint32_t cpu;  // always 1
};
WIRE_SIZE(tagAiTaskBasicInfo, 36);
WIRE_AT(tagAiTaskBasicInfo, task, 16);
WIRE_AT(tagAiTaskBasicInfo, cpu, 32);

// Start report of the check-in. Bytes behind a text's NUL carry no meaning.
struct CheckinStartReport {
    int32_t type;
    tagOrviAiConfIdInfo confInfo;
};
WIRE_SIZE(CheckinStartReport, 1156);
WIRE_AT(CheckinStartReport, confInfo, 4);

struct CheckinDataQuery {
    uint32_t showType;
    uint32_t pageNum;
};
WIRE_SIZE(CheckinDataQuery, 8);

struct CheckinPhotoQuery {
    char userId[256];    // NUL-terminated
    uint32_t userIdLen;  // as the application gave it
};
WIRE_SIZE(CheckinPhotoQuery, 260);
WIRE_AT(CheckinPhotoQuery, userIdLen, 256);

struct MinutesStartRequest {
    tagAiTaskBasicInfo client;
    tagOrviAiMinutesConfInfo confInfo;
};
WIRE_SIZE(MinutesStartRequest, 1196);
WIRE_AT(MinutesStartRequest, confInfo, 36);

#endif
