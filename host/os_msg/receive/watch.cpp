// Start and exit events: what a task is told about the processes that it watches, and when.
//
// Presence is the only truth (presence.h); the kernel's notices, a process's end and a change in the bus directory,
// only say when to look. Messages carry their sender's incarnation, so that events take their place among them: the
// messages of an incarnation lie between its start and its exit.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "orvi_host_bus.h"
#include "process.h"
#include "receive/message_token.h"
#include "receive/task.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/deadline.h"

namespace orvi_bus {

namespace {

constexpr uint32_t kDyingProcessWaitMs = 500;

// A look at one's own presence would end it, see presence.h.
Presence Look(const char* procName) {
    const Identity& process = Process::Get().Self();
    if (strcmp(procName, process.Name()) != 0) {
        return LookAt(process.Where(), procName);
    }
    Presence own;
    own.latest = process.Number();
    own.joined = true;
    own.started = process.Started();
    own.latestStarted = own.Started();
    return own;
}

}  // namespace

Watch::Watch(const char* name) : Source(Kind::kProcess) {
    SetName(procName, name);
    const std::string path = PresencePath(Process::Get().Self().Where(), name);
    fileName = path.substr(path.rfind('/') + 1);
}

std::vector<Watch*> Task::Watches() {
    MutexLock lock(mutex_);
    std::vector<Watch*> watches;
    watches.reserve(watches_.size());
    for (const auto& watch : watches_) {
        watches.push_back(watch.get());
    }
    return watches;
}

int Task::Subscribe(const char* procName, uint32_t eventId) {
    MutexLock lock(mutex_);
    if (!directoryEvents_ && !looking_.load()) {
        directoryEvents_ = Fd::Inotify();
        // Presences are written when their process joins and starts, and closed when it ends.
        if (!directoryEvents_ ||
            inotify_add_watch(directoryEvents_.Get(), Process::Get().Self().Where().path.c_str(),
                              IN_MODIFY | IN_CLOSE_WRITE | IN_ONLYDIR | IN_EXCL_UNLINK) < 0 ||
            !Listen(&directorySource_, directoryEvents_.Get(), EPOLLIN)) {
            StartLooking(strerror(errno));
        }
    }
    Watch* watch = nullptr;
    for (const auto& candidate : watches_) {
        if (strcmp(candidate->procName, procName) == 0) {
            watch = candidate.get();
        }
    }
    if (watch == nullptr) {
        auto made = std::make_unique<Watch>(procName);
        const Presence presence = Look(procName);
        made->current = presence.Started();
        // One that has joined and not started may start; whoever came before has nothing to announce.
        made->settled =
            presence.joined && !presence.started ? presence.latest - 1 : std::max(presence.latest, IncarnationOfNow());
        watch = made.get();
        watches_.push_back(std::move(made));
        watchCount_.store(watches_.size(), std::memory_order_relaxed);
    }
    (eventId == OS_MSG_PROC_STARTRESULT ? watch->wantsStart : watch->wantsExit).store(true);
    if (running_) {
        Wake();
    }
    return 0;
}

void Task::StartLooking(const char* reason) {
    if (!looking_.exchange(true)) {
        static std::atomic<bool> told{false};
        if (!told.exchange(true)) {
            Log(kLogError, "the kernel does not watch the bus directory (%s); looking at it from time to time", reason);
        }
    }
}

void Task::ReadDirectoryEvents() {
    alignas(inotify_event) char buffer[4096];
    int fd = -1;
    {
        MutexLock lock(mutex_);
        fd = directoryEvents_.Get();
    }
    for (;;) {
        const ssize_t size = read(fd, buffer, sizeof(buffer));
        if (size <= 0) {
            return;
        }
        for (size_t at = 0; at < static_cast<size_t>(size);) {
            inotify_event event{};
            memcpy(&event, buffer + at, sizeof(event));
            const char* name = event.len != 0 ? buffer + at + sizeof(event) : "";
            if ((event.mask & IN_IGNORED) != 0) {
                StartLooking("it was removed");
            }
            const bool everything = (event.mask & (IN_Q_OVERFLOW | IN_IGNORED)) != 0;
            for (Watch* watch : Watches()) {
                watch->dirty = watch->dirty || everything || watch->fileName == name;
            }
            at += sizeof(event) + event.len;
        }
    }
}

void Task::MarkWatchesDirty() {
    for (Watch* watch : Watches()) {
        watch->dirty = true;
    }
}

void Task::SettleWatches() {
    if (watchCount_.load(std::memory_order_relaxed) == 0) {
        return;
    }
    for (Watch* watch : Watches()) {
        while (watch->dirty && !Interrupted()) {
            watch->dirty = false;
            const Presence presence = Look(watch->procName);
            if (!presence.started && presence.latestStarted > watch->settled) {
                Follow(watch, presence.latestStarted, 0);  // it came and went since the last look
                watch->dirty = true;
            } else {
                Follow(watch, presence.Started(), presence.pid);
            }
        }
    }
}

// Brings what the subscriber knows to `incarnation`: drains and announces the end of the one that it knows, then
// announces the new one. A handler may end the loop at any point; the next run looks again.
void Task::Follow(Watch* watch, uint64_t incarnation, pid_t pid) {
    if (incarnation != watch->current) {
        if (watch->current != 0 && watch->process) {
            // A dying process gives up its presence a moment before its sockets: what the subscriber sends on hearing
            // of the end must not be taken by them.
            (void)PollFor(watch->process.Get(), POLLIN, Deadline(kDyingProcessWaitMs));
        }
        AcceptAll();
        IdentifyAll();
        if (watch->current != 0) {
            DrainIncarnations(watch->procName, 0, watch->current);
            if (Interrupted()) {
                watch->dirty = true;
                return;
            }
            watch->current = 0;
            StopListening(&watch->process);
            watch->dirty = true;
            if (watch->wantsExit.load()) {
                Announce(*watch, OS_MSG_PROC_EXITRESULT);
                if (Interrupted()) {
                    return;
                }
            }
        }
        if (incarnation != 0) {
            watch->current = incarnation;
            watch->settled = std::max(watch->settled, incarnation);
            watch->dirty = true;
            if (watch->wantsStart.load()) {
                Announce(*watch, OS_MSG_PROC_STARTRESULT);
                if (Interrupted()) {
                    return;
                }
            }
            // Those of incarnations that came and went unnoticed.
            DrainIncarnations(watch->procName, 0, incarnation - 1);
        }
    }
    if (watch->current != 0 && watch->current == incarnation && !watch->process && pid > 0) {
        // A notice of the process's end, beside that of its presence being closed: a forked child may keep the file
        // open. It may have ended already, and the number be another's: look once more.
        watch->process = Fd::Pid(pid);
        if (watch->process) {
            (void)Listen(watch, watch->process.Get(), EPOLLIN);
            watch->dirty = true;
            watch->missed = 0;
        } else if (errno == ESRCH && watch->missed < 3) {
            watch->dirty = true;
            ++watch->missed;
        } else {
            StartLooking(strerror(errno));
        }
    }
}

// Called before a message is handled: the events that precede it come first.
void Task::BeforeMessage(const Incoming& connection, bool senderStarted) {
    for (Watch* watch : Watches()) {
        const uint64_t sender = connection.hello.incarnation;
        if (strcmp(watch->procName, connection.hello.procName) != 0 || sender == watch->current ||
            sender <= watch->settled) {
            continue;
        }
        const Presence presence = Look(watch->procName);
        const uint64_t now = presence.Started();
        if (now != sender && senderStarted && (now == 0 || now > sender)) {
            // It had started when it sent this and has ended since.
            Follow(watch, sender, 0);
            watch->dirty = true;
        } else {
            Follow(watch, now, presence.pid);
        }
    }
}

// Handles all that processes of the name have sent, as far as their incarnations lie within the bounds. They have
// ended, so what the kernel holds of them is all.
void Task::DrainIncarnations(const char* procName, uint64_t first, uint64_t last) {
    for (const std::shared_ptr<Incoming>& connection : Snapshot()) {
        if (Interrupted()) {
            return;
        }
        if (connection->greeted && connection->hello.incarnation >= first && connection->hello.incarnation <= last &&
            strcmp(connection->hello.procName, procName) == 0) {
            Pump(connection.get(), true);
        }
    }
}

void Task::Announce(const Watch& watch, uint32_t eventId) {
    TagMsgBlock block{};
    block.senderUid = geteuid();
    SetName(block.procName, watch.procName);
    block.msgId = eventId;
    SetName(block.recvProcName, Process::Get().Self().Name());
    SetName(block.recvTaskName, name_);
    OrviHostMsgSender concerned{};
    SetName(concerned.procName, watch.procName);
    PutSender(concerned, &block);
    CallHandler(&block);
}

}  // namespace orvi_bus
