// A connection that a task has accepted, and the answers that go back over it.
#ifndef ORVI_HOST_OS_MSG_INCOMING_H
#define ORVI_HOST_OS_MSG_INCOMING_H

#include <cstdint>
#include <memory>

#include "wire/descriptor.h"
#include "wire/frame.h"
#include "wire/mutex.h"
#include "wire/socket.h"

namespace orvi_bus {

// What an event of a task's epoll instance is about.
struct Source {
    enum class Kind { kListener, kWake, kDirectory, kProcess, kConnection };
    explicit Source(Kind k) : kind(k) {}
    const Kind kind;
};

// All members but the ones under `mutex` belong to the thread that runs the task's loop.
class Incoming : public Source {
 public:
    Incoming(uint64_t number, Socket accepted);

    const uint64_t id;  // grows from each accepted connection of the process to the next
    const PeerIdentity peer;
    FrameReader reader{FrameReader::Direction::kToTask};
    Hello hello;
    bool greeted = false;   // the hello has come
    bool ordered = false;   // what came before it over its thread's earlier connections has been handled
    bool busy = false;      // its messages are being dispatched further up the stack
    bool paused = false;    // the peer's memory is spent: not read until that changes
    bool favoured = false;  // see PeerBudget
    bool closed = false;
    int64_t deadlineNs = 0;  // when it counts as stuck, 0 for never
    size_t charged = 0;      // bytes of `reader` that the peer's budget counts

    int Descriptor() const { return socket_.Get(); }
    Socket::Received Receive(uint8_t* at, size_t room, size_t* count) const { return socket_.Receive(at, room, count); }

    // The request with this number may be answered now, and no earlier one.
    void ExpectAnswer(uint32_t sequence);
    // Any thread. Answers the request or tells why not, see OrviHostMsgReply.
    int Answer(uint32_t sequence, uint32_t msgId, const void* data, uint32_t dataLen);
    void Close();

    // Any thread: the connection that a request came over, while it lives.
    static std::shared_ptr<Incoming> ById(uint64_t id);
    static std::shared_ptr<Incoming> Make(Fd accepted);

 private:
    Socket socket_;  // closed under mutex_
    Mutex mutex_;
    bool open_ ORVI_BUS_GUARDED_BY(mutex_) = true;
    uint32_t pending_ ORVI_BUS_GUARDED_BY(mutex_) = 0;  // sequence of the request that waits for its answer, or 0
};

}  // namespace orvi_bus

#endif
