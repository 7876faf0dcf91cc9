// Payloads as bytes, and as words that a person or a script writes.
#ifndef ORVI_SIM_PAYLOAD_H
#define ORVI_SIM_PAYLOAD_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvi_sim {

using Payload = std::vector<uint8_t>;
using SharedPayload = std::shared_ptr<const Payload>;

// 32-bit integers, little-endian.
void AppendInteger(Payload& payload, uint32_t value);
uint32_t ReadInteger(const uint8_t* bytes);
Payload IntegerPayload(uint32_t value);

// The first `length` bytes of a record of fixed layout.
template <class Record>
Payload BytesOf(const Record& record, size_t length = sizeof(Record)) {
    Payload payload(length);
    std::memcpy(payload.data(), &record, length);
    return payload;
}

// An unsigned number, decimal or 0x hexadecimal, that fits 32 bits.
std::optional<uint32_t> ParseNumber(std::string_view word);

// Appends what one word stands for and returns true; or leaves `payload` alone, puts the reason into `error` and
// returns false.
//   7, -7, 0x2a      a 32-bit integer
//   hex:00ff         these bytes
//   zeros:100        that many zero bytes, at most 16 MiB
//   text:hello       the characters and a NUL
bool AppendWord(Payload& payload, std::string_view word, std::string& error);

// The bytes as hexadecimal digits; "none" when there are none.
std::string ToHex(const Payload& payload);

}  // namespace orvi_sim

#endif
