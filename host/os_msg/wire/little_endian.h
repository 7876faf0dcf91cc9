// Numbers as the bus writes them: little-endian and of a width that is stated, whatever the machine.
#ifndef ORVI_HOST_OS_MSG_LITTLE_ENDIAN_H
#define ORVI_HOST_OS_MSG_LITTLE_ENDIAN_H

#include <cstddef>
#include <cstdint>

namespace orvi_bus {

// `width` is in bytes, at most 8.
inline void Put(uint8_t* out, uint64_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) {
        out[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

inline uint64_t Take(const uint8_t* in, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i) {
        value |= static_cast<uint64_t>(in[i]) << (8 * i);
    }
    return value;
}

}  // namespace orvi_bus

#endif
