// Waits that end: an absolute time on the monotonic clock, and poll() against it.
#ifndef ORVI_HOST_OS_MSG_DEADLINE_H
#define ORVI_HOST_OS_MSG_DEADLINE_H

#include <cstddef>
#include <cstdint>
#include <poll.h>
#include <sys/time.h>

namespace orvi_bus {

constexpr int64_t kNsPerMs = 1000000;

int64_t MonotonicNs();

class Deadline {
 public:
    explicit Deadline(uint32_t waitMs) : at_(MonotonicNs() + static_cast<int64_t>(waitMs) * kNsPerMs) {}
    int64_t RemainingNs() const;  // never negative
    bool Expired() const { return RemainingNs() == 0; }
    // For SO_SNDTIMEO, where 0 would mean no limit: at least one microsecond.
    timeval RemainingTimeval() const;

 private:
    int64_t at_;
};

// Waits until the descriptor reports one of `events`, or an error or hang-up, which poll always reports. False when
// the deadline has passed. Signals do not end the wait.
bool PollFor(int fd, short events, const Deadline& deadline);
// The same for several descriptors, any of them; `revents` tells of each.
bool PollAnyFor(pollfd* entries, size_t count, const Deadline& deadline);

}  // namespace orvi_bus

#endif
