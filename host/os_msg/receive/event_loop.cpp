#include "receive/event_loop.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

#include "wire/deadline.h"

namespace orvi_bus {

bool EventLoop::Open() {
    epoll_ = Fd::Epoll();
    wake_ = Fd::Event();
    return epoll_ && wake_ && Add(&wakeSource_, wake_.Get(), EPOLLIN);
}

bool EventLoop::Control(int operation, Source* source, int fd, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.ptr = source;
    return epoll_ctl(epoll_.Get(), operation, fd, &event) == 0;
}

void EventLoop::Wake() {
    const uint64_t one = 1;
    (void)!write(wake_.Get(), &one, sizeof(one));  // a full counter wakes as well
}

void EventLoop::Stop() {
    stop_.store(true);
    Wake();
}

void EventLoop::TakeOff() {
    off_.store(true);
    Wake();
}

void EventLoop::TakeWake() {
    uint64_t count = 0;
    (void)!read(wake_.Get(), &count, sizeof(count));
}

int EventLoop::Wait(int64_t untilNs, epoll_event (&events)[kMostEvents]) {
    constexpr int64_t kMostMs = 60000;
    int64_t wait = -1;
    if (untilNs == 0) {
        wait = 0;
    } else if (untilNs != INT64_MAX) {
        const int64_t left = std::max<int64_t>(untilNs - MonotonicNs(), 0);
        wait = std::min((left + kNsPerMs - 1) / kNsPerMs, kMostMs);
    }
    const int count = epoll_wait(epoll_.Get(), events, kMostEvents, static_cast<int>(wait));
    return count < 0 && errno == EINTR ? 0 : count;
}

}  // namespace orvi_bus
