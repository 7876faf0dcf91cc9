/* What the workstation's monitored memory offers beyond platform/orvi_os_mem.h, for tests and tools. */
#ifndef ORVI_HOST_MEM_H
#define ORVI_HOST_MEM_H

#include <stdint.h>

#include "orvi_host_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Number of monitored blocks, and of their bytes, that are allocated and not yet released. */
ORVI_HOST_API uint64_t OrviHostMemLiveBlocks(void);
ORVI_HOST_API uint64_t OrviHostMemLiveBytes(void);

/* Number of releases that were refused since the process started: blocks released twice or never allocated. */
ORVI_HOST_API uint64_t OrviHostMemRefusedFrees(void);

#ifdef __cplusplus
}
#endif

#endif
