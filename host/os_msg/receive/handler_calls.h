// A task's handler: called for one message at a time, and told of when it takes too long.
#ifndef ORVI_HOST_OS_MSG_HANDLER_CALLS_H
#define ORVI_HOST_OS_MSG_HANDLER_CALLS_H

#include <atomic>
#include <cstdint>

#include "orvi_os_msg.h"
#include "receive/loop_right.h"

namespace orvi_bus {

class HandlerCalls {
 public:
    HandlerCalls(const char* taskName, OsMsgHandler handler) : taskName_(taskName), handler_(handler) {}

    // What the handler throws ends here, with one line; a thread that it ends is unwound.
    void Call(TagMsgBlock* block) ORVI_BUS_REQUIRES(kLoop);

    // Any thread: one line for a call that has been running for longer than ORVI_BUS_SLOW_MS, once for each call. For
    // those who notice that nothing moves; the loop itself tells when the handler has returned.
    void TellIfSlow();

 private:
    class Running;

    const char* const taskName_;
    const OsMsgHandler handler_;
    std::atomic<int64_t> sinceNs_{0};  // when the running call began, 0 while none does or it has been told
    std::atomic<uint32_t> msgId_{0};
};

}  // namespace orvi_bus

#endif
