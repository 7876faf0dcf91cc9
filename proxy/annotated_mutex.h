// A mutex that the compiler's thread-safety analysis understands. It is never destroyed: threads may hold it
// while the process exits.
#ifndef ORVI_PROXY_ANNOTATED_MUTEX_H
#define ORVI_PROXY_ANNOTATED_MUTEX_H

#include <condition_variable>
#include <mutex>
#include <new>
#include <type_traits>

#if defined(__clang__)
#define ORVI_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ORVI_THREAD_ANNOTATION(x)
#endif
#define ORVI_CAPABILITY(x) ORVI_THREAD_ANNOTATION(capability(x))
#define ORVI_SCOPED_CAPABILITY ORVI_THREAD_ANNOTATION(scoped_lockable)
#define ORVI_GUARDED_BY(x) ORVI_THREAD_ANNOTATION(guarded_by(x))
#define ORVI_REQUIRES(x) ORVI_THREAD_ANNOTATION(requires_capability(x))
#define ORVI_ACQUIRE(...) ORVI_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ORVI_RELEASE(...) ORVI_THREAD_ANNOTATION(release_capability(__VA_ARGS__))

namespace OrviAiService {

class ORVI_CAPABILITY("mutex") Mutex {
 public:
    constexpr Mutex() noexcept = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ORVI_ACQUIRE() { mutex_.lock(); }
    void unlock() ORVI_RELEASE() { mutex_.unlock(); }

    // In a forked child: unlocked, whoever held it when the process forked.
    void Renew() noexcept { new (&mutex_) std::mutex; }

    // Waits for a notification with the mutex released; may wake early, so call it in a predicate loop.
    void Wait(std::condition_variable& condition) ORVI_REQUIRES(this) {
        std::unique_lock<std::mutex> lock(mutex_, std::adopt_lock);
        condition.wait(lock);
        (void)lock.release();
    }

 private:
    std::mutex mutex_;
};
static_assert(std::is_trivially_destructible_v<Mutex>);

class ORVI_SCOPED_CAPABILITY MutexLock {
 public:
    explicit MutexLock(Mutex& mutex) ORVI_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() ORVI_RELEASE() { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

 private:
    Mutex& mutex_;
};

}  // namespace OrviAiService

#endif
