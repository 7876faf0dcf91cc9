#include "service/timer.h"

#include <utility>

namespace orvi_sim {

using Machine = std::chrono::steady_clock;

Timer::Time Timer::Reading() const {
    return pinned_ ? *pinned_ : clock_.At(Machine::now());
}

Timer::Time Timer::Now() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Reading();
}

void Timer::Set(Time time) {
    const std::lock_guard<std::mutex> lock(mutex_);
    clock_.Set(time, Machine::now());
}

void Timer::Start() {
    if (!thread_.joinable()) {
        thread_ = std::thread(&Timer::Run, this);
        threadId_ = thread_.get_id();
    }
}

void Timer::Add(Time due, Entry entry) {
    if (stopped_) {
        return;
    }
    Start();
    work_.emplace(due, std::move(entry));
    changed_.notify_all();
}

void Timer::After(Time delay, Work work) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Add(Reading() + delay, {std::move(work), false});
}

void Timer::StandingAt(Time time, Work work) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Add(time, {std::move(work), true});
}

void Timer::SetScale(uint32_t scale) {
    const std::lock_guard<std::mutex> lock(mutex_);
    clock_.Set(Reading(), Machine::now());
    clock_.SetScale(scale, Machine::now());
    settle_ = nullptr;
    target_.reset();
    changed_.notify_all();
}

void Timer::SetJumping(Work settle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    clock_.Set(Reading(), Machine::now());
    clock_.SetScale(0, Machine::now());
    settle_ = std::move(settle);
    target_.reset();
    changed_.notify_all();
}

bool Timer::Step(Time step) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (stopped_) {
        return false;
    }
    Start();
    clock_.Set(Reading(), Machine::now());
    clock_.SetScale(0, Machine::now());
    settle_ = nullptr;
    target_ = clock_.At(Machine::now()) + step;
    const uint64_t number = ++steps_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return stopped_ || number != steps_ || !target_; });
    return !stopped_ && number == steps_;
}

std::string Timer::Pace() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return settle_ ? "max" : clock_.Flows() ? std::to_string(clock_.Scale()) : "stands";
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

void Timer::RunFirst(std::unique_lock<std::mutex>& lock) {
    const Time due = work_.begin()->first;
    const Entry entry = std::move(work_.begin()->second);
    work_.erase(work_.begin());
    pinned_ = due;
    lock.unlock();
    entry.work();
    lock.lock();
    if (entry.standing || !clock_.Flows()) {
        clock_.Set(*pinned_, Machine::now());
    }
    pinned_.reset();
}

void Timer::Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopped_) {
        const bool isEmpty = work_.empty();
        const Time due = isEmpty ? Time(0) : work_.begin()->first;
        if (settle_ && !isEmpty) {
            const Work settle = settle_;
            lock.unlock();
            settle();
            lock.lock();
            if (!stopped_ && settle_ && !work_.empty()) {  // its effects may have come before what was first
                RunFirst(lock);
            }
        } else if (!isEmpty && clock_.Flows() && due > clock_.At(Machine::now())) {
            changed_.wait_until(lock, clock_.When(due));
        } else if (!isEmpty && (clock_.Flows() || due <= clock_.At(Machine::now()) || (target_ && due <= *target_))) {
            RunFirst(lock);
        } else if (target_) {
            clock_.Set(*target_, Machine::now());
            target_.reset();
            changed_.notify_all();
        } else {
            changed_.wait(lock);
        }
    }
}

}  // namespace orvi_sim
