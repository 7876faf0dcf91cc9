// Log set-up and trace output. The capability record is in capability.cpp.
#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <unistd.h>

#include "orvi_ai_common.h"
#include "orvi_host_common.h"
#include "orvi_host_log.h"

namespace {

std::atomic<uint32_t> gAttached{0};
std::atomic<uint32_t> gAttachCount{0};
std::atomic<uint32_t> gDetachCount{0};

constexpr uint32_t kUnread = UINT32_MAX;
std::atomic<uint32_t> gTraceLevel{kUnread};
std::once_flag gTraceLevelRead;

}  // namespace

// The upper half is deliberately not empty: only the low 16 bits are an id.
ORVI_HOST_API uint32_t OrviAiGetAiLogFileId(const char* fileName) {
    const auto* c = reinterpret_cast<const unsigned char*>(fileName != nullptr ? fileName : "");
    size_t left = strlen(reinterpret_cast<const char*>(c));
    uint32_t sum = 0;
    for (; left >= 4; left -= 4, c += 4) {  // asked for with each record: four steps of the one below at once
        sum = sum * 923521U + c[0] * 29791U + c[1] * 961U + c[2] * 31U + c[3];
    }
    for (; left != 0; --left, ++c) {
        sum = sum * 31 + *c;
    }
    return 0xA10000U | ((sum ^ (sum >> 16)) & 0xFFFFU);
}

ORVI_HOST_API int OrviAiClientLogInit(void) {
    (void)GetGucAITraceLevel();  // the environment is read by who attaches, not by the thread that traces first
    gAttachCount.fetch_add(1);
    gAttached = 1;
    return 0;
}

ORVI_HOST_API int OrviAiLogUinit(void) {
    if (gAttached.exchange(0) == 0) {
        return -1;
    }
    gDetachCount.fetch_add(1);
    return 0;
}

uint32_t OrviHostLogAttachCount(void) {
    return gAttachCount;
}

uint32_t OrviHostLogDetachCount(void) {
    return gDetachCount;
}

int OrviHostLogIsAttached(void) {
    return gAttached != 0 ? 1 : 0;
}

ORVI_HOST_API uint8_t GetGucAITraceLevel(void) {
    const uint32_t level = gTraceLevel.load(std::memory_order_relaxed);
    if (level != kUnread) {
        return static_cast<uint8_t>(level);
    }
    std::call_once(gTraceLevelRead, [] { gTraceLevel = OrviHostLevelFromEnvironment("ORVI_TRACE_LEVEL", 0); });
    return static_cast<uint8_t>(gTraceLevel.load(std::memory_order_relaxed));
}

// No process or thread name in the prefix: it becomes part of a format, and a name may hold a '%'.
ORVI_HOST_API void OrviAiGetTraceString(char* scratch, uint32_t level, char* line) {
    static_assert(ORVI_HOST_TIMESTAMP_SIZE <= ORVI_AI_TRACE_SCRATCH_SIZE, "the time stamp is made in the scratch");
    const int errorBefore = errno;
    OrviHostLogTimestamp(scratch);
    (void)std::snprintf(line, ORVI_AI_TRACE_LINE_SIZE, "%s trace%" PRIu32 " %d:%d ", scratch, level, getpid(),
                        gettid());
    errno = errorBefore;
}

ORVI_HOST_API void OrviAiTracePrintf(const char* format, ...) {
    char text[ORVI_HOST_LINE_SIZE + 16];  // longer than a line, so that text cut here is marked as cut there
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (length < 0) {
        (void)std::snprintf(text, sizeof(text), "(cannot be formatted) %s", format);
    }
    OrviHostLogWriteLine(text, strnlen(text, sizeof(text)));
}
