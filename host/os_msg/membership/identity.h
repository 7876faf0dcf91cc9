// The calling process on the bus: its name, its directory and its presence. Constant once it has joined, but for what a
// restart of the directory under it makes necessary.
#ifndef ORVI_HOST_OS_MSG_IDENTITY_H
#define ORVI_HOST_OS_MSG_IDENTITY_H

#include <atomic>
#include <cstdint>
#include <string>

#include "membership/directory.h"
#include "membership/presence.h"
#include "membership/presence_record.h"
#include "orvi_os_msg.h"
#include "wire/descriptor.h"
#include "wire/mutex.h"

namespace orvi_bus {

class Identity {
 public:
    // Takes the name: 0, or ORVI_BUS_E_... after one log line. What a dead process left under the name is removed, and so
    // is what other dead processes left. Waits a bounded time for others that join and for a holder that is dying.
    int Join(const char* name);
    bool Joined() const { return joined_.load(std::memory_order_acquire); }

    // Lets watchers see that the process has started. Repeating it changes nothing. 0, or ORVI_BUS_E_... after one line.
    int MarkStarted();
    bool Started() const { return started_.load(std::memory_order_acquire); }

    // Constant once Joined.
    const char* Name() const { return name_; }
    const Directory& Where() const { return directory_; }
    uint64_t Number() const { return number_; }

    // Any thread, once joined; never waits. The own name is answered without a look.
    Presence Look(const char* procName) const;

    // False when somebody has removed or replaced the record, so that nobody sees this process any more.
    bool InPlace() const;
    // Makes the record again, under the same number, and the private directory if that has gone: 0, or ORVI_BUS_E_...
    // and the reason in `why`, which is the caller's to tell. ORVI_BUS_E_NAME: another process has the name by now. The
    // past of the name is forgotten: who looks for the first time after this is not told of it. Never waits
    // for others: while one of them joins it fails with ORVI_BUS_E_TIMEOUT.
    int PutBack(std::string* why);

 private:
    // Both serialise with the other processes and with each other by joining_.
    int TakeName(const Directory& directory, const char* name, std::string* why) ORVI_BUS_REQUIRES(joining_);
    int PutInPlace(const Directory& directory, const char* name, const Presence& replaced, std::string* why)
        ORVI_BUS_REQUIRES(joining_);

    std::atomic<bool> joined_{false};
    std::atomic<bool> started_{false};
    char name_[OS_MSG_NAME_SIZE] = {};
    Directory directory_;
    std::string recordPath_;
    BootId boot_;
    uint64_t number_ = 0;

    Mutex joining_;  // held while waiting, and before mutex_
    // Held for a few system calls. A look holds it from opening a record to closing it: should somebody have linked the
    // own one under another name, it must not be closed once it is locked.
    mutable Mutex mutex_;
    Fd file_ ORVI_BUS_GUARDED_BY(mutex_);  // the own record: never closed while it stands
    OwnFiles own_ ORVI_BUS_GUARDED_BY(mutex_);
    Record record_ ORVI_BUS_GUARDED_BY(mutex_);
    uid_t owner_ ORVI_BUS_GUARDED_BY(mutex_) = 0;   // of the own record
    mutable Fd spare_ ORVI_BUS_GUARDED_BY(mutex_);  // a descriptor for looks when there are none left
};

}  // namespace orvi_bus

#endif
