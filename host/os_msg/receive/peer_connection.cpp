#include "receive/peer_connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <sys/epoll.h>
#include <unordered_map>
#include <utility>

#include "orvi_host_bus.h"
#include "wire/bus_log.h"
#include "wire/deadline.h"
#include "wire/fault_point.h"
#include "wire/never_destroyed.h"
#include "wire/settings.h"
#include "wire/trace.h"

namespace orvi_bus {

namespace {

// Told of bytes once, when they come: a connection that is not read for a while costs nothing meanwhile.
constexpr uint32_t kEvents = EPOLLIN | EPOLLRDHUP | EPOLLET;

constexpr int64_t kAgainNs = 10000000;  // until an answer that failed for want of memory is tried again

// Every accepted connection of the process by its id, for answers from other threads.
struct Table {
    static Table& Get() {
        static NeverDestroyed<Table> table;
        return table.Get();
    }
    Mutex mutex;
    uint64_t nextId ORVI_BUS_GUARDED_BY(mutex) = 1;
    std::unordered_map<uint64_t, std::weak_ptr<Connection>> connections ORVI_BUS_GUARDED_BY(mutex);
};

int64_t LimitNs(uint32_t ms) {
    return static_cast<int64_t>(ms) * 1000000;
}

}  // namespace

Connection::Connection(uint64_t serial, Socket accepted, EventLoop* loop, Budget* budget)
    : Source(Kind::kConnection),
      id(serial),
      peer(accepted.Peer()),
      loop_(loop),
      budget_(budget),
      account_(budget->Admit(peer, accepted.Get())),
      socket_(std::move(accepted)) {}

Connection::~Connection() {
    if (account_) {
        budget_->Leave(peer, account_);
    }
}

std::shared_ptr<Connection> Connection::Make(Socket accepted, EventLoop* loop, Budget* budget) {
    Table& table = Table::Get();
    MutexLock lock(table.mutex);
    auto connection = std::make_shared<Connection>(table.nextId, std::move(accepted), loop, budget);
    if (!connection->account_) {
        return nullptr;
    }
    table.connections.emplace(table.nextId, connection);
    if (!loop->Add(connection.get(), connection->socket_.Get(), kEvents)) {
        Log(kLogError, "cannot watch a new connection: %s", strerror(errno));
        table.connections.erase(table.nextId);
        return nullptr;
    }
    ++table.nextId;
    return connection;
}

std::shared_ptr<Connection> Connection::ById(uint64_t id) {
    Table& table = Table::Get();
    MutexLock lock(table.mutex);
    const auto found = table.connections.find(id);
    return found != table.connections.end() ? found->second.lock() : nullptr;
}

Connection::Filled Connection::Fill(const char** reason) {
    *reason = nullptr;
    const size_t capacity = reader.CapacityAfterRoom();
    if (capacity > charged_ && capacity > FrameReader::kFirstCapacity) {
        grown_ = true;
        if (!budget_->Grow(account_.get(), this, charged_, capacity)) {
            return Filled::kNoRoom;
        }
        charged_ = capacity;
    }
    uint8_t* at = nullptr;
    size_t room = 0;
    if (!reader.Room(&at, &room)) {
        *reason = "there is no memory for its frame";
        return Filled::kOver;
    }
    size_t count = 0;
    switch (socket_.Receive(at, room, &count)) {
        case Socket::Received::kBytes:
            reader.Received(count);
            progressed = true;
            readable = hungUp || count == room;  // a stream that gives less has no more but its end
            return Filled::kBytes;
        case Socket::Received::kNothing:
            readable = false;
            return Filled::kNothing;
        case Socket::Received::kEnd:
            *reason = reader.InsideFrame() ? "it was closed inside a frame" : nullptr;
            return Filled::kOver;
        case Socket::Received::kReset:
            *reason = reader.InsideFrame() ? "it was reset inside a frame" : nullptr;
            return Filled::kOver;
        case Socket::Received::kFailed:
            break;
    }
    *reason = strerror(errno);
    return Filled::kOver;
}

void Connection::SettleMemory() {
    if (grown_ && !reader.InsideFrame()) {
        grown_ = false;
        reader.Trim();
        budget_->Shrink(account_.get(), this, charged_, reader.Capacity());
        charged_ = reader.Capacity();
    }
}

void Connection::ExpectAnswer(uint32_t sequence) {
    MutexLock lock(mutex_);
    pending_ = sequence;
}

int Connection::Answer(uint32_t sequence, uint32_t msgId, const void* data, uint32_t dataLen) {
    MutexLock lock(mutex_);
    if (!open_) {
        return ORVI_BUS_E_GONE;
    }
    if (sequence == 0 || pending_ != sequence) {
        return ORVI_BUS_E_STATE;
    }
    const Fault fault = AtFaultPoint(FaultPoint::kBeforeReply);
    if (fault == Fault::kDrop) {
        pending_ = 0;
        return 0;
    }
    dataLen = fault == Fault::kTruncate ? dataLen / 2 : dataLen;
    FrameHeader header;
    header.kind = FrameKind::kReply;
    header.flags = data == nullptr ? kFlagNoData : uint16_t{0};
    header.msgId = msgId;
    header.sequence = sequence;
    header.dataLen = dataLen;
    uint8_t head[kHeaderSize];
    EncodeHeader(header, head);
    head[0] = fault == Fault::kCorrupt ? static_cast<uint8_t>(~head[0]) : head[0];
    iovec parts[] = {Part(head, sizeof(head)), Part(data, dataLen)};
    Parcel parcel{parts, std::size(parts)};
    const int64_t sinceNs = IsWatched() ? MonotonicNs() : 0;
    int result = firstQueued_ == nullptr ? SendFirst(&parcel) : ORVI_BUS_E_WOULD_BLOCK;
    (void)AtFaultPoint(FaultPoint::kAfterReply);
    pending_ = 0;
    if (result == ORVI_BUS_E_WOULD_BLOCK || (result == ORVI_BUS_E_SYSTEM && IsShortage(errno))) {
        result = Enqueue(parcel) ? 0 : ORVI_BUS_E_GONE;
    } else if (result == ORVI_BUS_E_SYSTEM) {
        GiveUp(strerror(errno));  // the peer is told by the hang-up, instead of waiting for nothing
        result = ORVI_BUS_E_GONE;
    }
    if (sinceNs != 0) {
        TellWatchers({sinceNs, TraceKind::kReply, msgId, sequence, hello.stream, result, 0, nullptr, hello.procName, "",
                      data, dataLen, data == nullptr});
    }
    return result;
}

int Connection::SendFirst(Parcel* parcel) {
#ifdef ORVI_FAULT_POINTS
    if (!HasFaultAt(FaultPoint::kInsideReply)) {
        return socket_.SendNow(parcel);
    }
    iovec part = *parcel->parts;
    Parcel head{&part, 1};
    const int result = socket_.SendNow(&head);
    parcel->Take(head.taken);
    if (result != 0) {
        return result;
    }
    if (AtFaultPoint(FaultPoint::kInsideReply) == Fault::kTruncate) {
        errno = ECANCELED;
        return ORVI_BUS_E_SYSTEM;
    }
#endif
    return socket_.SendNow(parcel);
}

// Nothing more can be sent. The loop sees its end.
void Connection::GiveUp(const char* reason) {
    Log(kLogError, "ended a connection of %s (process %d, uid %u): %s", hello.procName, static_cast<int>(peer.pid),
        static_cast<unsigned>(peer.uid), reason);
    shutdown(socket_.Get(), SHUT_RDWR);
    open_ = false;
    DropQueue();
}

// False after the connection was given up: the peer reads too little of what it asks for.
bool Connection::Enqueue(const Parcel& parcel) {
    Queued made{nullptr, parcel.Left(), 0};
    const bool lent = budget_->TakeForAnswer(account_.get(), made.Cost());
    auto* queued = lent ? static_cast<Queued*>(malloc(made.Cost())) : nullptr;
    if (queued == nullptr) {
        if (lent) {
            budget_->GiveBackOfAnswer(account_.get(), made.Cost());
        }
        GiveUp(lent ? "there is no memory for its answer" : "it does not read its answers");
        return false;
    }
    *queued = made;
    parcel.Copy(queued->Bytes(), made.size);
    if (firstQueued_ == nullptr) {
        progressNs_ = MonotonicNs();
        firstQueued_ = queued;
        (void)loop_->Change(this, socket_.Get(), kEvents | EPOLLOUT);
        loop_->Wake();  // there is a limit to keep now
    } else {
        lastQueued_->next = queued;
    }
    lastQueued_ = queued;
    return true;
}

bool Connection::SendQueued(int64_t nowNs) {
    MutexLock lock(mutex_);
    while (open_ && firstQueued_ != nullptr) {
        Queued* queued = firstQueued_;
        iovec part = Part(queued->Bytes() + queued->taken, queued->size - queued->taken);
        Parcel parcel{&part, 1};
        const int result = socket_.SendNow(&parcel);
        if (parcel.taken != 0) {
            progressNs_ = nowNs;
            queued->taken += parcel.taken;
        }
        // Of a kernel that had no memory nobody tells when it has some.
        const bool shortage = result == ORVI_BUS_E_SYSTEM && IsShortage(errno);
        againNs_ = shortage ? nowNs + kAgainNs : INT64_MAX;
        if (result == ORVI_BUS_E_WOULD_BLOCK || shortage) {
            return nowNs - progressNs_ < LimitNs(GetSettings().sendWaitMs);
        }
        if (result == ORVI_BUS_E_GONE) {
            DropQueue();
            break;
        }
        if (result != 0) {
            GiveUp(strerror(errno));
            break;
        }
        firstQueued_ = queued->next;
        budget_->GiveBackOfAnswer(account_.get(), queued->Cost());
        free(queued);
    }
    if (open_) {
        (void)loop_->Change(this, socket_.Get(), kEvents);
    }
    return true;
}

int64_t Connection::AnswersDueNs() {
    MutexLock lock(mutex_);
    return firstQueued_ != nullptr ? std::min(againNs_, progressNs_ + LimitNs(GetSettings().sendWaitMs)) : INT64_MAX;
}

Connection::Unread Connection::UnreadAnswers(bool* answered) {
    MutexLock lock(mutex_);
    *answered = pending_ == 0;
    if (!open_) {
        return Unread::kOver;
    }
    return firstQueued_ != nullptr ? Unread::kSome : Unread::kNone;
}

void Connection::DropQueue() {
    while (firstQueued_ != nullptr) {
        Queued* queued = firstQueued_;
        firstQueued_ = queued->next;
        budget_->GiveBackOfAnswer(account_.get(), queued->Cost());
        free(queued);
    }
}

void Connection::Close() {
    budget_->Shrink(account_.get(), this, charged_, 0);
    charged_ = 0;
    {
        MutexLock lock(mutex_);
        open_ = false;
        DropQueue();
        loop_->Remove(socket_.Get());
        socket_.HangUp();
    }
    Table& table = Table::Get();
    MutexLock lock(table.mutex);
    table.connections.erase(id);
}

}  // namespace orvi_bus
