#include "receive/watches.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <utility>

#include "orvi_host_bus.h"
#include "receive/message_token.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/deadline.h"
#include "wire/trace.h"

namespace orvi_bus {

namespace {

constexpr int64_t kLookEveryNs = 50 * kNsPerMs;
// A dying process gives up its presence a moment before its sockets.
constexpr int64_t kDyingNs = 500 * kNsPerMs;
// Changes that come faster than they are looked at keep nothing else waiting.
constexpr int kNoticeReads = 16;
constexpr int kTurnSteps = 2 * (1 + static_cast<int>(Presence::kMostEarlier));  // a name's whole past

// Presences appear by renaming, are written when their process starts and closed when it ends.
constexpr uint32_t kDirectoryEvents = IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM |
                                      IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;

// Of the presence of a name.
std::string FileNameOf(const Identity& self, const char* name) {
    return PresencePath(self.Where(), name).substr(self.Where().path.size() + 1);
}

}  // namespace

Watch::Watch(const char* name, const Identity& self) : Source(Kind::kProcess), fileName(FileNameOf(self, name)) {
    SetName(procName, name);
}

Watches::Watches(const Identity& self, const char* taskName, EventLoop* loop, Connections* connections,
                 HandlerCalls* calls)
    : self_(self),
      ownRecord_(FileNameOf(self, self.Name())),
      ownPrefix_(EncodeName(self.Name()) + ':'),
      taskName_(taskName),
      loop_(loop),
      connections_(connections),
      calls_(calls) {}

Watches::~Watches() = default;

int Watches::Subscribe(const char* procName, uint32_t eventId) {
    MutexLock lock(mutex_);
    WatchDirectory();
    Watch* watch = newest_.get();
    while (watch != nullptr && strcmp(watch->procName, procName) != 0) {
        watch = watch->next.get();
    }
    std::unique_ptr<Watch> made;
    if (watch == nullptr) {
        made = std::make_unique<Watch>(procName, self_);
        const uint64_t before = NumberOfNow();
        const Presence presence = self_.Look(procName);
        if (presence.seen == Presence::Seen::kUnknown) {
            Log(kLogError, "cannot watch '%s': its presence cannot be looked at: %s", procName,
                strerror(presence.error));
            return ORVI_BUS_E_SYSTEM;
        }
        made->known = FirstKnown(presence, before);
        made->ownerUid = presence.owner;
        watch = made.get();
    }
    (eventId == OS_MSG_PROC_STARTRESULT ? watch->wantsStart : watch->wantsExit).store(true);
    if (made) {
        made->next = std::move(newest_);
        newest_ = std::move(made);
        first_.store(newest_.get(), std::memory_order_release);
    }
    loop_->Wake();
    return 0;
}

void Watches::WatchDirectory() {
    if (directoryEvents_) {
        return;
    }
    directoryEvents_ = Fd::Inotify();
    if (directoryEvents_ &&
        inotify_add_watch(directoryEvents_.Get(), self_.Where().path.c_str(), kDirectoryEvents) >= 0 &&
        loop_->Add(&directorySource_, directoryEvents_.Get(), EPOLLIN)) {
        return;
    }
    const int error = errno;
    directoryEvents_.Reset();
    StartLooking(error);
}

bool Watches::WatchDirectoryIfGone() {
    MutexLock lock(mutex_);
    if (!directoryGone_) {
        return false;
    }
    directoryGone_ = false;
    loop_->Remove(directoryEvents_.Get());
    directoryEvents_.Reset();
    WatchDirectory();
    MarkAllDirty();
    return true;
}

void Watches::StartLooking(int error) {
    if (!looking_.exchange(true)) {
        static std::atomic<bool> told{false};
        if (!told.exchange(true)) {
            Log(kLogError,
                "the kernel does not tell of changes in the bus directory (%s); looking at it from time to time",
                strerror(error));
        }
    }
}

Watch* Watches::Find(const char* procName) {
    for (Watch* watch = first_.load(std::memory_order_acquire); watch != nullptr; watch = watch->next.get()) {
        if (strcmp(watch->procName, procName) == 0) {
            return watch;
        }
    }
    return nullptr;
}

void Watches::MarkDirty(Watch* watch) {
    watch->dirty = true;
    unsettled_.Append(watch);
}

void Watches::MarkAllDirty() {
    for (Watch* watch = first_.load(std::memory_order_acquire); watch != nullptr; watch = watch->next.get()) {
        MarkDirty(watch);
    }
}

void Watches::OnProcessEnd(Watch* watch) {
    if (watch->process) {
        loop_->Remove(watch->process.Get());
        watch->process.Reset();
    }
    watch->endSeen = true;
    MarkDirty(watch);
}

// Files of this process were taken away, or others put in their place.
bool Watches::ConcernsOwnFiles(uint32_t mask, const char* name) const {
    return (mask & (IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO)) != 0 &&
           (name == ownRecord_ || strncmp(name, ownPrefix_.c_str(), ownPrefix_.size()) == 0);
}

bool Watches::OnDirectoryEvents() {
    alignas(inotify_event) char buffer[4096];
    MutexLock lock(mutex_);  // the descriptor is to stay what it is
    bool lost = false;
    for (int reads = 0; reads < kNoticeReads; ++reads) {  // the kernel tells of what is left
        const ssize_t size = read(directoryEvents_.Get(), buffer, sizeof(buffer));
        if (size <= 0) {
            break;
        }
        for (size_t at = 0; at < static_cast<size_t>(size);) {
            inotify_event event{};
            memcpy(&event, buffer + at, sizeof(event));
            const char* name = event.len != 0 ? buffer + at + sizeof(event) : "";
            const bool gone = (event.mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT)) != 0;
            const bool overflow = (event.mask & IN_Q_OVERFLOW) != 0;
            lost = lost || gone || overflow || ConcernsOwnFiles(event.mask, name);
            directoryGone_ = directoryGone_ || gone;
            for (Watch* watch = first_.load(std::memory_order_acquire); watch != nullptr; watch = watch->next.get()) {
                if (gone || overflow || watch->fileName == name) {
                    MarkDirty(watch);
                }
            }
            at += sizeof(event) + event.len;
        }
    }
    return lost;
}

