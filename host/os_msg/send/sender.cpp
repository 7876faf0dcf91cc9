#include "send/sender.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <poll.h>
#include <pthread.h>
#include <vector>

#include "orvi_host_bus.h"
#include "send/outgoing.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/deadline.h"
#include "wire/trace.h"

namespace orvi_bus {

namespace {

// While a listener's backlog is full there is no descriptor to wait for.
constexpr uint32_t kBacklogPauseMs = 20;

// The connections of one thread. They are closed when the thread ends. The key's destructor does that and not a
// thread_local's: the main thread may still send from exit handlers, after its thread_local objects are gone.
class ThreadConnections {
 public:
    // Throws std::bad_alloc when there is no memory for them; another call may have some.
    static ThreadConnections* Mine();

    Outgoing* Find(const TagMsgBlock& to);
    // 0 and the new connection, or an error.
    int Open(const Directory& directory, const TagMsgBlock& to, const Deadline* deadline, Outgoing** opened);
    void Close(const Outgoing* connection);
    int AwaitRoom(int wake, uint32_t waitMs);
    uint64_t Stream() const { return stream_; }

 private:
    static constexpr size_t kFew = 16;
    void CloseDead();

    static std::atomic<uint64_t> nextStream_;
    const uint64_t stream_ = nextStream_.fetch_add(1, std::memory_order_relaxed);
    std::vector<std::unique_ptr<Outgoing>> connections_;
    size_t latest_ = 0;         // index of the connection that was used last
    size_t closeDeadAt_ = 0;    // number of connections at which the dead among them are looked for
    bool backlogFull_ = false;  // the latest Open answered WOULD_BLOCK
};

std::atomic<uint64_t> ThreadConnections::nextStream_{1};

ThreadConnections* ThreadConnections::Mine() {
    struct Key {
        Key() {
            if (pthread_key_create(&key, [](void* mine) { delete static_cast<ThreadConnections*>(mine); }) != 0) {
                throw std::bad_alloc();
            }
        }
        pthread_key_t key{};
    };
    static const Key key;
    auto* mine = static_cast<ThreadConnections*>(pthread_getspecific(key.key));
    if (mine == nullptr) {
        auto made = std::make_unique<ThreadConnections>();
        if (pthread_setspecific(key.key, made.get()) != 0) {
            throw std::bad_alloc();
        }
        mine = made.release();
    }
    return mine;
}

Outgoing* ThreadConnections::Find(const TagMsgBlock& to) {
    if (latest_ < connections_.size() && connections_[latest_]->LeadsTo(to)) {
        return connections_[latest_].get();
    }
    for (size_t i = 0; i < connections_.size(); ++i) {
        if (connections_[i]->LeadsTo(to)) {
            latest_ = i;
            return connections_[i].get();
        }
    }
    return nullptr;
}

int ThreadConnections::Open(const Directory& directory, const TagMsgBlock& to, const Deadline* deadline,
                            Outgoing** opened) {
    CloseDead();
    connections_.reserve(connections_.size() + 1);  // before the receiver sees a connection
    auto connection = std::make_unique<Outgoing>(to);
    const int result = connection->Connect(EndpointPath(directory, to.recvProcName, to.recvTaskName), deadline);
    backlogFull_ = result == ORVI_BUS_E_WOULD_BLOCK;
    if (result == 0) {
        *opened = connection.get();
        connections_.push_back(std::move(connection));
    }
    return result;
}

void ThreadConnections::Close(const Outgoing* connection) {
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                      [connection](const auto& candidate) { return candidate.get() == connection; }),
                       connections_.end());
}

// A thread that talks to ever new processes would collect the connections to those that have gone. With many of them
// this waits until they have doubled, so that the looks cost a constant share of the connections made.
void ThreadConnections::CloseDead() {
    if (connections_.size() >= kFew && connections_.size() < closeDeadAt_) {
        return;
    }
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                      [](const auto& connection) { return connection->HasHungUp(); }),
                       connections_.end());
    closeDeadAt_ = 2 * connections_.size();
}

