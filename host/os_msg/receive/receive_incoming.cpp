// The receive loop of a task: connections, from their bytes to the handler.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <sys/epoll.h>

#include "process.h"
#include "receive/message_token.h"
#include "receive/task.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/deadline.h"
#include "wire/settings.h"

namespace orvi_bus {

namespace {

struct FreeBytes {
    void operator()(void* bytes) const { free(bytes); }
};

// Sets a flag until the scope ends.
class Raised {
 public:
    explicit Raised(bool* flag) : flag_(flag) { *flag_ = true; }
    ~Raised() { *flag_ = false; }
    Raised(const Raised&) = delete;
    Raised& operator=(const Raised&) = delete;

 private:
    bool* flag_;
};

// What the kernel may hold of a connection that its peer has given up, and more. Nobody else is served while it is
// drained, so there is an end to it.
constexpr size_t kMostDrained = 64U << 20;

}  // namespace

std::vector<std::shared_ptr<Incoming>> Task::Snapshot() const {
    std::vector<std::shared_ptr<Incoming>> snapshot;
    snapshot.reserve(connections_.size());
    for (const auto& entry : connections_) {
        snapshot.push_back(entry.second);
    }
    return snapshot;
}

// Reads once and dispatches what is complete; with `untilEmpty` goes on until the kernel holds nothing more of the
// connection. Otherwise the other connections get their turn first.
void Task::Pump(Incoming* connection, bool untilEmpty) {
    if (connection->busy || connection->closed) {
        return;
    }
    const Raised busy(&connection->busy);
    size_t drained = 0;
    bool more = DispatchHeld(connection);
    while (more && !connection->closed && !(connection->paused && !untilEmpty)) {
        const size_t before = connection->reader.Held();
        const Filled filled = Fill(connection, untilEmpty);
        if (filled == Filled::kBytes) {
            drained += connection->reader.Held() - before;
            more = DispatchHeld(connection) && untilEmpty && drained < kMostDrained;
            if (!connection->closed) {
                connection->reader.Trim();
                UpdateDeadline(connection, true);
            }
        } else {
            more = false;
        }
        SettleBudget(connection);
    }
}

void Task::PumpAll() {
    for (const std::shared_ptr<Incoming>& connection : Snapshot()) {
        if (Interrupted()) {
            held_ = true;
            return;
        }
        Pump(connection.get(), false);
    }
}

// `unlimited` is for connections whose other end is known to be closed: what the kernel still holds of them is little.
Task::Filled Task::Fill(Incoming* connection, bool unlimited) {
    if (!budget_.Grow(connection, connection->reader.CapacityAfterRoom()) && !unlimited) {
        connection->paused = true;
        UpdateDeadline(connection, false);
        // Deleted, since a hang-up would be reported whatever the events asked for.
        (void)epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, connection->Descriptor(), nullptr);
        return Filled::kNothing;
    }
    uint8_t* at = nullptr;
    size_t room = 0;
    if (!connection->reader.Room(&at, &room)) {
        Fail(connection, "there is no memory for its frame");
        return Filled::kClosed;
    }
    size_t count = 0;
    switch (connection->Receive(at, room, &count)) {
        case Socket::Received::kBytes:
            connection->reader.Received(count);
            return Filled::kBytes;
        case Socket::Received::kNothing:
            return Filled::kNothing;
        default:
            break;
    }
    if (connection->reader.InsideFrame()) {
        Fail(connection, "it was closed inside a frame");
    } else {
        Close(connection);
    }
    return Filled::kClosed;
}

// Dispatches the frames that are complete. False when the connection was closed or the loop is to return.
bool Task::DispatchHeld(Incoming* connection) {
    if (!connection->greeted && !Greet(connection)) {
        return !connection->closed;
    }
    if (!connection->ordered) {
        connection->ordered = true;
        DrainPredecessors(*connection);
    }
    for (;;) {
        if (Interrupted()) {
            return false;
        }
        FrameHeader header;
        const uint8_t* payload = nullptr;
        switch (connection->reader.Next(&header, &payload)) {
            case FrameReader::Result::kMore:
                return true;
            case FrameReader::Result::kBad:
                Fail(connection, connection->reader.Complaint());
                return false;
            case FrameReader::Result::kFrame:
                break;
        }
        if (watchCount_.load(std::memory_order_relaxed) != 0) {
            BeforeMessage(*connection, (header.flags & kFlagStarted) != 0);
            if (Interrupted()) {
                return false;  // the message stays for the next run
            }
        }
        connection->reader.Consume();
        Dispatch(connection, header, payload);
    }
}

// Takes the hello and nothing more. True when it is there.
bool Task::Greet(Incoming* connection) {
    FrameHeader header;
    const uint8_t* payload = nullptr;
    switch (connection->reader.Next(&header, &payload)) {
        case FrameReader::Result::kMore:
            return false;
        case FrameReader::Result::kBad:
            Fail(connection, connection->reader.Complaint());
            return false;
        case FrameReader::Result::kFrame:
            break;
    }
    if (!DecodeHello(payload, &connection->hello)) {
        Fail(connection, "a hello without a name");
        return false;
    }
    connection->reader.Consume();
    connection->greeted = true;
    return true;
}

