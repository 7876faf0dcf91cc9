// Tells when processes end, whatever ends them, and also when they have ended before they are watched.
#ifndef ORVI_SIM_SERVICE_PROCESS_WATCH_H
#define ORVI_SIM_SERVICE_PROCESS_WATCH_H

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "service/application.h"

namespace orvi_sim {

class ProcessWatch {
 public:
    // Called on a thread of the watch's own, without a lock, once for each process that was added,
    // and again when it throws.
    using OnEnd = std::function<void(const ApplicationId&)>;
    explicit ProcessWatch(OnEnd onEnd);  // throws std::system_error when the system has no descriptor left
    ~ProcessWatch();
    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;

    enum class Added { Watched, Ended, Unwatchable };
    Added Add(const ApplicationId& application, uint32_t pid);
    void Remove(const ApplicationId& application);

    void Stop();  // returns when onEnd does not run any more

 private:
    void Run();
    bool Tell(int descriptor);

    const OnEnd onEnd_;
    const int epoll_;
    const int stop_;  // eventfd

    std::mutex mutex_;                        // guards what follows, but for thread_
    std::map<ApplicationId, int> processes_;  // pidfds
    std::map<int, ApplicationId> byDescriptor_;
    bool stopped_ = false;

    std::thread thread_;  // starts with the first Add
};

}  // namespace orvi_sim

#endif