int ThreadConnections::AwaitRoom(int wake, uint32_t waitMs) {
    const Deadline deadline(backlogFull_ ? std::min(waitMs, kBacklogPauseMs) : waitMs);
    const int outOfTime = backlogFull_ ? 0 : ORVI_BUS_E_TIMEOUT;
    backlogFull_ = false;
    std::vector<pollfd> entries;
    for (;;) {
        entries.assign(1, {wake, POLLIN, 0});
        for (const auto& connection : connections_) {
            if (connection->refused || connection->HasRest()) {
                entries.push_back({connection->Get(), POLLOUT, 0});
            }
        }
        if (wake < 0 && entries.size() == 1 && outOfTime != 0) {
            return 0;
        }
        if (!PollAnyFor(entries.data(), entries.size(), deadline)) {
            return outOfTime;
        }
        bool room = entries[0].revents != 0;
        for (size_t i = connections_.size(), entry = entries.size(); i-- > 0;) {
            Outgoing* connection = connections_[i].get();
            if ((!connection->refused && !connection->HasRest()) || entries[--entry].revents == 0) {
                continue;
            }
            const int result = connection->HasRest() ? connection->SendRest(nullptr) : 0;
            if (result != ORVI_BUS_E_WOULD_BLOCK) {
                room = room || connection->refused;
                connection->refused = false;
            }
            if (result != 0 && result != ORVI_BUS_E_WOULD_BLOCK) {
                Close(connection);
            }
        }
        if (room) {
            return 0;
        }
    }
}

// What is being sent: whose, to whom, how long it may take. Several messages have one receiver. `deadline` null: never
// waits.
struct Delivery {
    const Identity& self;
    const TagMsgBlock* blocks;
    size_t count;
    FrameKind kind;
    const Deadline* deadline;
};

// `sinceNs`: when the sending began; 0 when nobody watched then.
void TellSent(const Delivery& delivery, uint64_t stream, int64_t sinceNs, uint32_t sequence, size_t first, size_t end,
              int result) {
    for (size_t i = first; sinceNs != 0 && i < end; ++i) {
        const TagMsgBlock& block = delivery.blocks[i];
        TellWatchers({sinceNs, delivery.kind == FrameKind::kRequest ? TraceKind::kRequest : TraceKind::kOneWay,
                      block.msgId, sequence, stream, result, 0, nullptr, block.recvProcName, block.recvTaskName,
                      block.data, block.dataLen, false});
    }
}

// Sends up to Outgoing::kMostFrames and leaves the connection that took them in `used`; `taken` tells how many it took
// whole.
// What the kernel refuses before it took a byte, since the receiver has restarted, goes over a fresh connection once;
// nothing is sent twice.
int Deliver(const Delivery& delivery, ThreadConnections* mine, Outgoing** used, size_t* taken) {
    const TagMsgBlock& block = *delivery.blocks;
    Outgoing::Frame frames[Outgoing::kMostFrames];
    for (size_t i = 0; i < delivery.count; ++i) {
        FrameHeader& header = frames[i].header;
        header.kind = delivery.kind;
        header.flags = delivery.self.Started() ? kFlagStarted : uint16_t{0};
        header.msgId = delivery.blocks[i].msgId;
        header.dataLen = delivery.blocks[i].dataLen;
        frames[i].data = delivery.blocks[i].data;
    }
    Hello hello;
    SetName(hello.procName, delivery.self.Name());
    hello.incarnation = delivery.self.Number();
    hello.stream = mine->Stream();
    const int64_t sinceNs = IsWatched() ? MonotonicNs() : 0;
    *taken = 0;
    for (bool again = true;; again = false) {
        Outgoing* connection = mine->Find(block);
        if (connection == nullptr) {
            const int result = mine->Open(delivery.self.Where(), block, delivery.deadline, &connection);
            if (result != 0) {
                TellSent(delivery, mine->Stream(), sinceNs, 0, 0, 1, result);
                return result;
            }
        }
        uint32_t& sequence = frames->header.sequence;
        if (delivery.kind == FrameKind::kRequest) {
            sequence = connection->NextRequest();
        }
        size_t begun = 0;
        const int result = connection->Send(frames, delivery.count, hello, delivery.deadline, &begun);
        const int error = errno;
        // Of a failure the last one is a part.
        *taken = result == 0 || result == ORVI_BUS_E_WOULD_BLOCK || begun == 0 ? begun : begun - 1;
        TellSent(delivery, mine->Stream(), sinceNs, sequence, 0, *taken, 0);
        if (result == 0) {
            *used = connection;
            return 0;
        }
        TellSent(delivery, mine->Stream(), sinceNs, sequence, *taken, *taken + 1, result);
        if ((begun != 0 && result != ORVI_BUS_E_WOULD_BLOCK) ||
            (result != ORVI_BUS_E_TIMEOUT && result != ORVI_BUS_E_WOULD_BLOCK)) {
            mine->Close(connection);  // half a frame would spoil what follows it
        }
        errno = error;
        if (result != ORVI_BUS_E_GONE || begun != 0 || !again) {
            return result;
        }
    }
}

