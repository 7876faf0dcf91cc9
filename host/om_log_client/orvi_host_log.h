/* What the workstation's log client offers beyond platform/orvi_om_log_client.h, for the other host libraries.
 *
 * One sink takes everything that the host libraries write: the file named by ORVI_LOG_FILE, else standard error. Each
 * line goes out in one write, appended, so that lines of several threads and processes never mix. All functions may
 * be called on any thread and leave errno as it was.
 */
#ifndef ORVI_HOST_LOG_H
#define ORVI_HOST_LOG_H

#include <stddef.h>
#include <stdint.h>

#include "orvi_host_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Room for the text of OrviHostLogTimestamp, NUL included. */
#define ORVI_HOST_TIMESTAMP_SIZE 64

/* A line longer than this, newline included, is cut and ends in " [cut]". */
#define ORVI_HOST_LINE_SIZE 4096

/* Storm log records that are written in one second; what comes beyond them is counted, not written. */
#define ORVI_HOST_STORM_PER_SECOND 1000

/* The level that an environment variable holds: none, error or info, also as 0, 1 or 3. `fallback` when it is not set
 * or empty; also, with one line on standard error, when it holds anything else. Reads the environment each time. */
ORVI_HOST_API uint32_t OrviHostLevelFromEnvironment(const char* variable, uint32_t fallback);

/* The time of day as "2025-01-31T09:30:00.123456Z". Takes no lock, so that a forked child may log. */
ORVI_HOST_API void OrviHostLogTimestamp(char text[ORVI_HOST_TIMESTAMP_SIZE]);

/* Writes one line to the sink whatever the log level is. A newline at the end of `text` is not needed; control
 * characters and bytes that are no UTF-8 are made visible. Lines that the sink does not take are counted, and the next
 * line that it takes is preceded by one that tells how many. */
ORVI_HOST_API void OrviHostLogWriteLine(const char* text, size_t length);

#ifdef __cplusplus
}
#endif

#endif
