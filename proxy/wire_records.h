// Records that cross the bus, little-endian, each stated once with its size and offsets asserted beside it.
// Records that the application hands over are in the public header.
#ifndef ORVI_PROXY_WIRE_RECORDS_H
#define ORVI_PROXY_WIRE_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

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

#endif