// One line for what was not delivered or not answered; errno belongs to the result.
int Tell(const Delivery& delivery, int result) {
    const TagMsgBlock& block = *delivery.blocks;
    const int error = errno;
    const auto tell = [&block](uint32_t level, const char* why) {
        Log(level, "message %#x to %s/%s failed: %s", block.msgId, block.recvProcName, block.recvTaskName, why);
    };
    switch (result) {
        case 0:
        case ORVI_BUS_E_WOULD_BLOCK:
            break;
        case ORVI_BUS_E_ABSENT:
            Log(kLogError,
                "message %#x: nobody receives as %s/%s in %s; does that process run, and with the same bus directory "
                "(ORVI_BUS_DIR, user)?",
                block.msgId, block.recvProcName, block.recvTaskName, delivery.self.Where().path.c_str());
            break;
        case ORVI_BUS_E_TIMEOUT:
            tell(kLogInfo, "the wait ran out");
            break;
        case ORVI_BUS_E_GONE:
            tell(kLogInfo, error == 0 ? "the receiver hung up" : strerror(error));
            break;
        default:
            tell(kLogError, strerror(error));
            break;
    }
    return result;
}

}  // namespace

int SendOneWay(const Identity& self, const TagMsgBlock& block, uint32_t waitMs) {
    ThreadConnections* mine = ThreadConnections::Mine();
    const Deadline deadline(waitMs);
    const Delivery delivery{self, &block, 1, FrameKind::kOneWay, &deadline};
    Outgoing* connection = nullptr;
    size_t taken = 0;
    return Tell(delivery, Deliver(delivery, mine, &connection, &taken));
}

int TrySend(const Identity& self, const TagMsgBlock* blocks, size_t count, size_t* taken) {
    ThreadConnections* mine = ThreadConnections::Mine();
    *taken = 0;
    for (;;) {
        const Delivery delivery{self, blocks + *taken, std::min(count - *taken, Outgoing::kMostFrames),
                                FrameKind::kOneWay, nullptr};
        Outgoing* connection = nullptr;
        size_t now = 0;
        const int result = Tell(delivery, Deliver(delivery, mine, &connection, &now));
        *taken += now;
        if (result != 0 || *taken == count) {
            return result;
        }
    }
}

int AwaitRoom(int wake, uint32_t waitMs) {
    return ThreadConnections::Mine()->AwaitRoom(wake, waitMs);
}

int SendRequest(const Identity& self, const TagMsgBlock& block, uint32_t waitMs, TagMsgBlock** reply) {
    ThreadConnections* mine = ThreadConnections::Mine();
    const Deadline deadline(waitMs);
    const Delivery delivery{self, &block, 1, FrameKind::kRequest, &deadline};
    Outgoing* connection = nullptr;
    const int64_t began = IsWatched() ? MonotonicNs() : 0;
    size_t taken = 0;
    int result = Deliver(delivery, mine, &connection, &taken);
    if (result == 0) {
        result = connection->AwaitReply(deadline, reply);
        if (began != 0) {
            TellWatchers({MonotonicNs(), TraceKind::kAnswered, block.msgId, connection->Sequence(), mine->Stream(),
                          result, MonotonicNs() - began, nullptr, block.recvProcName, block.recvTaskName, nullptr,
                          result == 0 ? (*reply)->dataLen : 0, result == 0 && (*reply)->data == nullptr});
        }
        if (result != 0) {
            // After a wait that ran out too: the receiver then learns that nobody waits for its answer any more, and no
            // late answer fills this connection.
            const int error = errno;
            mine->Close(connection);
            errno = error;
        }
    }
    return Tell(delivery, result);
}

}  // namespace orvi_bus
