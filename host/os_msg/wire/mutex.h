// A mutex that clang's thread-safety analysis understands.
#ifndef ORVI_HOST_OS_MSG_MUTEX_H
#define ORVI_HOST_OS_MSG_MUTEX_H

#include <mutex>

#if defined(__clang__)
#define ORVI_BUS_TSA(x) __attribute__((x))
#else
#define ORVI_BUS_TSA(x)
#endif
#define ORVI_BUS_GUARDED_BY(m) ORVI_BUS_TSA(guarded_by(m))
#define ORVI_BUS_REQUIRES(m) ORVI_BUS_TSA(requires_capability(m))

namespace orvi_bus {

class ORVI_BUS_TSA(capability("mutex")) Mutex {
 public:
    void Lock() ORVI_BUS_TSA(acquire_capability()) { mutex_.lock(); }
    void Unlock() ORVI_BUS_TSA(release_capability()) { mutex_.unlock(); }

 private:
    std::mutex mutex_;
};

class ORVI_BUS_TSA(scoped_lockable) MutexLock {
 public:
    explicit MutexLock(Mutex& mutex) ORVI_BUS_TSA(acquire_capability(mutex)) : mutex_(mutex) { mutex_.Lock(); }
    ~MutexLock() ORVI_BUS_TSA(release_capability()) { mutex_.Unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

 private:
    Mutex& mutex_;
};

}  // namespace orvi_bus

#endif
