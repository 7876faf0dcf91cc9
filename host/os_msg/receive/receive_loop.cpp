// The receive loop of a task: waiting and what it waits for.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include "orvi_host_bus.h"
#include "process.h"
#include "receive/task.h"
#include "wire/bus_log.h"
#include "wire/deadline.h"
#include "wire/settings.h"

namespace orvi_bus {

namespace {

constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kAcceptPauseNs = 100 * kNsPerMs;
constexpr int kMostAcceptedAtOnce = 8192;  // more than a backlog holds
constexpr int64_t kLookEveryNs = 50 * kNsPerMs;

}  // namespace

class Task::Running {
 public:
    explicit Running(Task* task) : task_(task) {
        MutexLock lock(task_->mutex_);
        first_ = !task_->running_;
        if (first_) {
            task_->running_ = true;
            task_->loopThread_.store(pthread_self());
        }
    }
    ~Running() {
        if (!first_ || InForkedChild()) {
            return;
        }
        bool release = false;
        {
            MutexLock lock(task_->mutex_);
            task_->running_ = false;
            task_->loopThread_.store(pthread_t{});
            release = task_->off_.load();
        }
        if (release) {
            task_->Release();
        }
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    bool First() const { return first_; }

 private:
    Task* task_;
    bool first_ = false;
};

int Task::Run() {
    const Running running(this);
    if (!running.First()) {
        Log(kLogError, "task '%s' has a receive loop already", name_);
        return ORVI_BUS_E_STATE;
    }
    if (off_.load()) {
        return 0;
    }
    const int result = Process::Get().Self().MarkStarted();
    return result != 0 ? result : Loop();
}

bool Task::Interrupted() const {
    return off_.load() || stop_.load() || InForkedChild();
}

int Task::Loop() {
    MarkWatchesDirty();
    held_ = true;  // an earlier run may have been stopped among the frames of a connection
    for (;;) {
        if (InForkedChild()) {
            return ORVI_BUS_E_FORKED;
        }
        if (off_.load() || stop_.exchange(false)) {
            return 0;
        }
        SettleWatches();
        if (held_ && !Interrupted()) {
            held_ = false;
            PumpAll();
            continue;  // its messages may have changed what is known of the watched processes
        }
        if (Interrupted()) {
            continue;
        }
        closed_.clear();
        epoll_event events[64];
        const int count = epoll_wait(epoll_.Get(), events, 64, TimeoutMs());
        if (count < 0 && errno != EINTR) {
            Log(kLogError, "the receive loop of task '%s' cannot go on: %s", name_, strerror(errno));
            return ORVI_BUS_E_SYSTEM;
        }
        for (int i = 0; i < count && !Interrupted(); ++i) {
            HandleEvent(static_cast<Source*>(events[i].data.ptr));
        }
        if (!Interrupted()) {
            CheckTimers();
        }
    }
}

void Task::HandleEvent(Source* source) {
    switch (source->kind) {
        case Source::Kind::kListener:
            AcceptAll();
            break;
        case Source::Kind::kWake: {
            uint64_t count = 0;
            (void)!read(wake_.Get(), &count, sizeof(count));  // the flags say what it is about
            break;
        }
        case Source::Kind::kDirectory:
            ReadDirectoryEvents();
            break;
        case Source::Kind::kProcess: {
            auto* watch = static_cast<Watch*>(source);
            StopListening(&watch->process);
            watch->dirty = true;
            break;
        }
        case Source::Kind::kConnection:
            Pump(static_cast<Incoming*>(source), false);
            break;
    }
}

bool Task::Listen(Source* source, int fd, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.ptr = source;
    return epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

// Closing alone does not end a registration while a program that another thread starts holds a copy of the descriptor
// up to its exec: the event would then name what is gone.
void Task::StopListening(Fd* fd) {
    if (*fd) {
        (void)epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, fd->Get(), nullptr);
        fd->Reset();
    }
}

void Task::AcceptAll() {
    for (int i = 0; i < kMostAcceptedAtOnce; ++i) {
        Fd accepted = Fd::Accept(listener_.Get());
        if (accepted) {
            acceptRefused_ = false;
            const int fd = accepted.Get();
            const std::shared_ptr<Incoming> connection = Incoming::Make(std::move(accepted));
            connections_.emplace(connection->id, connection);
            UpdateDeadline(connection.get(), true);
            if (!Listen(connection.get(), fd, EPOLLIN)) {
                Fail(connection.get(), strerror(errno));
            }
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) {
            // The connections wait in the backlog. The listener stays readable: do not spin on it.
            if (!acceptRefused_) {
                Log(kLogError, "task '%s' cannot accept connections for now: %s", name_, strerror(errno));
                acceptRefused_ = true;
            }
            (void)epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, listener_.Get(), nullptr);
            acceptAgainNs_ = MonotonicNs() + kAcceptPauseNs;
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;
        }
    }
}

int Task::TimeoutMs() const {
    int64_t next = INT64_MAX;
    if (acceptAgainNs_ != 0) {
        next = acceptAgainNs_;
    }
    if (looking_.load()) {
        next = std::min(next, lookAtNs_);
    }
    if (timed_ != 0) {
        for (const auto& entry : connections_) {
            if (entry.second->deadlineNs != 0) {
                next = std::min(next, entry.second->deadlineNs);
            }
        }
    }
    if (next == INT64_MAX) {
        return -1;
    }
    const int64_t left = std::max<int64_t>(next - MonotonicNs(), 0);
    return static_cast<int>(std::min<int64_t>((left + kNsPerMs - 1) / kNsPerMs, 60000));
}

void Task::CheckTimers() {
    const int64_t now = acceptAgainNs_ != 0 || looking_.load() || timed_ != 0 ? MonotonicNs() : 0;
    if (acceptAgainNs_ != 0 && now >= acceptAgainNs_) {
        acceptAgainNs_ = 0;
        (void)Listen(&listenerSource_, listener_.Get(), EPOLLIN);
    }
    if (looking_.load() && now >= lookAtNs_) {
        lookAtNs_ = now + kLookEveryNs;
        MarkWatchesDirty();
    }
    if (timed_ == 0) {
        return;
    }
    for (const std::shared_ptr<Incoming>& connection : Snapshot()) {
        if (connection->closed || connection->deadlineNs == 0 || now < connection->deadlineNs) {
            continue;
        }
        // It may be this loop that was held up: read what is there first.
        Pump(connection.get(), false);
        if (!connection->closed && connection->deadlineNs != 0 && now >= connection->deadlineNs && !Interrupted()) {
            Fail(connection.get(), connection->greeted ? "it stopped inside a frame" : "it never sent its first frame");
        }
    }
}

}  // namespace orvi_bus
