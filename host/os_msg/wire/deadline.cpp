#include "wire/deadline.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <poll.h>

namespace orvi_bus {

int64_t MonotonicNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

int64_t Deadline::RemainingNs() const {
    return std::max<int64_t>(at_ - MonotonicNs(), 0);
}

timeval Deadline::RemainingTimeval() const {
    const int64_t us = std::max<int64_t>(RemainingNs() / 1000, 1);
    timeval value{};
    value.tv_sec = static_cast<time_t>(us / 1000000);
    value.tv_usec = static_cast<suseconds_t>(us % 1000000);
    return value;
}

bool PollFor(int fd, short events, const Deadline& deadline) {
    pollfd entry{fd, events, 0};
    return PollAnyFor(&entry, 1, deadline);
}

bool PollAnyFor(pollfd* entries, size_t count, const Deadline& deadline) {
    for (;;) {
        const int64_t left = deadline.RemainingNs();
        timespec wait{};
        wait.tv_sec = static_cast<time_t>(left / 1000000000);
        wait.tv_nsec = static_cast<long>(left % 1000000000);
        const int ready = ppoll(entries, count, &wait, nullptr);
        if (ready > 0) {
            return true;
        }
        if (left == 0 || (ready < 0 && errno != EINTR)) {
            return false;
        }
    }
}

}  // namespace orvi_bus
