/* Monitored memory of the device's OS layer, liborvi_os_mem.so: what this project needs of it. */
#ifndef ORVI_PLATFORM_OS_MEM_H
#define ORVI_PLATFORM_OS_MEM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Allocates `size` bytes and books them under the caller's source line and file name; the three reserved
 * arguments are 0. The contents are unspecified. Returns null when there is no memory. Any thread. */
void* OsMemMallocSetCharMon(uint32_t size, uint32_t reserved0, uint32_t reserved1, uint32_t reserved2, uint32_t line,
                            const char* file);

/* Releases a block of OsMemMallocSetCharMon; null is ignored. Any thread. */
void OSMemTypeFreeMon(void* block, uint32_t reserved0, uint32_t reserved1, uint32_t line, const char* file);

#ifdef __cplusplus
}
#endif

#endif
