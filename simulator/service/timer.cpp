#include "service/timer.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "log.h"

namespace orvi_sim {

using Machine = std::chrono::steady_clock;

Timer::Time Timer::Reading() const {
    return pinned_ ? *pinned_ : clock_.At(Machine::now());
}

Timer::Time Timer::Told() const {
    return latest_ = std::max(latest_, Reading());
}

Timer::Time Timer::Now() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Told();
}

void Timer::Set(Time time) {
    const std::lock_guard<std::mutex> lock(mutex_);
    clock_.Set(time, Machine::now());
    latest_ = time;
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
    Add(Told() + delay, {std::move(work), false});
}

void Timer::StandingAt(Time time, Work work) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Add(time, {std::move(work), true});
}

void Timer::SetPace(uint32_t scale, bool isJumping) {
    clock_.Set(Reading(), Machine::now());
    clock_.SetScale(scale, Machine::now());
    isJumping_ = isJumping;
    target_.reset();
    changed_.notify_all();
}

void Timer::SetScale(uint32_t scale) {
    const std::lock_guard<std::mutex> lock(mutex_);
    SetPace(scale, false);
}

void Timer::SetJumping() {
    const std::lock_guard<std::mutex> lock(mutex_);
    SetPace(0, true);
}

bool Timer::Step(Time step) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (stopped_) {
        return false;
    }
    Start();
    SetPace(0, false);
    target_ = clock_.At(Machine::now()) + step;
    const uint64_t number = ++steps_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return stopped_ || number != steps_ || !target_; });
    return !stopped_ && number == steps_;
}

std::string Timer::Pace() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return isJumping_ ? "max" : clock_.Flows() ? std::to_string(clock_.Scale()) : "stands";
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
    pinned_ = std::max(due, latest_);
    lock.unlock();
    try {
        entry.work();
    } catch (const std::exception& exception) {
        Log("what was due is not done: %s", exception.what());
    }
    lock.lock();
    if (entry.standing || !clock_.Flows()) {
        clock_.Set(*pinned_, Machine::now());
    }
    pinned_.reset();
}

void Timer::Settle(std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    settle_();
    lock.lock();
}

void Timer::Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopped_) {
        const bool isEmpty = work_.empty();
        const Time due = isEmpty ? Time(0) : work_.begin()->first;
        const bool isInStep = !isEmpty && target_ && due <= *target_;
        if (!isEmpty && (isJumping_ || isInStep)) {
            Settle(lock);
            // What has come meanwhile may be due before what was first.
            if (!stopped_ && !work_.empty() && (isJumping_ || (target_ && work_.begin()->first <= *target_))) {
                RunFirst(lock);
            }
        } else if (target_) {
            Settle(lock);
            if (target_ && (work_.empty() || work_.begin()->first > *target_)) {
                clock_.Set(*target_, Machine::now());
                target_.reset();
                changed_.notify_all();
            }
        } else if (!isEmpty && due <= clock_.At(Machine::now())) {
            RunFirst(lock);
        } else if (!isEmpty && clock_.Flows()) {
            changed_.wait_until(lock, clock_.When(due));
        } else {
            changed_.wait(lock);
        }
    }
}

}  // namespace orvi_sim
