#include "log.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <unistd.h>

namespace orvi_sim {
namespace {

bool g_verbose = false;  // constant once threads run

std::chrono::steady_clock::time_point StartTime() {
    static const auto start = std::chrono::steady_clock::now();
    return start;
}

void Write(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));
void Write(const char* format, va_list arguments) {
    char line[1024];
    const std::chrono::duration<double> sinceStart = std::chrono::steady_clock::now() - StartTime();
    const int prefix = std::snprintf(line, sizeof(line), "vision-sim [%.3f] ", sinceStart.count());
    const size_t room = sizeof(line) - static_cast<size_t>(prefix) - 1;
    const int text = std::vsnprintf(line + prefix, room, format, arguments);
    size_t length = static_cast<size_t>(prefix) + std::min(static_cast<size_t>(std::max(text, 0)), room - 1);
    line[length++] = '\n';
    // A reader that has gone must not stop the service, so the result does not matter.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line, length);
}

}  // namespace

void SetVerbose(bool verbose) {
    (void)StartTime();
    g_verbose = verbose;
}

void Log(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Write(format, arguments);
    va_end(arguments);
}

void LogVerbose(const char* format, ...) {
    if (!g_verbose) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    Write(format, arguments);
    va_end(arguments);
}

}  // namespace orvi_sim
