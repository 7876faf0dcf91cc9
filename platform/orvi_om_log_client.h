/* The device's log client, liborvi_om_log_client.so: what this project needs of it.
 *
 * Both functions copy what they need before they return and may be called on any thread. A record that the
 * device's settings filter out costs next to nothing, so callers do not ask before they write.
 */
#ifndef ORVI_PLATFORM_OM_LOG_CLIENT_H
#define ORVI_PLATFORM_OM_LOG_CLIENT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes one record of a module log. `level` is 1 (error) or 3 (info); `fileId` the log file's id;
 * `source` the writing source file's name and `sourceLength` its length in characters. */
void OrviOmLogModuleLogRecord(uint32_t level, uint32_t fileId, const char* source, uint32_t sourceLength, uint32_t line,
                              const char* format, ...) __attribute__((format(printf, 6, 7)));

/* Writes one record of the storm log, for records that may come in quick succession. The first two
 * arguments are 3 and 3. */
void OrviOmLogStormLogRecord(uint32_t level, uint32_t type, const char* source, uint32_t sourceLength, uint32_t line,
                             const char* format, ...) __attribute__((format(printf, 6, 7)));

#ifdef __cplusplus
}
#endif

#endif
