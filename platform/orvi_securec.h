/* Bounded memory and string functions, liborvi_securec.so.
 *
 * Each checks that its result fits the destination, returns 0 for success and a non-zero error code for
 * failure, and on failure clears the whole destination (when there is one). Source and destination must not
 * overlap. All may be called on any thread.
 */
#ifndef ORVI_PLATFORM_SECUREC_H
#define ORVI_PLATFORM_SECUREC_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Sets the first `count` bytes of `destination` to `value`; fails when `count` exceeds `destinationSize`. */
int memset_s(void* destination, size_t destinationSize, int value, size_t count);

/* Copies `count` bytes; fails when they do not fit. A null source fails whatever `count` is. */
int memcpy_s(void* destination, size_t destinationSize, const void* source, size_t count);

/* Copies a string with its NUL; fails when they do not fit. */
int strcpy_s(char* destination, size_t destinationSize, const char* source);

/* Copies at most `count` characters of a string and a NUL; fails when they do not fit. */
int strncpy_s(char* destination, size_t destinationSize, const char* source, size_t count);

/* Formats at most `count` characters and a NUL. Returns the number of characters, or -1 when the text is
 * longer than `count`, does not fit, or cannot be formatted; `destination` then holds an empty string. */
int snprintf_s(char* destination, size_t destinationSize, size_t count, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