void Watches::Settle() {
    Watch* first = first_.load(std::memory_order_acquire);
    for (Watch* watch = first; watch != seen_; watch = watch->next.get()) {
        unsettled_.Append(watch);
    }
    seen_ = first;
    // Each once: what is not settled then waits for something, or looks again when it is time to.
    for (size_t left = unsettled_.Size(); left != 0 && !loop_->Interrupted(); --left) {
        Watch* watch = unsettled_.First();
        try {
            SettleOne(watch);
        } catch (const std::bad_alloc&) {
            LookAgain(watch);
        }
        if (watch->dirty || watch->ending) {
            unsettled_.Append(watch);
        } else {
            unsettled_.Remove(watch);
        }
    }
}

void Watches::SettleOne(Watch* watch) {
    for (int step = 0; step < kTurnSteps && !loop_->Interrupted(); ++step) {  // `dirty` tells of what is left
        if (watch->ending && (!EndStands(watch) || !FinishEnd(watch)) && watch->ending) {
            return;
        }
        if (!watch->dirty || loop_->Interrupted()) {
            return;
        }
        watch->dirty = false;
        const Presence presence = self_.Look(watch->procName);
        if (!Carry(watch, presence)) {
            return;
        }
    }
}

// Of one whose end nobody has seen the record may be back: it was deleted, and has been put back. Looked at when it has
// changed, and at last before the end is announced: this loop may have been held up since. False when it is back, and
// when it cannot be looked at now.
bool Watches::EndStands(Watch* watch) {
    if (watch->endSeen || (!watch->dirty && MonotonicNs() < watch->endDueNs)) {
        return true;
    }
    watch->dirty = false;
    const Step::What next = Decide(self_.Look(watch->procName), watch->known).what;
    watch->ending = next != Step::What::kNothing;
    if (next == Step::What::kLookAgain) {
        LookAgain(watch);
    }
    return watch->ending && next != Step::What::kLookAgain;
}

// It cannot be looked at now: that tells nothing.
void Watches::LookAgain(Watch* watch) {
    watch->dirty = true;
    lookAgainNs_ = MonotonicNs() + kLookEveryNs;
}

// Carries the next step out. False when there is none to be taken now.
bool Watches::Carry(Watch* watch, const Presence& presence) {
    const Step step = Decide(presence, watch->known);
    switch (step.what) {
        case Step::What::kNothing:
            if (watch->known.current != 0) {
                FollowProcess(watch);
            }
            connections_->ReconsiderWaiting();  // one may wait for a start that its record told of a moment ago
            return watch->dirty;
        case Step::What::kLookAgain:
            LookAgain(watch);
            return false;
        case Step::What::kEnd:
            watch->ending = true;
            FollowProcess(watch);
            watch->endSeen = watch->endSeen || !watch->process;
            watch->endDueNs = MonotonicNs() + kDyingNs;
            watch->drainTick = 0;
            watch->dirty = true;
            return true;
        case Step::What::kBegin:
            watch->known = {step.incarnation.number, step.incarnation.number, step.incarnation.pid};
            watch->ownerUid = presence.owner;
            watch->endSeen = false;
            watch->dirty = true;
            connections_->ReconsiderWaiting();
            if (watch->wantsStart.load()) {
                Announce(*watch, OS_MSG_PROC_STARTRESULT, step.incarnation);
            }
            return true;
    }
    return false;
}

