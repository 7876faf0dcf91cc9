/* Threads and ids of the device's OS layer, liborvi_os_thread.so: what this project needs of it. */
#ifndef ORVI_PLATFORM_OS_THREAD_H
#define ORVI_PLATFORM_OS_THREAD_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Runs `routine(argument)` on a new detached thread and stores its id, which is never 0, in `*id` before
 * the routine runs. `attributes` points to a zeroed word and `reserved` is 0: default attributes.
 * Returns 0, or a non-zero code when no thread could be started; `*id` is then left as it was. */
int OsPthreadCreateId(uint32_t* id, uint32_t* attributes, uint32_t reserved, void* (*routine)(void*), void* argument);

/* Names the calling thread; a name of more than 15 characters is cut. Returns 0, or a non-zero code. */
int OsPthreadSetName(const char* name);

/* Id of the calling process. */
uint32_t OsGetPId(void);

/* Real user id of the calling process. */
uint32_t OsGetUId(void);

/* Lets the calling thread pause for `microseconds`, never less. */
void OsUSleep(uint32_t microseconds);

#ifdef __cplusplus
}
#endif

#endif
