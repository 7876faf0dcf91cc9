#include "client_log.h"

#include <cstring>

#include "orvi_securec.h"

namespace OrviAiService {

uint32_t ErrorFileId() {
    return LogFileId();
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
