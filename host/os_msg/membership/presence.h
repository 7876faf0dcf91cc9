// Who is on the bus: a record lock per process name.
//
// Byte 0 of `<name>.lock` is locked from joining on, byte 1 from the start of the first receive loop on. A record lock
// belongs to the process, so it goes with it, by kill -9 too, and a forked child does not keep it. The file holds the
// number of the name's latest incarnation, which grows from each to the next, and that of the latest that has started:
// a watcher that was held up learns from it of one that came and went.
//
// The kernel drops a process's record locks as soon as it closes any descriptor of the file: a process must never open
// its own presence again. LookAt is for other names only.
#ifndef ORVI_HOST_OS_MSG_PRESENCE_H
#define ORVI_HOST_OS_MSG_PRESENCE_H

#include <cstdint>
#include <sys/types.h>

#include "membership/directory.h"
#include "wire/descriptor.h"

namespace orvi_bus {

// Incarnations that join from now on have higher numbers.
uint64_t IncarnationOfNow();

class OwnPresence {
 public:
    // Takes the name or tells why not: one of ORVI_BUS_E_..., after one log line. What a dead process left under the
    // name is removed, and so are the leftovers of other dead processes, their records after a while. Waits a bounded
    // time for others that join and for a holder that is dying.
    int Acquire(const Directory& directory, const char* name);
    // Lets watchers see that the process has started. False with errno set when the kernel refuses the lock.
    bool MarkStarted();
    uint64_t Incarnation() const { return incarnation_; }

 private:
    Fd file_;
    uint64_t incarnation_ = 0;
};

struct Presence {
    uint64_t latest = 0;         // incarnation that joined last, 0 when none ever did
    uint64_t latestStarted = 0;  // incarnation that started last, 0 when none ever did
    bool joined = false;         // `latest` holds the name now
    bool started = false;        // and has started
    pid_t pid = 0;               // of the holder; 0 when it is not visible from here
    // The incarnation that counts as started now, or 0.
    uint64_t Started() const { return started ? latest : 0; }
};

Presence LookAt(const Directory& directory, const char* name);

}  // namespace orvi_bus

#endif
