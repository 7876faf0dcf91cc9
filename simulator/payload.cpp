#include "payload.h"

#include <cstdlib>
#include <limits>

namespace orvi_sim {
namespace {

constexpr uint32_t LONGEST_PAYLOAD = 16U << 20;

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

bool AppendHex(Payload& payload, std::string_view digits) {
    if (digits.size() % 2 != 0) {
        return false;
    }
    Payload bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        const int high = HexDigit(digits[i]);
        const int low = HexDigit(digits[i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes.push_back(static_cast<uint8_t>(high * 16 + low));
    }
    payload.insert(payload.end(), bytes.begin(), bytes.end());
    return true;
}

bool StartsWith(std::string_view word, std::string_view prefix) {
    return word.substr(0, prefix.size()) == prefix;
}

}  // namespace

void AppendInteger(Payload& payload, uint32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
        payload.push_back(static_cast<uint8_t>(value >> shift));
    }
}

uint32_t ReadInteger(const uint8_t* bytes) {
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

Payload IntegerPayload(uint32_t value) {
    Payload payload;
    AppendInteger(payload, value);
    return payload;
}

std::optional<uint32_t> ParseNumber(std::string_view word) {
    if (word.empty() || HexDigit(word[0]) < 0 || HexDigit(word[0]) > 9) {
        return std::nullopt;  // strtoull would take blanks and signs
    }
    const std::string text(word);
    char* end = nullptr;
    const int base = StartsWith(word, "0x") || StartsWith(word, "0X") ? 16 : 10;
    const unsigned long long value = std::strtoull(text.c_str(), &end, base);
    if (*end != '\0' || text.size() > 12 || value > std::numeric_limits<uint32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(value);
}

bool AppendWord(Payload& payload, std::string_view word, std::string& error) {
    if (StartsWith(word, "hex:")) {
        if (AppendHex(payload, word.substr(4))) {
            return true;
        }
        error = "hex: takes an even number of hexadecimal digits";
        return false;
    }
    if (StartsWith(word, "zeros:")) {
        const std::optional<uint32_t> count = ParseNumber(word.substr(6));
        if (count && *count <= LONGEST_PAYLOAD) {
            payload.resize(payload.size() + *count);
            return true;
        }
        error = "zeros: takes a number of bytes, at most 16777216";
        return false;
    }
    if (StartsWith(word, "text:")) {
        const std::string_view text = word.substr(5);
        payload.insert(payload.end(), text.begin(), text.end());
        payload.push_back(0);
        return true;
    }
    const bool negative = StartsWith(word, "-");
    const std::optional<uint32_t> number = ParseNumber(negative ? word.substr(1) : word);
    if (!number || (negative && *number > 0x80000000U)) {
        error = "'" + std::string(word) + "' is neither a 32-bit integer nor hex:, zeros: or text:";
        return false;
    }
    AppendInteger(payload, negative ? 0U - *number : *number);
    return true;
}

std::string ToHex(const Payload& payload) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(payload.size() * 2);
    for (const uint8_t byte : payload) {
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 15]);
    }
    return text.empty() ? "none" : text;
}

}  // namespace orvi_sim
