#include "log_sink.h"

#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits.h>
#include <mutex>
#include <signal.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "log_text.h"
#include "orvi_host_log.h"

namespace {

std::once_flag gNamed;
char gPath[PATH_MAX + 1];  // as the environment names the file, written under gNamed; one too long stays too long
std::once_flag gOpened;
std::atomic<int> gSink{STDERR_FILENO};    // written once, under gOpened
std::atomic<bool> gSinkIsRegular{false};  // likewise: writing to it raises no SIGPIPE
std::atomic<uint32_t> gLost{0};           // lines that the sink refused and nobody was told of
std::atomic<int> gLostError{0};           // errno of the last of them
std::atomic<uint32_t> gStormsLeftOut{0};  // storm records left out and nobody was told of

// Writes as much as the descriptor takes; returns 0 or an errno value. A line that was taken in part is finished, so
// that the next one starts at a line's start.
int WriteAll(int fd, const char* data, size_t length) {
    size_t done = 0;
    while (done < length) {
        const ssize_t n = write(fd, data + done, length - done);
        if (n > 0) {
            done += static_cast<size_t>(n);
        } else if (n == 0 || errno != EINTR) {
            return n == 0 ? EIO : errno;
        }
    }
    return 0;
}

// The same for a descriptor that may be a pipe without a reader, which must not kill the application. A SIGPIPE that
// was pending before stays pending.
int WriteAllNoSignal(int fd, const char* data, size_t length) {
    sigset_t pipeOnly;
    sigset_t before;
    sigset_t pending;
    (void)sigemptyset(&pipeOnly);
    (void)sigaddset(&pipeOnly, SIGPIPE);
    (void)sigemptyset(&pending);
    (void)sigpending(&pending);
    (void)pthread_sigmask(SIG_BLOCK, &pipeOnly, &before);
    const int error = WriteAll(fd, data, length);
    if (error == EPIPE && sigismember(&pending, SIGPIPE) == 0) {
        const timespec now{};
        while (sigtimedwait(&pipeOnly, nullptr, &now) == -1 && errno == EINTR) {
        }
    }
    (void)pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

int WriteToSink(const char* line, size_t length) {
    const int fd = gSink.load(std::memory_order_relaxed);
    return gSinkIsRegular.load(std::memory_order_relaxed) ? WriteAll(fd, line, length)
                                                          : WriteAllNoSignal(fd, line, length);
}

// Opens a log file without waiting for a pipe's reader, and never under one of the three standard descriptors: an
// application that closed one of them would print into its log. Returns -1 with errno.
int OpenLogFile(const char* path) {
    const int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0640);
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    (void)close(fd);
    errno = error;
    return moved;
}

void OpenSink() {
    SinkReadEnvironment();
    if (*gPath == '\0') {
        return;
    }
    const int fd = OpenLogFile(gPath);
    if (fd < 0) {
        char reason[128];
        ComplainToStderr("ORVI_LOG_FILE: cannot write to %s: %s; logging to standard error", gPath,
                         strerror_r(errno, reason, sizeof(reason)));
        return;
    }
    struct stat status {};
    gSinkIsRegular = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    gSink = fd;
}

// Takes the count, writes the line that tells it, and puts the count back when the line is refused.
void Tell(std::atomic<uint32_t>* counter, const char* what, const char* why) {
    if (counter->load(std::memory_order_relaxed) == 0) {
        return;
    }
    const uint32_t count = counter->exchange(0);
    if (count == 0) {
        return;  // another thread tells it
    }
    char now[ORVI_HOST_TIMESTAMP_SIZE];
    OrviHostLogTimestamp(now);
    char line[256];
    const int length =
        std::snprintf(line, sizeof(line), "%s log %d: %" PRIu32 " %s: %s\n", now, getpid(), count, what, why);
    if (length < 0 || WriteToSink(line, static_cast<size_t>(length)) != 0) {
        counter->fetch_add(count);
    }
}

}  // namespace

void ComplainToStderr(const char* format, ...) {
    char text[ORVI_HOST_LINE_SIZE];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (length < 0) {
        return;
    }
    char line[ORVI_HOST_LINE_SIZE];
    const size_t used = static_cast<size_t>(length) < sizeof(text) ? static_cast<size_t>(length) : sizeof(text) - 1;
    (void)WriteAllNoSignal(STDERR_FILENO, line, MakeLine(line, sizeof(line), text, used));
}

void SinkReadEnvironment() {
    std::call_once(gNamed, [] {
        if (const char* const path = std::getenv("ORVI_LOG_FILE")) {
            (void)std::snprintf(gPath, sizeof(gPath), "%s", path);
        }
    });
}

void SinkWrite(const char* line, size_t length) {
    std::call_once(gOpened, OpenSink);
    SinkTellGaps();
    const int error = WriteToSink(line, length);
    if (error != 0) {
        gLostError = error;
        gLost.fetch_add(1);
    }
}

void SinkCountStorm() {
    gStormsLeftOut.fetch_add(1, std::memory_order_relaxed);
}

void SinkTellGaps() {
    char reason[128];
    char why[128];
    if (gStormsLeftOut.load(std::memory_order_relaxed) != 0) {
        (void)std::snprintf(why, sizeof(why), "more than %d in one second", ORVI_HOST_STORM_PER_SECOND);
        Tell(&gStormsLeftOut, "storm records left out", why);
    }
    if (gLost.load(std::memory_order_relaxed) != 0) {
        Tell(&gLost, "lines lost", strerror_r(gLostError.load(), reason, sizeof(reason)));
    }
}
