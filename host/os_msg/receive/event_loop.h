// What a receive loop waits for: one epoll instance, and ways to wake and to end it from any thread.
#ifndef ORVI_HOST_OS_MSG_EVENT_LOOP_H
#define ORVI_HOST_OS_MSG_EVENT_LOOP_H

#include <atomic>
#include <cstdint>
#include <sys/epoll.h>

#include "wire/descriptor.h"

namespace orvi_bus {

// What an event is about.
struct Source {
    enum class Kind { kWake, kListener, kDirectory, kProcess, kConnection };
    explicit Source(Kind k) : kind(k) {}
    const Kind kind;
};

// Any thread may add, change, remove and wake; one waits.
class EventLoop {
 public:
    static constexpr int kMostEvents = 64;

    // False with errno set when the kernel refuses.
    bool Open();
    bool Add(Source* source, int fd, uint32_t events) { return Control(EPOLL_CTL_ADD, source, fd, events); }
    bool Change(Source* source, int fd, uint32_t events) { return Control(EPOLL_CTL_MOD, source, fd, events); }
    // Before the descriptor is closed: closing alone does not end a registration while a program that another thread
    // starts holds a copy up to its exec, and the event would then name what is gone.
    void Remove(int fd) { (void)epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, fd, nullptr); }

    void Wake();
    // Ends this run of the loop, or the next one.
    void Stop();
    // Ends it for good.
    void TakeOff();
    // The loop is to return before it calls the handler again; also in a child that the handler has forked.
    bool Interrupted() const { return off_.load() || stop_.load() || InForkedChild(); }
    bool IsOff() const { return off_.load(); }
    bool TakeStop() { return stop_.exchange(false); }

    // Waits until something is ready or the monotonic clock reaches `untilNs` (0: only looks, INT64_MAX: no limit). The
    // number of events, 0 when the time is over or a signal came, -1 with errno set when the kernel refuses.
    int Wait(int64_t untilNs, epoll_event (&events)[kMostEvents]);
    // After an event of kind kWake.
    void TakeWake();

 private:
    bool Control(int operation, Source* source, int fd, uint32_t events);

    std::atomic<bool> stop_{false};
    std::atomic<bool> off_{false};
    Fd epoll_;
    Fd wake_;
    Source wakeSource_{Source::Kind::kWake};
};

}  // namespace orvi_bus

#endif
