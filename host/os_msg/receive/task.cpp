#include "receive/task.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "orvi_host_bus.h"
#include "receive/message_token.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/deadline.h"
#include "wire/fault_point.h"
#include "wire/trace.h"
#include "wire/yielding.h"

namespace orvi_bus {

namespace {

// What a connection may have of the loop before the others get their turn.
constexpr int kTurnMessages = 32;
constexpr int kTurnReads = 4;

constexpr int64_t kRestoreEveryNs = 100000000;
constexpr int64_t kLooksAtOneNs = 50000;  // of a connection alone, before all are asked for

}  // namespace

class Task::Running {
 public:
    explicit Running(Task* task) ORVI_BUS_TSA(no_thread_safety_analysis) : task_(task), held_(task->right_.TryTake()) {
        if (held_) {
            task_->loopThread_.store(pthread_self());
        }
    }
    ~Running() ORVI_BUS_TSA(no_thread_safety_analysis) {
        if (!held_ || InForkedChild()) {
            return;
        }
        task_->loopThread_.store(pthread_t{});
        task_->right_.GiveBack();
        task_->ClearUp();
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    bool Held() const { return held_; }

 private:
    Task* const task_;
    const bool held_;
};

Task::Task(Identity* self, Budget* budget, const char* name, OsMsgHandler handler, Restore restore)
    : self_(self),
      restore_(restore),
      endpoint_(*self, &loop_),
      calls_(name_, handler),
      connections_(name_, &endpoint_, &loop_, budget),
      watches_(*self, name_, &loop_, &connections_, &calls_),
      order_(*self, &connections_, &watches_) {
    SetName(name_, name);
}

Task::~Task() {
    loop_.TakeOff();
    ClearUp();
}

bool Task::HasName(const char* name) const {
    return strcmp(name_, name) == 0;
}

int Task::Open() {
    if (!loop_.Open()) {
        Log(kLogError, "cannot register task '%s': %s", name_, strerror(errno));
        return ORVI_BUS_E_SYSTEM;
    }
    std::string why;
    const int result = endpoint_.Open(name_, &why);
    if (result != 0) {
        Log(kLogError, "cannot register task '%s': %s", name_, why.c_str());
    }
    return result;
}

void Task::TakeOff() {
    loop_.TakeOff();
    ClearUp();
}

// Ends the endpoint and the connections of a task that is off: what waits is dropped, and peers that wait for an answer
// are told by the hang-up. Called by all who may be the last to have the right to the loop; it is the loop's thread when
// one runs, which then does this at its end.
void Task::ClearUp() {
    if (loop_.IsOff() && right_.TryTake()) {
        endpoint_.Close();
        connections_.CloseAll();
        right_.GiveBack();
    }
}

int Task::Run() {
    const Running running(this);
    if (!running.Held()) {
        Log(kLogError, "task '%s' has a receive loop already", name_);
        return ORVI_BUS_E_STATE;
    }
    AssertLoop();
    if (loop_.IsOff()) {
        return 0;
    }
    const int result = self_->MarkStarted();
    return result != 0 ? result : Loop();
}

int Task::Loop() {
    watches_.MarkAllDirty();
    for (bool served = true;;) {
        if (InForkedChild()) {
            return ORVI_BUS_E_FORKED;
        }
        if (loop_.IsOff() || loop_.TakeStop()) {
            return 0;
        }
        watches_.Settle();
        if (loop_.Interrupted()) {
            continue;
        }
        int64_t until = 0;
        if (connections_.ReadyCount() == 0 && !(served && watches_.AnyUnsettled())) {
            until = NextDeadlineNs();
        }
        epoll_event events[EventLoop::kMostEvents];
        const int count = Wait(until, events);
        if (count < 0) {
            Log(kLogError, "the receive loop of task '%s' cannot go on: %s", name_, strerror(errno));
            return ORVI_BUS_E_SYSTEM;
        }
        if (!HandleEvents(events, count) || !KeepTime()) {
            Log(kLogError, "the receive loop of task '%s' ends: its files in the bus directory are gone", name_);
            return ORVI_BUS_E_DIRECTORY;
        }
        askAllNs_ = connections_.ReadyCount() > 1 ? 0 : askAllNs_;  // others ask, too
        served = ServeReady();
    }
}

// As EventLoop::Wait. Who has got his answer may ask again within microseconds, most likely over the same connection:
// that one is looked at without asking for all, for so short a time that it costs the others nothing.
int Task::Wait(int64_t untilNs, epoll_event (&events)[EventLoop::kMostEvents]) {
    Yielding yielding;
    while (answered_ != 0 && untilNs != 0 && yielding.Go()) {
        if (MonotonicNs() < askAllNs_ && connections_.Look(answered_)) {
            return 0;
        }
        const int count = loop_.Wait(0, events);
        askAllNs_ = MonotonicNs() + kLooksAtOneNs;
        if (count != 0) {
            return count;
        }
    }
    answered_ = untilNs != 0 ? 0 : answered_;
    const int count = loop_.Wait(untilNs, events);
    askAllNs_ = MonotonicNs() + kLooksAtOneNs;
    return count;
}

// False when the process has lost its place on the bus.
bool Task::HandleEvents(const epoll_event* events, int count) {
    bool lost = false;
    for (int i = 0; i < count; ++i) {
        auto* source = static_cast<Source*>(events[i].data.ptr);
        switch (source->kind) {
            case Source::Kind::kListener:
                (void)connections_.Accept(Connections::kATurn);
                break;
            case Source::Kind::kWake:
                loop_.TakeWake();
                connections_.OnWake();
                break;
            case Source::Kind::kDirectory:
                lost = watches_.OnDirectoryEvents() || lost;
                break;
            case Source::Kind::kProcess:
                watches_.OnProcessEnd(static_cast<Watch*>(source));
                break;
            case Source::Kind::kConnection:
                connections_.OnEvent(static_cast<Connection*>(source), events[i].events);
                break;
        }
    }
    return !lost || loop_.Interrupted() || PutBack();
}

// False when the process has lost its place for good. What is refused for now is tried again.
bool Task::PutBack() {
    int result = restore_();
    if (result == 0 && watches_.WatchDirectoryIfGone()) {
        result = restore_();
    }
    restoreNs_ = result == 0 ? INT64_MAX : MonotonicNs() + kRestoreEveryNs;
    return result != ORVI_BUS_E_NAME && result != ORVI_BUS_E_DIRECTORY;
}

int64_t Task::NextDeadlineNs() {
    return std::min({connections_.NextDeadlineNs(), watches_.NextDeadlineNs(), restoreNs_});
}

bool Task::KeepTime() {
    const int64_t next = NextDeadlineNs();
    if (next == INT64_MAX) {
        return true;
    }
    const int64_t now = MonotonicNs();
    if (now < next) {
        return true;
    }
    connections_.OnTime(now);
    const bool look = watches_.OnTime(now) || now >= restoreNs_;
    return !look || PutBack();
}

// Gives each connection that is ready its turn. True when there was one.
bool Task::ServeReady() {
    const size_t turns = connections_.ReadyCount();
    for (size_t turn = 0; turn < turns && connections_.FirstReady() != nullptr && !loop_.Interrupted(); ++turn) {
        Connection* connection = connections_.FirstReady();
        try {
            Serve(connection);
        } catch (const std::bad_alloc&) {
            connections_.Close(connection, "there is no memory to serve it");
        }
    }
    return turns != 0;
}

// One connection's turn. When the loop is to return in the middle of it, the connection stays first in the queue.
void Task::Serve(Connection* connection) {
    using State = Connection::State;
    const std::shared_ptr<Connection> keep = connection->shared_from_this();
    int messages = 0;
    int reads = 0;
    while (!loop_.Interrupted()) {
        if (connection->state == State::kWaiting && !order_.GoesOn(connection)) {
            connections_.EndTurn(connection, false);
            return;
        }
        FrameHeader header;
        const uint8_t* payload = nullptr;
        switch (connection->reader.Next(&header, &payload)) {
            case FrameReader::Result::kBad:
                connections_.Close(connection, connection->reader.Complaint());
                return;
            case FrameReader::Result::kFrame:
                if (connection->state == State::kMute) {
                    if (!Greet(connection, payload)) {
                        return;
                    }
                } else if (!order_.MayHandle(connection, header)) {
                    break;  // it waits
                } else if (messages++ == kTurnMessages) {
                    connections_.EndTurn(connection, true);
                    return;
                } else if (!Dispatch(connection, header, payload)) {
                    return;
                } else if (!loop_.Interrupted()) {  // a forked child takes no lock
                    bool answered = false;
                    const Connection::Unread unread = connection->UnreadAnswers(&answered);
                    answered_ = answered && header.kind == FrameKind::kRequest ? connection->id : 0;
                    if (unread == Connection::Unread::kOver) {
                        connections_.Close(connection, nullptr);  // what it asks for now nobody will read
                        return;
                    }
                    if (unread == Connection::Unread::kSome) {
                        messages = kTurnMessages;  // what it asks for costs more than it takes
                    }
                }
                break;
            case FrameReader::Result::kMore: {
                if (!connection->readable) {
                    connections_.SeenEmpty(connection);
                    connections_.EndTurn(connection, false);
                    return;
                }
                if (reads++ == kTurnReads) {
                    connections_.EndTurn(connection, true);
                    return;
                }
                const char* reason = nullptr;
                switch (connection->Fill(&reason)) {
                    case Connection::Filled::kBytes:
                    case Connection::Filled::kNothing:
                        break;
                    case Connection::Filled::kNoRoom:
                        connections_.MoveTo(connection, State::kParked);
                        connections_.EndTurn(connection, false);
                        return;
                    case Connection::Filled::kOver:
                        connections_.Close(connection, reason);
                        return;
                }
                break;
            }
        }
    }
}

// Takes the hello. False when the connection was closed.
bool Task::Greet(Connection* connection, const uint8_t* hello) {
    if (!DecodeHello(hello, &connection->hello)) {
        connections_.Close(connection, "a hello without a name");
        return false;
    }
    connection->reader.Consume();
    connections_.MoveTo(connection, Connection::State::kWaiting);
    return true;
}

// Hands a message to the handler. False when the connection was closed for want of memory.
bool Task::Dispatch(Connection* connection, const FrameHeader& header, const uint8_t* payload) {
    // A copy of exactly the payload's size: aligned for any record, and a tool for memory faults sees a handler that
    // reads too far. Only for a large one that would take long, and keep the others waiting.
    std::unique_ptr<uint8_t[], FrameReader::Free> data = connection->reader.TakeLarge();
    if (data) {
        payload = data.get() + kHeaderSize;  // it may have moved
    } else {
        if (header.dataLen != 0) {
            data.reset(static_cast<uint8_t*>(malloc(header.dataLen)));
            if (!data) {
                connections_.Close(connection, "there is no memory for its message");
                return false;
            }
            memcpy(data.get(), payload, header.dataLen);
            payload = data.get();
        }
        connection->reader.Consume();
    }
    uint32_t dataLen = header.dataLen;
    switch (AtFaultPoint(FaultPoint::kAfterReceive)) {
        case Fault::kNone:
            break;
        case Fault::kDrop:
            return true;
        case Fault::kTruncate:
            dataLen /= 2;
            break;
        case Fault::kCorrupt:
            if (dataLen != 0) {
                data[0] = static_cast<uint8_t>(~data[0]);
            }
            break;
    }
    TagMsgBlock block{};
    block.senderUid = connection->peer.uid;
    block.msgId = header.msgId;
    SetName(block.recvProcName, self_->Name());
    SetName(block.recvTaskName, name_);
    block.dataLen = dataLen;
    block.data = dataLen != 0 ? const_cast<uint8_t*>(payload) : nullptr;
    OrviHostMsgSender sender{};
    if (connection->number != 0) {
        SetName(sender.procName, connection->hello.procName);
        sender.incarnation = connection->number;
    }
    sender.pid = static_cast<uint32_t>(connection->peer.pid);
    sender.uid = connection->peer.uid;
    PutSender(sender, &block);
    if (header.kind == FrameKind::kRequest) {
        connection->ExpectAnswer(header.sequence);
        PutToken({connection->id, header.sequence}, &block);
    }
    const int64_t began = IsWatched() ? MonotonicNs() : 0;
    const uint64_t stream = connection->hello.stream;  // the handler may end the connection
    char from[OS_MSG_NAME_SIZE] = {};
    if (began != 0) {
        SetName(from, connection->hello.procName);
    }
    calls_.Call(&block);
    if (began != 0) {
        TellWatchers({MonotonicNs(), TraceKind::kHandled, header.msgId, header.sequence, stream, 0,
                      MonotonicNs() - began, from, nullptr, name_, nullptr, header.dataLen, false});
    }
    return true;
}

}  // namespace orvi_bus
