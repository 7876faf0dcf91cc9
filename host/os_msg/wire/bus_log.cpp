#include "wire/bus_log.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <unistd.h>

namespace orvi_bus {

namespace {

std::atomic<uint32_t> g_level{kLogError};
std::atomic<uint32_t> g_stderrLimit{kLogError};
std::atomic<OsMsgLogFunc> g_function{nullptr};

}  // namespace

void SetLogLevel(uint32_t level) {
    g_level.store(level, std::memory_order_relaxed);
}
void SetLogFunction(OsMsgLogFunc function) {
    g_function.store(function);
}
void SetStderrLimit(uint32_t level) {
    g_stderrLimit.store(level, std::memory_order_relaxed);
}

void Log(uint32_t level, const char* format, ...) {
    if (level > g_level.load(std::memory_order_relaxed)) {
        return;
    }
    const OsMsgLogFunc function = g_function.load();
    if (function == nullptr && level > g_stderrLimit.load(std::memory_order_relaxed)) {
        return;
    }
    const int savedErrno = errno;
    char line[512];
    const int prefix = snprintf(line, sizeof(line), "orvi bus %s: ", level <= kLogError ? "error" : "info");
    va_list arguments;
    va_start(arguments, format);
    const size_t room = sizeof(line) - static_cast<size_t>(prefix) - 1;  // one byte for the line feed
    const int written = vsnprintf(line + prefix, room, format, arguments);
    va_end(arguments);
    size_t length = static_cast<size_t>(prefix);
    if (written > 0) {
        length += static_cast<size_t>(written) < room ? static_cast<size_t>(written) : room - 1;
    }
    for (size_t i = 0; i < length; ++i) {  // names come from other processes
        line[i] = static_cast<unsigned char>(line[i]) < ' ' || line[i] == 0x7F ? '?' : line[i];
    }
    if (function != nullptr) {
        function(static_cast<int>(level), line);
    } else {
        line[length++] = '\n';
        (void)!write(STDERR_FILENO, line, length);  // nowhere to report a failing log
    }
    errno = savedErrno;
}

}  // namespace orvi_bus
