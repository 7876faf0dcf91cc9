#include "outbox.h"

#include <cstring>
#include <utility>

#include "bus_block.h"
#include "event_table.h"
#include "log.h"

namespace orvi_sim {

Outbox::Outbox(ClientAddress address, size_t capacity, OnGone onGone)
    : address_(std::move(address)),
      label_(address_.process + "/" + address_.task),
      capacity_(capacity),
      onGone_(std::move(onGone)),
      thread_(&Outbox::Run, this) {}

Outbox::~Outbox() {
    Join();
}

bool Outbox::Push(uint32_t id, std::shared_ptr<const Payload> payload) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (closed_) {
        return false;
    }
    if (queue_.size() >= capacity_) {
        const uint64_t lost = ++counts_.overflowed;
        lock.unlock();
        Log("queue of %s is full: %#x \"%s\" is lost, %llu so far", label_.c_str(), id, EventName(id),
            static_cast<unsigned long long>(lost));
        return false;
    }
    queue_.push_back({id, std::move(payload)});
    changed_.notify_all();
    return true;
}

void Outbox::Close(Rest rest) {
    size_t dropped = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        closed_ = true;
        if (rest == Rest::Discard) {
            dropped = queue_.size();
            queue_.clear();
        }
        changed_.notify_all();
    }
    if (dropped != 0) {
        Log("%zu queued messages for %s dropped", dropped, label_.c_str());
    }
}

bool Outbox::Finished() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return finished_;
}

void Outbox::Join() {
    if (thread_.joinable()) {
        thread_.join();
    }
}

OutboxCounts Outbox::Counts() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    OutboxCounts counts = counts_;
    counts.queued = queue_.size() + (sending_ ? 1 : 0);
    return counts;
}

bool Outbox::AwaitEmpty(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_until(lock, deadline, [&] { return queue_.empty() && !sending_; });
}

void Outbox::Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return closed_ || !queue_.empty(); });
        if (queue_.empty()) {
            break;
        }
        const Message message = std::move(queue_.front());
        queue_.pop_front();
        sending_ = true;
        lock.unlock();
        const int result = Send(message);
        lock.lock();
        sending_ = false;
        ++(result == 0 ? counts_.sent : counts_.failed);
        changed_.notify_all();
        if (result != 0 && !closed_ && IsReceiverGone(result)) {
            lock.unlock();
            onGone_(address_);
            lock.lock();
        }
    }
    finished_ = true;
}

int Outbox::Send(const Message& message) const {
    TagMsgBlock block = BlockTo(address_.process, address_.task);
    block.msgId = message.id;
    block.dataLen = static_cast<uint32_t>(message.payload->size());
    // The bus only reads what it sends; its block has no const.
    block.data = message.payload->empty() ? nullptr : const_cast<uint8_t*>(message.payload->data());
    const int result = OsMsgAsynSend(&block);
    if (result == 0) {
        LogVerbose("sent %#x \"%s\" to %s, %u bytes", message.id, EventName(message.id), label_.c_str(), block.dataLen);
    } else {
        Log("cannot send %#x \"%s\" to %s: the bus says %d", message.id, EventName(message.id), label_.c_str(), result);
    }
    return result;
}

}  // namespace orvi_sim
