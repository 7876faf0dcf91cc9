// Log records. A record that the level filters out costs one comparison with a cached number; one that is written
// takes no lock and goes out in one write.
#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <time.h>
#include <unistd.h>

#include "log_sink.h"
#include "log_text.h"
#include "orvi_host_log.h"
#include "orvi_om_log_client.h"

namespace {

constexpr uint32_t kLevelNone = 0;
constexpr uint32_t kLevelError = 1;
constexpr uint32_t kLevelInfo = 3;

// The highest level that is written. Until the environment has been read it lets everything pass, to the slower
// question of Wanted().
constexpr uint32_t kUnread = UINT32_MAX;
std::atomic<uint32_t> gThreshold{kUnread};
std::once_flag gThresholdRead;

// One comparison; level 0, which nobody uses, wraps around and is filtered out.
bool FilteredOut(uint32_t level) {
    return level - 1 >= gThreshold.load(std::memory_order_relaxed);
}

bool Wanted(uint32_t level) {
    std::call_once(gThresholdRead, [] {
        SinkReadEnvironment();
        gThreshold = OrviHostLevelFromEnvironment("ORVI_LOG_LEVEL", kLevelError);
    });
    return !FilteredOut(level);
}

// Whether this second still has room for a storm record. Second and count share one word, so that no lock is needed.
bool StormHasRoom() {
    static std::atomic<uint64_t> window{0};
    timespec now{};
    (void)clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const auto second = static_cast<uint32_t>(now.tv_sec);
    uint64_t seen = window.load(std::memory_order_relaxed);
    for (;;) {
        const bool same = static_cast<uint32_t>(seen >> 32) == second;
        const uint32_t count = same ? static_cast<uint32_t>(seen) : 0;
        if (count >= ORVI_HOST_STORM_PER_SECOND) {
            return false;
        }
        if (window.compare_exchange_weak(seen, (static_cast<uint64_t>(second) << 32) | (count + 1),
                                         std::memory_order_relaxed)) {
            return true;
        }
    }
}

// What the storm window left out last is told at the end, when no later record does it.
__attribute__((destructor)) void TellAtExit() {
    SinkTellGaps();
}

void WriteRecord(const char* kind, const char* source, uint32_t sourceLength, uint32_t line, const char* format,
                 va_list arguments) {
    const int errorBefore = errno;
    char now[ORVI_HOST_TIMESTAMP_SIZE];
    OrviHostLogTimestamp(now);
    char text[ORVI_HOST_LINE_SIZE + 16];  // longer than a line, so that text cut here is marked as cut there
    const int sourceRoom = source == nullptr ? 0 : static_cast<int>(sourceLength < 256 ? sourceLength : 256);
    const int head = std::snprintf(text, sizeof(text), "%s %s %d:%d %.*s:%" PRIu32 " ", now, kind, getpid(), gettid(),
                                   sourceRoom, source == nullptr ? "" : source, line);
    const size_t used = head > 0 ? static_cast<size_t>(head) : 0;
    errno = errorBefore;  // for %m
    if (format == nullptr || std::vsnprintf(text + used, sizeof(text) - used, format, arguments) < 0) {
        (void)std::snprintf(text + used, sizeof(text) - used, "(cannot be formatted) %s",
                            format != nullptr ? format : "");
    }
    OrviHostLogWriteLine(text, strnlen(text, sizeof(text)));
    errno = errorBefore;
}

}  // namespace

ORVI_HOST_API void OrviOmLogModuleLogRecord(uint32_t level, uint32_t fileId, const char* source, uint32_t sourceLength,
                                            uint32_t line, const char* format, ...) {
    (void)fileId;  // a workstation has one sink for all log files
    if (FilteredOut(level) || !Wanted(level)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    WriteRecord(level == kLevelError ? "error" : "info", source, sourceLength, line, format, arguments);
    va_end(arguments);
}

ORVI_HOST_API void OrviOmLogStormLogRecord(uint32_t level, uint32_t type, const char* source, uint32_t sourceLength,
                                           uint32_t line, const char* format, ...) {
    (void)type;
    if (FilteredOut(level) || !Wanted(level)) {
        return;
    }
    if (!StormHasRoom()) {
        SinkCountStorm();
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    WriteRecord("storm", source, sourceLength, line, format, arguments);
    va_end(arguments);
}

uint32_t OrviHostLevelFromEnvironment(const char* variable, uint32_t fallback) {
    static const struct {
        const char* name;
        const char* number;
        uint32_t level;
    } kLevels[] = {{"none", "0", kLevelNone}, {"error", "1", kLevelError}, {"info", "3", kLevelInfo}};
    const char* const value = std::getenv(variable);
    if (value == nullptr || *value == '\0') {
        return fallback;
    }
    const char* fallbackName = "none";
    for (const auto& row : kLevels) {
        if (std::strcmp(value, row.name) == 0 || std::strcmp(value, row.number) == 0) {
            return row.level;
        }
        if (row.level == fallback) {
            fallbackName = row.name;
        }
    }
    ComplainToStderr("%s: \"%s\" is not a level; none, error or info (0, 1 or 3) is expected; using %s", variable,
                     value, fallbackName);
    return fallback;
}

void OrviHostLogWriteLine(const char* text, size_t length) {
    const int errorBefore = errno;
    char line[ORVI_HOST_LINE_SIZE];
    SinkWrite(line, MakeLine(line, sizeof(line), text, length));
    errno = errorBefore;
}

// By hand, since the C library's conversions take the lock of the time zone's data even for UTC, and a child forked
// while another thread held that lock would never get it.
void OrviHostLogTimestamp(char text[ORVI_HOST_TIMESTAMP_SIZE]) {
    constexpr int64_t kSecondsPerDay = 86400;
    timespec now{};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    const auto seconds = static_cast<int64_t>(now.tv_sec);
    int64_t days = seconds / kSecondsPerDay;
    const auto ofDay = static_cast<unsigned>(seconds % kSecondsPerDay);
    unsigned year = 1970;
    const auto isLeap = [](unsigned y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; };
    while (days >= (isLeap(year) ? 366 : 365)) {
        days -= isLeap(year) ? 366 : 365;
        ++year;
    }
    unsigned month = 1;
    const auto daysOf = [&](unsigned m) {
        const bool shortMonth = m == 4 || m == 6 || m == 9 || m == 11;
        return m == 2 ? (isLeap(year) ? 29 : 28) : (shortMonth ? 30 : 31);
    };
    while (days >= daysOf(month)) {
        days -= daysOf(month);
        ++month;
    }
    (void)std::snprintf(text, ORVI_HOST_TIMESTAMP_SIZE, "%04u-%02u-%02uT%02u:%02u:%02u.%06uZ", year, month,
                        static_cast<unsigned>(days) + 1, ofDay / 3600, ofDay / 60 % 60, ofDay % 60,
                        static_cast<unsigned>(now.tv_nsec / 1000));
}
