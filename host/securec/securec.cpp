// Bounded memory and string functions. A failure leaves nothing of the old contents in the destination: a caller
// that ignores the result then works on zeroes, never on a half-made copy.
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "orvi_host_api.h"
#include "orvi_securec.h"

namespace {

// A size beyond half the address space is a negative number in disguise. Nothing can be cleared by it.
constexpr size_t kMaxSize = SIZE_MAX / 2;

bool IsDestination(const void* destination, size_t size) {
    return destination != nullptr && size != 0 && size <= kMaxSize;
}

int Refuse(void* destination, size_t size, int error) {
    std::memset(destination, 0, size);
    return error;
}

bool Overlap(const void* a, const void* b, size_t size) {
    const auto x = reinterpret_cast<uintptr_t>(a);
    const auto y = reinterpret_cast<uintptr_t>(b);
    return x < y ? y - x < size : x - y < size;
}

// Copies `length` characters and a NUL.
int CopyText(char* destination, size_t size, const char* source, size_t length) {
    if (length >= size) {
        return Refuse(destination, size, ERANGE);
    }
    if (Overlap(destination, source, length + 1)) {
        return Refuse(destination, size, EINVAL);
    }
    std::memcpy(destination, source, length);
    destination[length] = '\0';
    return 0;
}

}  // namespace

ORVI_HOST_API int memset_s(void* destination, size_t destinationSize, int value, size_t count) {
    if (!IsDestination(destination, destinationSize)) {
        return EINVAL;
    }
    if (count > destinationSize) {
        return Refuse(destination, destinationSize, ERANGE);
    }
    std::memset(destination, value, count);
    return 0;
}

ORVI_HOST_API int memcpy_s(void* destination, size_t destinationSize, const void* source, size_t count) {
    if (!IsDestination(destination, destinationSize)) {
        return EINVAL;
    }
    if (source == nullptr) {
        return Refuse(destination, destinationSize, EINVAL);
    }
    if (count > destinationSize) {
        return Refuse(destination, destinationSize, ERANGE);
    }
    if (Overlap(destination, source, count)) {
        return Refuse(destination, destinationSize, EINVAL);
    }
    std::memcpy(destination, source, count);
    return 0;
}

ORVI_HOST_API int strcpy_s(char* destination, size_t destinationSize, const char* source) {
    if (!IsDestination(destination, destinationSize)) {
        return EINVAL;
    }
    if (source == nullptr) {
        return Refuse(destination, destinationSize, EINVAL);
    }
    return CopyText(destination, destinationSize, source, strnlen(source, destinationSize));
}

ORVI_HOST_API int strncpy_s(char* destination, size_t destinationSize, const char* source, size_t count) {
    if (!IsDestination(destination, destinationSize)) {
        return EINVAL;
    }
    if (source == nullptr || count > kMaxSize) {
        return Refuse(destination, destinationSize, EINVAL);
    }
    const size_t bound = count < destinationSize ? count : destinationSize;
    return CopyText(destination, destinationSize, source, strnlen(source, bound));
}

ORVI_HOST_API int snprintf_s(char* destination, size_t destinationSize, size_t count, const char* format, ...) {
    if (!IsDestination(destination, destinationSize)) {
        return -1;
    }
    int length = -1;
    if (format != nullptr) {
        va_list arguments;
        va_start(arguments, format);
        length = std::vsnprintf(destination, destinationSize, format, arguments);
        va_end(arguments);
    }
    if (length < 0 || static_cast<size_t>(length) >= destinationSize || static_cast<size_t>(length) > count) {
        (void)Refuse(destination, destinationSize, 0);
        return -1;
    }
    return length;
}