// Learns who is behind an accepted connection that has not said so yet.
void Task::Identify(Incoming* connection) {
    if (connection->greeted || connection->closed || connection->busy) {
        return;
    }
    const Raised busy(&connection->busy);
    if (Fill(connection, true) == Filled::kBytes && Greet(connection)) {
        held_ = true;  // no event of the kernel will tell of what was read along with the hello
    }
    SettleBudget(connection);
}

void Task::IdentifyAll() {
    for (const std::shared_ptr<Incoming>& connection : Snapshot()) {
        Identify(connection.get());
    }
}

// A thread that gave a connection up and made a new one goes on in the new one: what it left in the old one comes
// first.
void Task::DrainPredecessors(const Incoming& connection) {
    for (const std::shared_ptr<Incoming>& other : Snapshot()) {
        if (other->id >= connection.id) {
            return;
        }
        if (other->peer.pid == connection.peer.pid) {
            Identify(other.get());
        }
        if (!other->closed && other->greeted && other->hello.stream == connection.hello.stream &&
            other->hello.incarnation == connection.hello.incarnation &&
            strcmp(other->hello.procName, connection.hello.procName) == 0) {
            Pump(other.get(), true);
        }
    }
}

void Task::Dispatch(Incoming* connection, const FrameHeader& header, const uint8_t* payload) {
    // A copy of exactly the payload's size: aligned for any record, and a tool for memory faults sees a handler that
    // reads too far.
    std::unique_ptr<void, FreeBytes> data;
    if (header.dataLen != 0) {
        data.reset(malloc(header.dataLen));
        if (!data) {
            Fail(connection, "there is no memory for its message");
            return;
        }
        memcpy(data.get(), payload, header.dataLen);
    }
    TagMsgBlock block{};
    block.senderUid = connection->peer.uid;
    block.msgId = header.msgId;
    SetName(block.recvProcName, Process::Get().Self().Name());
    SetName(block.recvTaskName, name_);
    block.dataLen = header.dataLen;
    block.data = data.get();
    OrviHostMsgSender sender{};
    SetName(sender.procName, connection->hello.procName);
    sender.pid = static_cast<uint32_t>(connection->peer.pid);
    sender.uid = connection->peer.uid;
    sender.incarnation = connection->hello.incarnation;
    PutSender(sender, &block);
    if (header.kind == FrameKind::kRequest) {
        connection->ExpectAnswer(header.sequence);
        PutToken({connection->id, header.sequence}, &block);
    }
    CallHandler(&block);
}

void Task::CallHandler(TagMsgBlock* block) {
    const uint32_t msgId = block->msgId;
    try {
        (void)handler_(block);
    } catch (const std::exception& error) {
        Log(kLogError, "the handler of task '%s' threw on message %#x: %s", name_, msgId, error.what());
    } catch (...) {
        if (std::current_exception() == nullptr) {
            throw;  // no C++ exception: the thread is being ended, by pthread_exit or a cancellation
        }
        Log(kLogError, "the handler of task '%s' threw on message %#x", name_, msgId);
    }
}

// The limit for the first frame counts from the acceptance, the one for a frame from its latest bytes.
void Task::UpdateDeadline(Incoming* connection, bool progress) {
    const bool before = connection->deadlineNs != 0;
    const int64_t limit = static_cast<int64_t>(GetSettings().frameWaitMs) * 1000000;
    if (connection->paused || connection->closed || (connection->greeted && !connection->reader.InsideFrame())) {
        connection->deadlineNs = 0;
    } else if (connection->greeted ? progress : !before) {
        connection->deadlineNs = MonotonicNs() + limit;
    }
    const bool after = connection->deadlineNs != 0;
    timed_ = timed_ + (after ? 1U : 0U) - (before ? 1U : 0U);
}

void Task::SettleBudget(Incoming* connection) {
    for (Incoming* resumed : budget_.Settle(connection)) {
        resumed->paused = false;
        UpdateDeadline(resumed, true);
        (void)Listen(resumed, resumed->Descriptor(), EPOLLIN);
    }
}

void Task::Fail(Incoming* connection, const char* reason) {
    Log(kLogError, "task '%s' ended a connection of %s (process %d, uid %u): %s", name_,
        connection->greeted ? connection->hello.procName : "an unknown sender", static_cast<int>(connection->peer.pid),
        static_cast<unsigned>(connection->peer.uid), reason);
    Close(connection);
}

void Task::Close(Incoming* connection) {
    const auto found = connections_.find(connection->id);
    if (found == connections_.end()) {
        return;
    }
    (void)epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, connection->Descriptor(), nullptr);  // see StopListening
    connection->Close();
    UpdateDeadline(connection, false);
    SettleBudget(connection);
    closed_.push_back(std::move(found->second));
    connections_.erase(found);
}

}  // namespace orvi_bus
