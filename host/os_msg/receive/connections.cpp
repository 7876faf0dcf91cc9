#include "receive/connections.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <new>
#include <sys/epoll.h>
#include <utility>

#include "wire/bus_log.h"
#include "wire/deadline.h"
#include "wire/fault_point.h"
#include "wire/settings.h"

namespace orvi_bus {

namespace {

constexpr int64_t kPauseNs = 100 * kNsPerMs;  // until what failed for want of descriptors or memory is tried again

}  // namespace

Connections::Connections(const char* taskName, Endpoint* endpoint, EventLoop* loop, Budget* budget)
    : taskName_(taskName), endpoint_(endpoint), loop_(loop), budget_(budget), waiter_(loop) {
    budget_->Register(&waiter_);
}

Connections::~Connections() {
    budget_->Unregister(&waiter_);
}

bool Connections::Accept(int most) {
    for (int i = 0; i < most; ++i) {
        (void)AtFaultPoint(FaultPoint::kBeforeAccept);
        Fd accepted = endpoint_->Accept();
        int error = accepted ? 0 : errno;
        if (accepted && AtFaultPoint(FaultPoint::kAfterAccept) == Fault::kDrop) {
            continue;
        }
        if (error == 0) {
            std::shared_ptr<Connection> connection;
            try {
                connection = Connection::Make(Socket(std::move(accepted)), loop_, budget_);
                if (connection) {
                    connections_.emplace(connection->id, connection);
                    SetDeadline(connection.get());
                    acceptRefused_ = false;
                }
                continue;
            } catch (const std::bad_alloc&) {
                if (connection) {
                    connection->Close();
                }
                error = ENOMEM;  // costs this connection; its peer is told by the hang-up
            }
        }
        if (IsShortage(error)) {
            // The connections wait in the backlog. The listener stays readable: do not spin on it.
            if (!acceptRefused_) {
                Log(kLogError, "task '%s' cannot accept connections for now: %s", taskName_, strerror(error));
                acceptRefused_ = true;
            }
            endpoint_->Pause();
            acceptAgainNs_ = MonotonicNs() + kPauseNs;
            return false;
        }
        if (error != EINTR && error != ECONNABORTED) {
            return true;
        }
    }
    return true;
}

void Connections::CloseAll() {
    while (!connections_.empty()) {
        Close(connections_.begin()->second.get(), nullptr);
    }
}

void Connections::Close(Connection* connection, const char* reason) {
    if (reason != nullptr) {
        Log(kLogError, "task '%s' ended a connection of %s (process %d, uid %u): %s", taskName_,
            connection->state == Connection::State::kMute ? "an unknown sender" : connection->hello.procName,
            static_cast<int>(connection->peer.pid), static_cast<unsigned>(connection->peer.uid), reason);
    }
    ready_.Remove(connection);
    timed_.Remove(connection);
    MoveTo(connection, Connection::State::kClosed);
    connection->Close();
    connections_.erase(connection->id);
    ReconsiderWaiting();
}

void Connections::MoveTo(Connection* connection, Connection::State next) {
    using State = Connection::State;
    switch (connection->state) {
        case State::kMute:
            assert(next == State::kWaiting || next == State::kClosed);
            break;
        case State::kWaiting:
            assert(next == State::kOpen || next == State::kClosed);
            waiting_.Remove(connection);
            break;
        case State::kOpen:
            assert(next == State::kWaiting || next == State::kParked || next == State::kClosed);
            break;
        case State::kParked:
            assert(next == State::kOpen || next == State::kClosed);
            parked_.Remove(connection);
            connection->StopWaiting();
            break;
        case State::kClosed:
            assert(false);
            break;
    }
    connection->state = next;
    if (next == State::kWaiting) {
        waiting_.Append(connection);
    } else if (next == State::kParked) {
        parked_.Append(connection);
    }
}

void Connections::OnEvent(Connection* connection, uint32_t events) {
    if ((events & EPOLLOUT) != 0 && !connection->SendQueued(MonotonicNs())) {
        Close(connection, "it does not read its answers");
        return;
    }
    connection->hungUp = connection->hungUp || (events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0;
    if ((events & ~static_cast<uint32_t>(EPOLLOUT)) != 0) {
        connection->readable = true;
        if (connection->state == Connection::State::kMute || connection->state == Connection::State::kOpen) {
            MakeReady(connection);
        }
    }
}

bool Connections::Look(uint64_t id) {
    const auto found = connections_.find(id);
    if (found == connections_.end() || found->second->state != Connection::State::kOpen) {
        return false;
    }
    Connection* connection = found->second.get();
    const char* reason = nullptr;
    switch (connection->Fill(&reason)) {
        case Connection::Filled::kNothing:
            return false;
        case Connection::Filled::kOver:
            Close(connection, reason);
            return true;
        case Connection::Filled::kNoRoom:
            connection->StopWaiting();
            connection->readable = true;
            break;
        case Connection::Filled::kBytes:
            break;
    }
    MakeReady(connection);
    return true;
}

// One that stands in the queue keeps its place there, whatever happens to it.
void Connections::MakeReady(Connection* connection) {
    if (!ready_.Holds(connection)) {
        ready_.Append(connection);
    }
}

void Connections::OnWake() {
    while (!parked_.Empty()) {
        Connection* connection = parked_.First();
        MoveTo(connection, Connection::State::kOpen);
        ready_.Append(connection);
    }
    answersDueNs_ = 0;
}

void Connections::EndTurn(Connection* connection, bool more) {
    connection->SettleMemory();
    if (more) {
        ready_.Append(connection);
    } else {
        ready_.Remove(connection);
    }
    const bool mute = connection->state == Connection::State::kMute;
    // With more to be done it is this loop that is late: what is held may be whole messages.
    if (!mute && (more || connection->state != Connection::State::kOpen || !connection->reader.InsideFrame())) {
        timed_.Remove(connection);
        connection->suspected = false;
    } else if (connection->suspected && (mute || !connection->progressed)) {
        Close(connection, mute ? "it never sent its first frame" : "it stopped inside a frame");
    } else if (!mute && (connection->progressed || !timed_.Holds(connection))) {
        SetDeadline(connection);
    }
}

void Connections::SeenEmpty(Connection* connection) {
    if (connection->emptyAt != tick_) {
        connection->emptyAt = tick_;
        ReconsiderWaiting();
    }
}

void Connections::ReconsiderWaiting() {
    for (Connection* connection = waiting_.First(); connection != nullptr; connection = connection->aside.next) {
        MakeReady(connection);
    }
}

void Connections::ReconsiderSoon() {
    reconsiderNs_ = std::min(reconsiderNs_, MonotonicNs() + kPauseNs);
}

bool Connections::IsMeant(const Connection& connection, const Earlier& earlier) {
    const bool ofPid = earlier.pid != 0 && connection.peer.pid == earlier.pid;
    if (earlier.before == nullptr) {
        return ofPid && connection.number <= earlier.upTo;
    }
    const Connection& later = *earlier.before;
    if (connection.id >= later.id) {
        return false;
    }
    if (connection.state == Connection::State::kMute) {
        return true;  // whoever it is
    }
    return (ofPid && connection.hello.stream == later.hello.stream) ||
           (connection.number != 0 && connection.number < later.number &&
            strcmp(connection.hello.procName, later.hello.procName) == 0);
}

uint64_t Connections::AskFor(const Earlier& earlier) {
    ++tick_;
    for (const auto& entry : connections_) {
        Connection* connection = entry.second.get();
        if (earlier.before != nullptr && connection->id >= earlier.before->id) {
            break;
        }
        if (IsMeant(*connection, earlier)) {
            OnEvent(connection, EPOLLIN);
        }
    }
    return tick_;
}

bool Connections::Drained(const Earlier& earlier, uint64_t tick) const {
    for (const auto& entry : connections_) {
        const Connection& connection = *entry.second;
        if (earlier.before != nullptr && connection.id >= earlier.before->id) {
            return true;
        }
        if (connection.emptyAt < tick && IsMeant(connection, earlier)) {
            return false;
        }
    }
    return true;
}

// The limit for the first frame counts from the acceptance, the one for a frame from its latest bytes: set each time, at
// the end of the list, it keeps the list in order.
void Connections::SetDeadline(Connection* connection) {
    connection->progressed = false;
    connection->suspected = false;
    connection->deadlineNs = MonotonicNs() + static_cast<int64_t>(GetSettings().frameWaitMs) * kNsPerMs;
    timed_.Append(connection);
}

int64_t Connections::NextDeadlineNs() {
    int64_t next = std::min(reconsiderNs_, answersDueNs_);
    if (acceptAgainNs_ != 0) {
        next = std::min(next, acceptAgainNs_);
    }
    if (!timed_.Empty()) {
        next = std::min(next, timed_.First()->deadlineNs);
    }
    return next;
}

void Connections::OnTime(int64_t nowNs) {
    if (acceptAgainNs_ != 0 && nowNs >= acceptAgainNs_) {
        acceptAgainNs_ = 0;
        endpoint_->Resume();
    }
    if (nowNs >= reconsiderNs_) {
        reconsiderNs_ = INT64_MAX;
        ReconsiderWaiting();
    }
    if (nowNs >= answersDueNs_) {
        SendAnswers(nowNs);
    }
    while (!timed_.Empty() && timed_.First()->deadlineNs <= nowNs) {
        Connection* connection = timed_.First();
        // It may be this loop that was held up: the connection gets a turn first.
        timed_.Remove(connection);
        connection->suspected = true;
        connection->progressed = false;
        OnEvent(connection, EPOLLIN);
    }
}

void Connections::SendAnswers(int64_t nowNs) {
    answersDueNs_ = INT64_MAX;
    for (auto next = connections_.begin(); next != connections_.end();) {
        Connection* connection = next->second.get();
        ++next;
        const int64_t due = connection->AnswersDueNs();
        if (due != INT64_MAX && !connection->SendQueued(nowNs)) {
            Close(connection, "it does not read its answers");
        } else {
            answersDueNs_ = std::min(answersDueNs_, connection->AnswersDueNs());
        }
    }
}

}  // namespace orvi_bus
