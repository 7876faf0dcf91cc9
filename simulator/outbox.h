// What waits to be sent to one client, and the thread that sends it.
#ifndef ORVI_SIM_OUTBOX_H
#define ORVI_SIM_OUTBOX_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "payload.h"
#include "request.h"

namespace orvi_sim {

struct OutboxCounts {
    uint64_t sent = 0;
    uint64_t failed = 0;      // the bus refused the message
    uint64_t overflowed = 0;  // the queue was full
    size_t queued = 0;
};

// A bounded queue with one sender thread, so that a client that does not drain its messages holds up nobody else.
class Outbox {
 public:
    // `onGone` is called on the sender thread when the bus does not know the client's task any more.
    using OnGone = std::function<void(const ClientAddress&)>;

    Outbox(ClientAddress address, size_t capacity, OnGone onGone);
    ~Outbox();  // the thread has been joined, or never started
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;

    const ClientAddress& Address() const { return address_; }

    // Never waits. False, with one log line, when the queue is full or closed.
    bool Push(uint32_t id, std::shared_ptr<const Payload> payload);

    enum class Rest { Send, Discard };
    // Takes no more messages and lets the thread end, after what is queued or at once. Never waits.
    void Close(Rest rest);

    bool Finished() const;  // Join would not wait
    void Join();

    OutboxCounts Counts() const;

    // Waits until everything queued has been handed to the bus. False at the deadline.
    bool AwaitEmpty(std::chrono::steady_clock::time_point deadline);

 private:
    struct Message {
        uint32_t id;
        std::shared_ptr<const Payload> payload;
    };

    void Run();
    int Send(const Message& message) const;

    const ClientAddress address_;
    const std::string label_;  // process/task
    const size_t capacity_;
    const OnGone onGone_;

    mutable std::mutex mutex_;  // guards what follows, but for thread_
    std::condition_variable changed_;
    std::deque<Message> queue_;
    OutboxCounts counts_;
    bool sending_ = false;
    bool closed_ = false;
    bool finished_ = false;

    std::thread thread_;
};

}  // namespace orvi_sim

#endif
