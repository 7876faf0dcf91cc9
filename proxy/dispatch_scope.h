// Tells whether the calling thread is handling a message, that is whether it may be inside a callback. The handler
// may run on any thread, so the thread is asked rather than compared with the message thread.
#ifndef ORVI_PROXY_DISPATCH_SCOPE_H
#define ORVI_PROXY_DISPATCH_SCOPE_H

namespace OrviAiService {

class DispatchScope {
 public:
    DispatchScope() noexcept { ++depth_; }
    ~DispatchScope() { --depth_; }
    DispatchScope(const DispatchScope&) = delete;
    DispatchScope& operator=(const DispatchScope&) = delete;

    static bool Active() noexcept { return depth_ != 0; }

 private:
    static inline thread_local unsigned depth_ = 0;
};

}  // namespace OrviAiService

#endif
