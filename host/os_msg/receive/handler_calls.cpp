#include "receive/handler_calls.h"

#include <exception>

#include "wire/bus_log.h"
#include "wire/deadline.h"
#include "wire/descriptor.h"
#include "wire/settings.h"

namespace orvi_bus {

namespace {

int64_t SlowNs() {
    return static_cast<int64_t>(GetSettings().slowMs) * kNsPerMs;
}

}  // namespace

// Marks a call until it returns, throws or ends its thread.
class HandlerCalls::Running {
 public:
    Running(HandlerCalls* calls, uint32_t msgId) : calls_(calls) {
        calls_->msgId_.store(msgId, std::memory_order_relaxed);
        calls_->sinceNs_.store(SlowNs() != 0 ? MonotonicNs() : 0, std::memory_order_release);
    }
    ~Running() {
        const int64_t since = calls_->sinceNs_.exchange(0);
        if (InForkedChild()) {
            return;
        }
        if (!returned_) {
            Log(kLogError,
                "the handler of task '%s' ended its thread on message %#x; its messages wait for another loop",
                calls_->taskName_, calls_->msgId_.load());
        } else if (since != 0 && MonotonicNs() - since > SlowNs()) {
            Log(kLogError, "the handler of task '%s' took %lld ms for message %#x", calls_->taskName_,
                static_cast<long long>((MonotonicNs() - since) / kNsPerMs), calls_->msgId_.load());
        }
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    void Returned() { returned_ = true; }

 private:
    HandlerCalls* const calls_;
    bool returned_ = false;
};

void HandlerCalls::Call(TagMsgBlock* block) {
    const uint32_t msgId = block->msgId;
    Running running(this, msgId);
    try {
        (void)handler_(block);
    } catch (const std::exception& error) {
        Log(kLogError, "the handler of task '%s' threw on message %#x: %s", taskName_, msgId, error.what());
    } catch (...) {
        if (std::current_exception() == nullptr) {
            throw;  // no C++ exception: the thread is being ended, by pthread_exit or a cancellation
        }
        Log(kLogError, "the handler of task '%s' threw on message %#x", taskName_, msgId);
    }
    running.Returned();
}

void HandlerCalls::TellIfSlow() {
    int64_t since = sinceNs_.load(std::memory_order_acquire);
    const uint32_t msgId = msgId_.load(std::memory_order_relaxed);
    if (since != 0 && MonotonicNs() - since > SlowNs() && sinceNs_.compare_exchange_strong(since, 0)) {
        Log(kLogError, "the handler of task '%s' has been running for %lld ms on message %#x", taskName_,
            static_cast<long long>((MonotonicNs() - since) / kNsPerMs), msgId);
    }
}

}  // namespace orvi_bus
