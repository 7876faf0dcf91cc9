#include "receive/incoming.h"

#include <sys/socket.h>
#include <unordered_map>
#include <utility>

#include "orvi_host_bus.h"
#include "wire/settings.h"
#include "wire/trace.h"

namespace orvi_bus {

namespace {

// Every accepted connection of the process by its id, for answers from other threads. Never destroyed.
struct Table {
    static Table& Get() {
        static Table* table = new Table;
        return *table;
    }
    Mutex mutex;
    uint64_t nextId ORVI_BUS_GUARDED_BY(mutex) = 1;
    std::unordered_map<uint64_t, std::weak_ptr<Incoming>> connections ORVI_BUS_GUARDED_BY(mutex);
};

}  // namespace

Incoming::Incoming(uint64_t number, Socket accepted)
    : Source(Kind::kConnection), id(number), peer(accepted.Peer()), socket_(std::move(accepted)) {}

std::shared_ptr<Incoming> Incoming::Make(Fd accepted) {
    Table& table = Table::Get();
    MutexLock lock(table.mutex);
    auto connection = std::make_shared<Incoming>(table.nextId++, Socket(std::move(accepted)));
    table.connections.emplace(connection->id, connection);
    return connection;
}

std::shared_ptr<Incoming> Incoming::ById(uint64_t id) {
    Table& table = Table::Get();
    MutexLock lock(table.mutex);
    const auto found = table.connections.find(id);
    return found != table.connections.end() ? found->second.lock() : nullptr;
}

void Incoming::ExpectAnswer(uint32_t sequence) {
    MutexLock lock(mutex_);
    pending_ = sequence;
}

int Incoming::Answer(uint32_t sequence, uint32_t msgId, const void* data, uint32_t dataLen) {
    MutexLock lock(mutex_);
    if (!open_) {
        return ORVI_BUS_E_GONE;
    }
    if (sequence == 0 || pending_ != sequence) {
        return ORVI_BUS_E_STATE;
    }
    pending_ = 0;
    FrameHeader header;
    header.kind = FrameKind::kReply;
    header.flags = data == nullptr ? kFlagNoData : uint16_t{0};
    header.msgId = msgId;
    header.sequence = sequence;
    header.dataLen = dataLen;
    uint8_t head[kHeaderSize];
    EncodeHeader(header, head);
    Parcel parcel{head, sizeof(head), data, dataLen};
    const int result = socket_.Send(&parcel, Deadline(GetSettings().sendWaitMs));
    Trace(header, hello.procName, "", result);
    if (result != 0 && parcel.taken != 0) {
        // Half an answer must not be followed by another. What the peer has sent is still read.
        shutdown(socket_.Get(), SHUT_WR);
    }
    return result;
}

void Incoming::Close() {
    closed = true;
    {
        MutexLock lock(mutex_);
        open_ = false;
        socket_.HangUp();
    }
    Table& table = Table::Get();
    MutexLock lock(table.mutex);
    table.connections.erase(id);
}

}  // namespace orvi_bus
