// Log and trace macros. Each record names the source file and line that it stands in.
#ifndef ORVI_PROXY_CLIENT_LOG_H
#define ORVI_PROXY_CLIENT_LOG_H

#include <cstdint>

#include "orvi_ai_common.h"
#include "orvi_om_log_client.h"

namespace OrviAiService {

constexpr uint32_t LOG_ERROR = 1;
constexpr uint32_t LOG_INFO = 3;

// Never called: lets the compiler check a trace's arguments against its format.
inline void CheckTraceFormat(const char*, ...) __attribute__((format(printf, 1, 2)));
inline void CheckTraceFormat(const char*, ...) {}

// The module log's file.
inline uint32_t LogFileId() {
    return OrviAiGetAiLogFileId("AiLog.log") & 0xFFFFU;
}
// The same for an error record. Cold: the compiler keeps what leads to it small and out of a success's way.
__attribute__((cold)) uint32_t ErrorFileId();

// Writes a line whose time another function decides. A lambda beside its use, so that the record names the place that
// it speaks for: [] { ORVI_LOG_ERROR("<Function> failed."); }
using LogLine = void (*)();

// Composes the format of one trace line into `line`, ORVI_AI_TRACE_LINE_SIZE bytes: the platform's prefix,
// the function and source line, the message's own format. False, after one error trace, when it does not fit.
bool ComposeTraceLine(char* line, uint32_t level, const char* function, uint32_t sourceLine, const char* format);

}  // namespace OrviAiService

#define ORVI_SOURCE_NAME __FILE_NAME__
#define ORVI_SOURCE_LENGTH (static_cast<uint32_t>(sizeof(ORVI_SOURCE_NAME) - 1))

// One record of the module log; the log client drops it cheaply when the level is filtered out.
#define ORVI_LOG(level, fileId, ...)                                                                                   \
    OrviOmLogModuleLogRecord((level), (fileId), ORVI_SOURCE_NAME, ORVI_SOURCE_LENGTH, static_cast<uint32_t>(__LINE__), \
                             __VA_ARGS__)
#define ORVI_LOG_ERROR(...) ORVI_LOG(OrviAiService::LOG_ERROR, OrviAiService::ErrorFileId(), __VA_ARGS__)
#define ORVI_LOG_INFO(...) ORVI_LOG(OrviAiService::LOG_INFO, OrviAiService::LogFileId(), __VA_ARGS__)

// One record of the storm log.
#define ORVI_LOG_STORM(...) \
    OrviOmLogStormLogRecord(3, 3, ORVI_SOURCE_NAME, ORVI_SOURCE_LENGTH, static_cast<uint32_t>(__LINE__), __VA_ARGS__)

// One trace line, written when the trace level is at least `level`; `format` is a literal. The composed line is a
// format made of it, which clang cannot see.
#define ORVI_TRACE(level, function, format, ...)                                                                     \
    do {                                                                                                             \
        if (GetGucAITraceLevel() >= (level)) {                                                                       \
            char orviTraceLine[ORVI_AI_TRACE_LINE_SIZE];                                                             \
            if (OrviAiService::ComposeTraceLine(orviTraceLine, (level), (function), static_cast<uint32_t>(__LINE__), \
                                                (format))) {                                                         \
                _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wformat-security\"")               \
                    OrviAiTracePrintf(orviTraceLine, ##__VA_ARGS__);                                                 \
                _Pragma("GCC diagnostic pop")                                                                        \
            }                                                                                                        \
            if (false) {                                                                                             \
                OrviAiService::CheckTraceFormat(format, ##__VA_ARGS__);                                              \
            }                                                                                                        \
        }                                                                                                            \
    } while (false)

#endif
