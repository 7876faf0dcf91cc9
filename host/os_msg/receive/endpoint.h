// A task's listening socket in the bus directory.
#ifndef ORVI_HOST_OS_MSG_ENDPOINT_H
#define ORVI_HOST_OS_MSG_ENDPOINT_H

#include <string>

#include "membership/identity.h"
#include "receive/event_loop.h"
#include "wire/descriptor.h"
#include "wire/mutex.h"

namespace orvi_bus {

// Any thread may call any function.
class Endpoint {
 public:
    Endpoint(const Identity& self, EventLoop* loop) : self_(self), loop_(loop) {}

    // Makes the socket, in the place of one that was deleted too: it appears complete or not at all, and from then on
    // messages may be sent to the task. 0, or an error and the reason in `why`.
    int Open(const char* taskName, std::string* why);
    // Takes the name away, unless it is another's by now; what is connected stays.
    void Unlink() const;
    bool InPlace() const;
    // Nobody is accepted any more; those who wait for that are told by the hang-up.
    void Close();

    // The next connection that waits. Empty with errno set: EAGAIN when none does.
    Fd Accept();
    // The descriptors ran out: connections wait in the backlog, and the loop is not told of them until Resume.
    void Pause();
    void Resume();

 private:
    void Drop() ORVI_BUS_REQUIRES(mutex_);
    bool IsThere() const ORVI_BUS_REQUIRES(mutex_);

    const Identity& self_;
    EventLoop* const loop_;
    Source source_{Source::Kind::kListener};
    mutable Mutex mutex_;
    std::string path_ ORVI_BUS_GUARDED_BY(mutex_);
    FileId file_ ORVI_BUS_GUARDED_BY(mutex_);  // of the socket at the path
    Fd listener_ ORVI_BUS_GUARDED_BY(mutex_);
};

}  // namespace orvi_bus

#endif
