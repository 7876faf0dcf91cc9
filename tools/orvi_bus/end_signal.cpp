#include "end_signal.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace orvi_bus_tool {

EndSignal::EndSignal() {
    (void)std::signal(SIGPIPE, SIG_IGN);
    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&ends, signal);
    }
    (void)sigprocmask(SIG_BLOCK, &ends, nullptr);
    descriptor_ = signalfd(-1, &ends, SFD_CLOEXEC);
    if (descriptor_ < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
}

EndSignal::~EndSignal() {
    (void)close(descriptor_);
}

bool EndSignal::Print(const std::string& text) {
    pollfd entries[] = {{STDOUT_FILENO, POLLOUT, 0}, {descriptor_, POLLIN, 0}};
    for (size_t written = 0; written < text.size();) {
        if (poll(entries, 2, -1) < 0 && errno == EINTR) {
            continue;
        }
        if (entries[0].revents == 0) {
            return false;
        }
        // So much a pipe with room takes at once.
        const ssize_t size =
            write(STDOUT_FILENO, text.data() + written, std::min<size_t>(text.size() - written, PIPE_BUF));
        if (size < 0 && errno != EINTR && errno != EAGAIN) {
            printError_ = errno;
            return false;
        }
        written += static_cast<size_t>(std::max<ssize_t>(size, 0));
    }
    return true;
}

}  // namespace orvi_bus_tool
