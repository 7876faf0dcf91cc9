// Work for later, on one thread of its own.
#ifndef ORVI_SIM_SERVICE_TIMER_H
#define ORVI_SIM_SERVICE_TIMER_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace orvi_sim {

class Timer {
 public:
    ~Timer() { Stop(); }

    // Runs `work` on the timer's thread, which starts with the first call. After Stop: does nothing.
    void After(std::chrono::milliseconds delay, std::function<void()> work);

    // Drops what has not run yet and returns when nothing runs any more.
    void Stop();

 private:
    void Run();

    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    std::multimap<std::chrono::steady_clock::time_point, std::function<void()>> work_;
    bool stopped_ = false;
    std::thread thread_;
};

}  // namespace orvi_sim

#endif
