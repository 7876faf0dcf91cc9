/* What the workstation's common AI library offers beyond platform/orvi_ai_common.h, for tests and tools. */
#ifndef ORVI_HOST_COMMON_H
#define ORVI_HOST_COMMON_H

#include <stdint.h>

#include "orvi_host_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* How often this process has attached and detached its log, and whether it is attached now (1 or 0). The workstation
 * has no log service that could go: records are written whether the process is attached or not. */
ORVI_HOST_API uint32_t OrviHostLogAttachCount(void);
ORVI_HOST_API uint32_t OrviHostLogDetachCount(void);
ORVI_HOST_API int OrviHostLogIsAttached(void);

#ifdef __cplusplus
}
#endif

#endif
