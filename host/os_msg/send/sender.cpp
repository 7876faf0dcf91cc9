#include "send/sender.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <vector>

#include "orvi_host_bus.h"
#include "process.h"
#include "send/reply_block.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/deadline.h"
#include "wire/frame.h"
#include "wire/stream_io.h"
#include "wire/trace.h"

namespace orvi_bus {

namespace {

struct Outgoing {
    char procName[OS_MSG_NAME_SIZE] = {};
    char taskName[OS_MSG_NAME_SIZE] = {};
    Fd socket;
    uint32_t receiverUid = 0;
    bool greeted = false;
    uint32_t sequence = 0;
    FrameReader replies;
};

// The connections of one thread. They are closed when the thread ends. The key's destructor does that and not a
// thread_local's: the main thread may still send from exit handlers, after its thread_local objects are gone.
class ThreadConnections {
 public:
    // Null when there is no memory.
    static ThreadConnections* Mine();

    Outgoing* Find(const TagMsgBlock& to);
    // 0 and the new connection, or an error.
    int Open(const TagMsgBlock& to, const Deadline& deadline, Outgoing** opened);
    void Close(const Outgoing* connection);
    uint64_t Stream() const { return stream_; }

 private:
    void CloseDead();

    static std::atomic<uint64_t> nextStream_;
    const uint64_t stream_ = nextStream_.fetch_add(1, std::memory_order_relaxed);
    std::vector<std::unique_ptr<Outgoing>> connections_;
};

std::atomic<uint64_t> ThreadConnections::nextStream_{1};

ThreadConnections* ThreadConnections::Mine() {
    static const pthread_key_t key = [] {
        pthread_key_t made{};
        pthread_key_create(&made, [](void* mine) { delete static_cast<ThreadConnections*>(mine); });
        return made;
    }();
    auto* mine = static_cast<ThreadConnections*>(pthread_getspecific(key));
    if (mine == nullptr) {
        mine = new (std::nothrow) ThreadConnections;
        if (mine != nullptr && pthread_setspecific(key, mine) != 0) {
            delete mine;
            mine = nullptr;
        }
    }
    return mine;
}

Outgoing* ThreadConnections::Find(const TagMsgBlock& to) {
    for (const auto& connection : connections_) {
        if (strcmp(connection->procName, to.recvProcName) == 0 && strcmp(connection->taskName, to.recvTaskName) == 0) {
            return connection.get();
        }
    }
    return nullptr;
}

int ThreadConnections::Open(const TagMsgBlock& to, const Deadline& deadline, Outgoing** opened) {
    CloseDead();
    auto connection = std::make_unique<Outgoing>();
    SetName(connection->procName, to.recvProcName);
    SetName(connection->taskName, to.recvTaskName);
    const std::string path = EndpointPath(Process::Get().BusDirectory(), connection->procName, connection->taskName);
    const int result = ConnectStream(path, deadline, &connection->socket);
    if (result != 0) {
        return result;
    }
    connection->receiverUid = PeerOf(connection->socket).uid;
    *opened = connection.get();
    connections_.push_back(std::move(connection));
    return 0;
}

void ThreadConnections::Close(const Outgoing* connection) {
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                      [connection](const auto& candidate) { return candidate.get() == connection; }),
                       connections_.end());
}

// A thread that talks to ever new processes would collect the connections to those that have gone.
void ThreadConnections::CloseDead() {
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                      [](const auto& connection) { return HasHungUp(connection->socket); }),
                       connections_.end());
}

int Transmit(Outgoing* connection, uint64_t stream, const FrameHeader& header, const void* data,
             const Deadline& deadline, size_t* taken) {
    uint8_t head[kHeaderSize + kHelloSize + kHeaderSize];
    size_t headSize = 0;
    if (!connection->greeted) {
        const Process& process = Process::Get();
        FrameHeader greeting;
        greeting.kind = FrameKind::kHello;
        greeting.dataLen = kHelloSize;
        EncodeHeader(greeting, head);
        Hello hello;
        SetName(hello.procName, process.Name());
        hello.incarnation = process.Incarnation();
        hello.stream = stream;
        EncodeHello(hello, head + kHeaderSize);
        headSize = kHeaderSize + kHelloSize;
    }
    EncodeHeader(header, head + headSize);
    headSize += kHeaderSize;
    const int result = SendStream(connection->socket, head, headSize, data, header.dataLen, deadline, taken);
    if (result == 0) {
        connection->greeted = true;
    }
    return result;
}

