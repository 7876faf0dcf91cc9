// A connection that a task has accepted: what its peer sends, and the answers that go back.
#ifndef ORVI_HOST_OS_MSG_PEER_CONNECTION_H
#define ORVI_HOST_OS_MSG_PEER_CONNECTION_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "receive/budget.h"
#include "receive/event_loop.h"
#include "receive/linked_list.h"
#include "receive/loop_right.h"
#include "wire/frame.h"
#include "wire/mutex.h"
#include "wire/socket.h"

namespace orvi_bus {

class Watch;

class Connection : public Source, public std::enable_shared_from_this<Connection> {
 public:
    // kMute     its hello has not come
    // kWaiting  the hello has; its next message is not to be handled before something else, see order.h
    // kOpen     its messages are handled as they come
    // kParked   the peer's memory is spent: nothing is read until some is free
    // kClosed   no more
    enum class State { kMute, kWaiting, kOpen, kParked, kClosed };

    // Registers the accepted socket with the loop. Null when its peer has too many connections, after one log line for
    // all of them, or when the kernel refuses, after a log line.
    static std::shared_ptr<Connection> Make(Socket accepted, EventLoop* loop, Budget* budget);
    // Any thread: the connection that a request came over, while it lives.
    static std::shared_ptr<Connection> ById(uint64_t id);

    Connection(uint64_t serial, Socket accepted, EventLoop* loop, Budget* budget);
    ~Connection();

    const uint64_t id;  // grows from each accepted connection of the process to the next
    const PeerIdentity peer;

    // --- the loop's ---

    State state ORVI_BUS_GUARDED_BY(kLoop) = State::kMute;  // changed by Connections alone
    FrameReader reader ORVI_BUS_GUARDED_BY(kLoop){FrameReader::Direction::kToTask};
    Hello hello;                                     // what the peer claims; constant once the state is no longer kMute
    uint64_t number ORVI_BUS_GUARDED_BY(kLoop) = 0;  // incarnation, backed by the presence of hello's name; 0: unknown
    bool readable ORVI_BUS_GUARDED_BY(kLoop) = true;     // the kernel may hold bytes of it
    bool hungUp ORVI_BUS_GUARDED_BY(kLoop) = false;      // the kernel has told so: the end follows what it holds
    uint64_t emptyAt ORVI_BUS_GUARDED_BY(kLoop) = 0;     // Connections' tick when nothing more was found in it
    bool progressed ORVI_BUS_GUARDED_BY(kLoop) = false;  // bytes have come since its deadline was set
    bool suspected ORVI_BUS_GUARDED_BY(kLoop) = false;   // the deadline has passed, and it gets a last look
    int64_t deadlineNs ORVI_BUS_GUARDED_BY(kLoop) = 0;   // when it counts as stuck, while it is in Connections' list
    Link<Connection> ready;
    Link<Connection> timed;
    Link<Connection> aside;  // in the list of its state, kWaiting or kParked

    // What a connection in the state kWaiting waits for, see order.h.
    bool identified ORVI_BUS_GUARDED_BY(kLoop) = false;
    bool saysStarted ORVI_BUS_GUARDED_BY(kLoop) = false;
    bool mustStart ORVI_BUS_GUARDED_BY(kLoop) = false;   // the start of its sender is to be announced first
    bool startAsked ORVI_BUS_GUARDED_BY(kLoop) = false;  // and its watch has been told to look
    uint64_t drainTick ORVI_BUS_GUARDED_BY(kLoop) = 0;   // when its predecessors were asked for, 0: not yet

    // Reads what is there into the reader. kBytes or kNothing with `readable` telling whether there may be more; kNoRoom
    // when the peer's memory is spent; else the connection is to be closed, for the reason, null for an end in good order.
    enum class Filled { kBytes, kNothing, kNoRoom, kOver };
    Filled Fill(const char** reason) ORVI_BUS_REQUIRES(kLoop);
    // Tells the peer's account what the reader holds now.
    void SettleMemory() ORVI_BUS_REQUIRES(kLoop);

    // The request with this number may be answered now, and no earlier one.
    void ExpectAnswer(uint32_t sequence);
    // Hands queued answers over. False when the peer is not worth keeping: it has read nothing for too long.
    bool SendQueued(int64_t nowNs);
    // When SendQueued is to be called at the latest, INT64_MAX while nothing is queued.
    int64_t AnswersDueNs();
    // kSome: answers wait. kOver: the connection was given up for what its peer does not read.
    enum class Unread { kNone, kSome, kOver };
    // `answered`: no request of it waits for its answer.
    Unread UnreadAnswers(bool* answered);
    // It asked for memory and does so no longer.
    void StopWaiting() { budget_->StopWaiting(account_.get()); }
    void Close() ORVI_BUS_REQUIRES(kLoop);

    // --- any thread ---

    // Answers the request or tells why not, see OrviHostMsgReply. Never waits.
    int Answer(uint32_t sequence, uint32_t msgId, const void* data, uint32_t dataLen);

 private:
    struct Queued {  // what the kernel did not take of an answer; the bytes follow
        Queued* next;
        size_t size;
        size_t taken;
        size_t Cost() const { return sizeof(*this) + size; }
        uint8_t* Bytes() { return reinterpret_cast<uint8_t*>(this + 1); }
    };
    int SendFirst(Parcel* parcel) ORVI_BUS_REQUIRES(mutex_);
    bool Enqueue(const Parcel& parcel) ORVI_BUS_REQUIRES(mutex_);
    void GiveUp(const char* reason) ORVI_BUS_REQUIRES(mutex_);
    void DropQueue() ORVI_BUS_REQUIRES(mutex_);

    EventLoop* const loop_;
    Budget* const budget_;
    const Budget::AccountPtr account_;
    size_t charged_ ORVI_BUS_GUARDED_BY(kLoop) = 0;  // bytes of the reader that the account counts
    bool grown_ ORVI_BUS_GUARDED_BY(kLoop) = false;  // it has asked the account since SettleMemory

    Mutex mutex_;
    Socket socket_;  // closed under mutex_ and with the loop's right
    bool open_ ORVI_BUS_GUARDED_BY(mutex_) = true;
    uint32_t pending_ ORVI_BUS_GUARDED_BY(mutex_) = 0;  // sequence of the request that waits for its answer, or 0
    Queued* firstQueued_ ORVI_BUS_GUARDED_BY(mutex_) = nullptr;
    Queued* lastQueued_ ORVI_BUS_GUARDED_BY(mutex_) = nullptr;
    int64_t progressNs_ ORVI_BUS_GUARDED_BY(mutex_) = 0;       // when the peer last took something of the queue
    int64_t againNs_ ORVI_BUS_GUARDED_BY(mutex_) = INT64_MAX;  // when to try what the kernel had no memory for
};

}  // namespace orvi_bus

#endif