// The end of the current incarnation is announced when its sockets are closed, so that what the subscriber sends on
// hearing of it is not taken by them, and when its messages have been handled. False while that is not so.
bool Watches::FinishEnd(Watch* watch) {
    if (!watch->endSeen && MonotonicNs() < watch->endDueNs) {
        return false;
    }
    const Connections::Earlier its{watch->known.pid, watch->known.current, nullptr};
    if (watch->drainTick == 0) {
        if (!connections_->Accept(Connections::kAll)) {
            watch->endDueNs = MonotonicNs() + kLookEveryNs;
            return false;  // its last messages may wait where nobody can be accepted now
        }
        watch->drainTick = connections_->AskFor(its);
    }
    if (!connections_->Drained(its, watch->drainTick)) {
        return false;
    }
    const Incarnation ended{watch->known.current, watch->known.pid, true};
    watch->ending = false;
    watch->endSeen = false;
    watch->dirty = true;  // what has come after it
    watch->known.settled = std::max(watch->known.settled, watch->known.current);
    watch->known.current = 0;
    watch->known.pid = 0;
    if (watch->process) {
        loop_->Remove(watch->process.Get());
        watch->process.Reset();
    }
    connections_->ReconsiderWaiting();
    if (watch->wantsExit.load()) {
        Announce(*watch, OS_MSG_PROC_EXITRESULT, ended);
    }
    return true;
}

// A notice of the process's end, beside that of its presence being closed: a forked child may keep the file open. It may
// have ended already, and the number be another's: looked at once more.
void Watches::FollowProcess(Watch* watch) {
    if (watch->process || watch->endSeen || watch->known.pid <= 0) {
        return;
    }
    watch->process = Fd::Pid(watch->known.pid);
    if (watch->process && loop_->Add(watch, watch->process.Get(), EPOLLIN)) {
        watch->dirty = true;
        return;
    }
    if (!watch->process && errno == ESRCH) {
        watch->endSeen = true;
        watch->dirty = true;
        return;
    }
    StartLooking(errno);  // until a descriptor can be had
    watch->process.Reset();
}

void Watches::Announce(const Watch& watch, uint32_t eventId, const Incarnation& concerned) {
    TagMsgBlock block{};
    block.senderUid = getuid();  // what OsGetUId says
    SetName(block.procName, watch.procName);
    block.msgId = eventId;
    SetName(block.recvProcName, self_.Name());
    SetName(block.recvTaskName, taskName_);
    OrviHostMsgSender sender{};
    SetName(sender.procName, watch.procName);
    sender.pid = static_cast<uint32_t>(concerned.pid);
    sender.uid = watch.ownerUid;
    sender.incarnation = concerned.number;
    PutSender(sender, &block);
    const int64_t began = IsWatched() ? MonotonicNs() : 0;
    calls_->Call(&block);
    if (began != 0) {
        TellWatchers({MonotonicNs(), TraceKind::kHandled, eventId, 0, 0, 0, MonotonicNs() - began, sender.procName,
                      nullptr, taskName_, nullptr, 0, true});
    }
}

int64_t Watches::NextDeadlineNs() {
    int64_t next = looking_.load() ? lookAtNs_ : INT64_MAX;
    for (Watch* watch = unsettled_.First(); watch != nullptr; watch = watch->unsettled.next) {
        if (!watch->ending || (watch->dirty && !watch->endSeen)) {
            next = std::min(next, lookAgainNs_);
        } else if (!watch->endSeen && watch->drainTick == 0) {
            next = std::min(next, watch->endDueNs);
        }
    }
    return next;
}

bool Watches::OnTime(int64_t nowNs) {
    if (!looking_.load() || nowNs < lookAtNs_) {
        return false;
    }
    lookAtNs_ = nowNs + kLookEveryNs;
    looking_.store(false);  // perhaps the kernel can by now; what it still refuses sets this again
    MutexLock lock(mutex_);
    WatchDirectory();
    MarkAllDirty();
    return !directoryEvents_;
}

}  // namespace orvi_bus
