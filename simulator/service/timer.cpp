#include "service/timer.h"

#include <utility>

namespace orvi_sim {

void Timer::After(std::chrono::milliseconds delay, std::function<void()> work) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) {
        return;
    }
    if (!thread_.joinable()) {
        thread_ = std::thread(&Timer::Run, this);
    }
    work_.emplace(std::chrono::steady_clock::now() + delay, std::move(work));
    changed_.notify_all();
}

void Timer::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
        work_.clear();
        changed_.notify_all();
    }
    if (thread_.joinable()) {  // no thread is started once stopped_ is set
        thread_.join();
    }
}

void Timer::Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopped_) {
        if (work_.empty()) {
            changed_.wait(lock);
        } else if (const auto due = work_.begin()->first; due > std::chrono::steady_clock::now()) {
            changed_.wait_until(lock, due);
        } else {
            const std::function<void()> work = std::move(work_.begin()->second);
            work_.erase(work_.begin());
            lock.unlock();
            work();
            lock.lock();
        }
    }
}

}  // namespace orvi_sim
