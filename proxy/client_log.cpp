#include "client_log.h"

#include <cstring>

#include "orvi_securec.h"

namespace OrviAiService {
namespace {

void Write(uint32_t level, const LogLine& line) {
    if (line.text == nullptr) {
        return;
    }
    // ORVI_LINE has checked the format.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    OrviOmLogModuleLogRecord(level, OrviAiGetAiLogFileId("AiLog.log") & 0xFFFFU, line.source, line.sourceLength,
                             line.line, line.text);
#pragma GCC diagnostic pop
}

}  // namespace

void LogError(const LogLine& line) {
    Write(LOG_ERROR, line);
}

void LogInfo(const LogLine& line) {
    Write(LOG_INFO, line);
}

bool ComposeTraceLine(char* line, uint32_t level, const char* function, uint32_t sourceLine, const char* format) {
    constexpr size_t SIZE = ORVI_AI_TRACE_LINE_SIZE;
    char scratch[ORVI_AI_TRACE_SCRATCH_SIZE];
    scratch[0] = '\0';
    line[0] = '\0';
    OrviAiGetTraceString(scratch, level, line);
    const size_t length = strnlen(line, SIZE);
    if (length >= SIZE - 1 ||
        snprintf_s(line + length, SIZE - length, SIZE - 1 - length, "[%s:%u]:%s", function, sourceLine, format) < 0) {
        OrviAiTracePrintf("AI_TRACE_ERROR: snprintf_s error!\n");
        return false;
    }
    return true;
}

}  // namespace OrviAiService
