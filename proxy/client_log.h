// Log and trace macros. Each record names the source file and line that it stands in.
#ifndef ORVI_PROXY_CLIENT_LOG_H
#define ORVI_PROXY_CLIENT_LOG_H

#include <cstdint>

#include "orvi_ai_common.h"
#include "orvi_om_log_client.h"

namespace OrviAiService {

constexpr uint32_t LOG_ERROR = 1;
constexpr uint32_t LOG_INFO = 3;

// Never called: lets the compiler check arguments against a format that is handed on.
inline void CheckFormat(const char*, ...) __attribute__((format(printf, 1, 2)));
inline void CheckFormat(const char*, ...) {}

// A line of the module log that another function writes. Its record names the place of the source that it speaks for,
// where ORVI_LINE stands.
struct LogLine {
    const char* text;  // a format without arguments; null: nothing is written
    const char* source;
    uint32_t sourceLength;
    uint32_t line;
};
void LogError(const LogLine& line);
void LogInfo(const LogLine& line);

// Composes the format of one trace line into `line`, ORVI_AI_TRACE_LINE_SIZE bytes: the platform's prefix,
// the function and source line, the message's own format. False, after one error trace, when it does not fit.
bool ComposeTraceLine(char* line, uint32_t level, const char* function, uint32_t sourceLine, const char* format);

}  // namespace OrviAiService

#define ORVI_SOURCE_NAME __FILE_NAME__
#define ORVI_SOURCE_LENGTH (static_cast<uint32_t>(sizeof(ORVI_SOURCE_NAME) - 1))

// One record of the module log; the log client drops it cheaply when the level is filtered out.
#define ORVI_LOG(level, ...)                                                                         \
    OrviOmLogModuleLogRecord((level), OrviAiGetAiLogFileId("AiLog.log") & 0xFFFFU, ORVI_SOURCE_NAME, \
                             ORVI_SOURCE_LENGTH, static_cast<uint32_t>(__LINE__), __VA_ARGS__)
#define ORVI_LOG_ERROR(...) ORVI_LOG(OrviAiService::LOG_ERROR, __VA_ARGS__)
#define ORVI_LOG_INFO(...) ORVI_LOG(OrviAiService::LOG_INFO, __VA_ARGS__)

#define ORVI_LINE(text)                                  \
    (false ? OrviAiService::CheckFormat(text) : (void)0, \
     OrviAiService::LogLine{text, ORVI_SOURCE_NAME, ORVI_SOURCE_LENGTH, static_cast<uint32_t>(__LINE__)})

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
                OrviAiService::CheckFormat(format, ##__VA_ARGS__);                                                   \
            }                                                                                                        \
        }                                                                                                            \
    } while (false)

#endif
