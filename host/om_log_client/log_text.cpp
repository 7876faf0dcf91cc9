#include "log_text.h"

#include <cstdint>
#include <cstring>

namespace {

constexpr char kCut[] = " [cut]";
constexpr size_t kCutLength = sizeof(kCut) - 1;
constexpr size_t kMaxEscape = 4;  // "\x1b"

// Length of the UTF-8 sequence that starts at `text`, or 0 for a byte that starts none, an over-long form, a
// surrogate, or one of the 32 control characters above 0x7f, which terminals obey like those below 0x20.
size_t SequenceLength(const unsigned char* text, size_t rest) {
    const unsigned char first = text[0];
    size_t length = 0;
    uint32_t code = 0;
    uint32_t least = 0;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
        code = first & 0x1FU;
        least = 0xA0;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        code = first & 0x0FU;
        least = 0x800;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        code = first & 0x07U;
        least = 0x10000;
    }
    if (length == 0 || length > rest) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if ((text[i] & 0xC0U) != 0x80U) {
            return 0;
        }
        code = (code << 6) | (text[i] & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < least || code > 0x10FFFF || surrogate ? 0 : length;
}

size_t Escape(unsigned char byte, char* escape) {
    static const char kDigits[] = "0123456789abcdef";
    escape[0] = '\\';
    switch (byte) {
        case '\n':
            escape[1] = 'n';
            return 2;
        case '\r':
            escape[1] = 'r';
            return 2;
        case '\t':
            escape[1] = 't';
            return 2;
        default:
            escape[1] = 'x';
            escape[2] = kDigits[byte >> 4];
            escape[3] = kDigits[byte & 0x0F];
            return 4;
    }
}

}  // namespace

size_t MakeLine(char* line, size_t size, const char* text, size_t length) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    if (length != 0 && bytes[length - 1] == '\n') {
        --length;
    }
    const size_t room = size - 1;  // the newline's place
    size_t used = 0;
    size_t cutAt = 0;  // the last character border that leaves room for the mark
    for (size_t i = 0; i < length;) {
        char escape[kMaxEscape];
        const char* piece = text + i;
        size_t taken = 1;
        size_t pieceLength = 1;
        if (bytes[i] >= 0x80 && (taken = SequenceLength(bytes + i, length - i)) != 0) {
            pieceLength = taken;
        } else if (bytes[i] < 0x20 || bytes[i] >= 0x7F) {
            taken = 1;
            pieceLength = Escape(bytes[i], escape);
            piece = escape;
        }
        if (pieceLength > room - used) {
            std::memcpy(line + cutAt, kCut, kCutLength);
            used = cutAt + kCutLength;
            break;
        }
        std::memcpy(line + used, piece, pieceLength);
        used += pieceLength;
        i += taken;
        if (room - used >= kCutLength) {
            cutAt = used;
        }
    }
    line[used] = '\n';
    return used + 1;
}
