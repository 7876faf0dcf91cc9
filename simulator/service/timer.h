// Work for later, on one thread of its own, by the simulated room's clock.
#ifndef ORVI_SIM_SERVICE_TIMER_H
#define ORVI_SIM_SERVICE_TIMER_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "service/clock.h"

namespace orvi_sim {

// Work that is due at the same time is done in the order in which it was asked for. While a piece of work is done, it is
// the time at which it was due, however late the machine is: what it asks for in turn follows at exact distances, so a
// course of events is the same at every pace. Only when somebody has been told a later time already it is that: the time
// never goes back.
class Timer {
 public:
    using Time = Clock::Time;
    using Work = std::function<void()>;

    // `settle` waits until what has been done so far has had its effect; it is called without a lock, between pieces of
    // work where there is no time between them.
    explicit Timer(Work settle) : settle_(std::move(settle)) {}
    ~Timer() { Stop(); }

    Time Now() const;
    void Set(Time time);  // it goes on from there

    // Runs `work` on the timer's thread, which starts with the first call. After Stop: does nothing.
    void After(Time delay, Work work);

    // The same at a point of time; and as the room's clock stands meanwhile, the work may wait for something without the
    // time running away.
    void StandingAt(Time time, Work work);

    // How the time goes on: so many times as fast as the machine's, 1 to Clock::FASTEST, or 0, it stands; or from one piece
    // of work to the next without any pause.
    void SetScale(uint32_t scale);
    void SetJumping();

    // The time stands from now on but for this step; returns when the work that is due in it has been done. False after
    // Stop, or when another step has been asked for meanwhile. Not from inside work, which would wait for itself.
    bool Step(Time step);

    // "1", "60", "max", "stands"
    std::string Pace() const;

    bool IsOwnThread() const { return std::this_thread::get_id() == threadId_; }

    // Drops what has not run yet and returns when nothing runs any more.
    void Stop();

 private:
    struct Entry {
        Work work;
        bool standing;  // the time does not go on while it runs
    };

    void Add(Time due, Entry entry);
    void Start();
    void Run();
    void RunFirst(std::unique_lock<std::mutex>& lock);
    Time Reading() const;
    Time Told() const;
    void SetPace(uint32_t scale, bool isJumping);
    void Settle(std::unique_lock<std::mutex>& lock);

    const Work settle_;
    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    Clock clock_{std::chrono::steady_clock::now()};
    std::multimap<Time, Entry> work_;
    std::optional<Time> pinned_;  // while work runs
    std::optional<Time> target_;  // of the step under way
    uint64_t steps_ = 0;
    bool isJumping_ = false;
    mutable Time latest_{0};  // that somebody has been told
    bool stopped_ = false;
    std::thread thread_;
    std::atomic<std::thread::id> threadId_{};
};

}  // namespace orvi_sim

#endif
