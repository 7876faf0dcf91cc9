/* The device's common AI library, liborvi_ai_common.so: log set-up, trace output, capability record. */
#ifndef ORVI_PLATFORM_AI_COMMON_H
#define ORVI_PLATFORM_AI_COMMON_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Sizes of the two buffers that OrviAiGetTraceString uses. */
#define ORVI_AI_TRACE_SCRATCH_SIZE 64
#define ORVI_AI_TRACE_LINE_SIZE 400

/* Id of a log file by its name; only the low 16 bits are an id. Cheap: called for each log record. */
uint32_t OrviAiGetAiLogFileId(const char* fileName);

/* Attaches the process to the log service. 0 = log ready; may be called again after OrviAiLogUinit. */
int OrviAiClientLogInit(void);

/* Detaches the process from the log service, which has gone. */
int OrviAiLogUinit(void);

/* Current trace level: 0 none, 1 errors, 3 everything. Cheap: called for each trace. */
uint8_t GetGucAITraceLevel(void);

/* Fills `line` (400 bytes) with the NUL-terminated prefix of a trace line of the given level. `scratch` is
 * 64 bytes of the caller's for the function's own use. The prefix becomes part of a printf format. */
void OrviAiGetTraceString(char* scratch, uint32_t level, char* line);

/* Writes one trace line. */
void OrviAiTracePrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

/* The capability record of the device, kept by the library for the life of the process, or null when the
 * device's configuration cannot be read. At least 356 bytes, aligned for 32-bit reads. */
void* OrviAiGetXmlData(void);

#ifdef __cplusplus
}
#endif

#endif