// Sends one frame and leaves the connection that took it in `used`. What the kernel refuses before it took a byte,
// since the receiver has restarted, goes over a fresh connection once; nothing is sent twice.
int Deliver(const TagMsgBlock& block, FrameKind kind, const Deadline& deadline, ThreadConnections* mine,
            Outgoing** used) {
    FrameHeader header;
    header.kind = kind;
    header.flags = Process::Get().Started() ? kFlagStarted : uint16_t{0};
    header.msgId = block.msgId;
    header.dataLen = block.dataLen;
    for (bool again = true;; again = false) {
        Outgoing* connection = mine->Find(block);
        if (connection == nullptr) {
            const int result = mine->Open(block, deadline, &connection);
            if (result != 0) {
                return result;
            }
        }
        if (kind == FrameKind::kRequest) {
            connection->sequence = NextSequence(connection->sequence);
            header.sequence = connection->sequence;
        }
        size_t taken = 0;
        const int result = Transmit(connection, mine->Stream(), header, block.data, deadline, &taken);
        Trace(header, block.recvProcName, block.recvTaskName, result);
        if (result == 0) {
            *used = connection;
            return 0;
        }
        if (taken != 0 || result != ORVI_BUS_E_TIMEOUT) {
            mine->Close(connection);  // half a frame would spoil what follows it
        }
        if (result != ORVI_BUS_E_GONE || taken != 0 || !again) {
            return result;
        }
    }
}

int AwaitReply(Outgoing* connection, const Deadline& deadline, TagMsgBlock** reply) {
    FrameReader& replies = connection->replies;
    for (;;) {
        FrameHeader header;
        const uint8_t* payload = nullptr;
        switch (replies.Next(&header, &payload)) {
            case FrameReader::Result::kBad:
                Log(kLogError, "connection to %s/%s ended: it sent %s", connection->procName, connection->taskName,
                    replies.Complaint());
                return ORVI_BUS_E_GONE;
            case FrameReader::Result::kFrame:
                if (header.kind != FrameKind::kReply) {
                    Log(kLogError, "connection to %s/%s ended: it sent what is no reply", connection->procName,
                        connection->taskName);
                    return ORVI_BUS_E_GONE;
                }
                replies.Consume();
                if (header.sequence != connection->sequence) {
                    Log(kLogInfo, "dropped a reply of %s/%s that nobody waits for", connection->procName,
                        connection->taskName);
                    continue;
                }
                *reply = MakeReplyBlock(header, payload, connection->receiverUid);
                replies.Trim();
                return *reply != nullptr ? 0 : ORVI_BUS_E_SYSTEM;
            case FrameReader::Result::kMore:
                break;
        }
        uint8_t* at = nullptr;
        size_t room = 0;
        if (!replies.Room(&at, &room)) {
            return ORVI_BUS_E_SYSTEM;
        }
        if (!PollFor(connection->socket.Get(), POLLIN, deadline)) {
            return ORVI_BUS_E_TIMEOUT;
        }
        const ssize_t count = ReceiveSome(connection->socket, at, room);
        if (count == 0) {
            return ORVI_BUS_E_GONE;
        }
        if (count > 0) {
            replies.Received(static_cast<size_t>(count));
        }
    }
}

void Tell(const TagMsgBlock& block, int result) {
    if (result == ORVI_BUS_E_ABSENT) {
        Log(kLogInfo, "message %#x: nobody receives as %s/%s", block.msgId, block.recvProcName, block.recvTaskName);
    } else if (result != 0) {
        Log(kLogInfo, "message %#x to %s/%s failed: %s", block.msgId, block.recvProcName, block.recvTaskName,
            result == ORVI_BUS_E_TIMEOUT ? "the wait ran out" : "the connection broke");
    }
}

}  // namespace

int SendOneWay(const TagMsgBlock& block, uint32_t waitMs) {
    ThreadConnections* mine = ThreadConnections::Mine();
    if (mine == nullptr) {
        return ORVI_BUS_E_SYSTEM;
    }
    Outgoing* connection = nullptr;
    const int result = Deliver(block, FrameKind::kOneWay, Deadline(waitMs), mine, &connection);
    Tell(block, result);
    return result;
}

int SendRequest(const TagMsgBlock& block, uint32_t waitMs, TagMsgBlock** reply) {
    ThreadConnections* mine = ThreadConnections::Mine();
    if (mine == nullptr) {
        return ORVI_BUS_E_SYSTEM;
    }
    const Deadline deadline(waitMs);
    Outgoing* connection = nullptr;
    int result = Deliver(block, FrameKind::kRequest, deadline, mine, &connection);
    if (result == 0) {
        result = AwaitReply(connection, deadline, reply);
        if (result != 0) {
            // After a wait that ran out too: the receiver then learns that nobody waits for its answer any more, and no
            // late answer fills this connection.
            mine->Close(connection);
        }
    }
    Tell(block, result);
    return result;
}

}  // namespace orvi_bus
