// The processes that a task watches: what their presence tells, announced at its place among their messages.
//
// Presence is the only truth (membership/); the kernel's notices, a process's end and a change in the bus directory, only
// say when to look. What is to be said is decided by membership/announcement.h; here it is carried out: an end is
// announced when all that the process has sent has been handled.
#ifndef ORVI_HOST_OS_MSG_WATCHES_H
#define ORVI_HOST_OS_MSG_WATCHES_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "membership/announcement.h"
#include "membership/identity.h"
#include "receive/connections.h"
#include "receive/event_loop.h"
#include "receive/handler_calls.h"
#include "receive/linked_list.h"
#include "receive/loop_right.h"
#include "wire/mutex.h"

namespace orvi_bus {

// One watched process.
class Watch : public Source {
 public:
    Watch(const char* name, const Identity& self);

    char procName[OS_MSG_NAME_SIZE] = {};
    const std::string fileName;  // of its presence
    std::atomic<bool> wantsStart{false};
    std::atomic<bool> wantsExit{false};
    std::unique_ptr<Watch> next;  // constant once another thread can see the watch

    // The loop's, once the watch is in place.
    Known known;
    bool dirty = true;       // something may have changed: look
    bool ending = false;     // `known.current` has ended, its messages are being handled
    bool endSeen = false;    // and its sockets are closed
    uint64_t drainTick = 0;  // since when its connections are being drained, 0: not yet
    int64_t endDueNs = 0;    // when `endSeen` is no longer waited for
    Fd process;              // readable when the current incarnation has ended
    uint32_t ownerUid = 0;
    Link<Watch> unsettled;
};

class Watches {
 public:
    Watches(const Identity& self, const char* taskName, EventLoop* loop, Connections* connections, HandlerCalls* calls);
    ~Watches();
    Watches(const Watches&) = delete;
    Watches& operator=(const Watches&) = delete;

    // Any thread. Watches a process for one kind of event; in place at return. 0 or ORVI_BUS_E_....
    int Subscribe(const char* procName, uint32_t eventId);

    // The watch of a name, or null.
    Watch* Find(const char* procName) ORVI_BUS_REQUIRES(kLoop);
    void MarkDirty(Watch* watch) ORVI_BUS_REQUIRES(kLoop);
    void MarkAllDirty() ORVI_BUS_REQUIRES(kLoop);

    // There are some that wait for something, the handling of messages for one.
    bool AnyUnsettled() const ORVI_BUS_REQUIRES(kLoop) { return !unsettled_.Empty(); }
    // Looks where something may have changed and says what is to be said now.
    void Settle() ORVI_BUS_REQUIRES(kLoop);

    void OnProcessEnd(Watch* watch) ORVI_BUS_REQUIRES(kLoop);
    // True when files of this process may have been deleted from the directory.
    bool OnDirectoryEvents() ORVI_BUS_REQUIRES(kLoop);
    // Watches the directory that stands there now, if the kernel has told that the one before went. True when it has done
    // so: what has happened in it until then was not told of.
    bool WatchDirectoryIfGone() ORVI_BUS_REQUIRES(kLoop);

    int64_t NextDeadlineNs() ORVI_BUS_REQUIRES(kLoop);
    // True when the process is to look after its own files too.
    bool OnTime(int64_t nowNs) ORVI_BUS_REQUIRES(kLoop);

 private:
    void WatchDirectory() ORVI_BUS_REQUIRES(mutex_);
    bool ConcernsOwnFiles(uint32_t mask, const char* name) const;
    void StartLooking(int error);
    void SettleOne(Watch* watch) ORVI_BUS_REQUIRES(kLoop);
    bool EndStands(Watch* watch) ORVI_BUS_REQUIRES(kLoop);
    void LookAgain(Watch* watch) ORVI_BUS_REQUIRES(kLoop);
    bool Carry(Watch* watch, const Presence& presence) ORVI_BUS_REQUIRES(kLoop);
    bool FinishEnd(Watch* watch) ORVI_BUS_REQUIRES(kLoop);
    void FollowProcess(Watch* watch) ORVI_BUS_REQUIRES(kLoop);
    void Announce(const Watch& watch, uint32_t eventId, const Incarnation& concerned) ORVI_BUS_REQUIRES(kLoop);

    const Identity& self_;
    const std::string ownRecord_;  // file names of this process begin so
    const std::string ownPrefix_;
    const char* const taskName_;
    EventLoop* const loop_;
    Connections* const connections_;
    HandlerCalls* const calls_;
    Source directorySource_{Source::Kind::kDirectory};

    Mutex mutex_;
    Fd directoryEvents_ ORVI_BUS_GUARDED_BY(mutex_);
    bool directoryGone_ ORVI_BUS_GUARDED_BY(mutex_) = false;     // the one that they tell of
    std::unique_ptr<Watch> newest_ ORVI_BUS_GUARDED_BY(mutex_);  // the list grows at this end only
    std::atomic<Watch*> first_{nullptr};                         // the same, for the loop
    std::atomic<bool> looking_{false};  // the kernel does not tell of all changes: look from time to time

    LinkedList<Watch, &Watch::unsettled> unsettled_ ORVI_BUS_GUARDED_BY(kLoop);
    const Watch* seen_ ORVI_BUS_GUARDED_BY(kLoop) = nullptr;  // the newest that Settle knows
    int64_t lookAtNs_ ORVI_BUS_GUARDED_BY(kLoop) = 0;         // while `looking_`
    int64_t lookAgainNs_ ORVI_BUS_GUARDED_BY(kLoop) = 0;      // at what could not be looked at
};

}  // namespace orvi_bus

#endif
