// The calling process on the bus: constant once it has joined.
#ifndef ORVI_HOST_OS_MSG_IDENTITY_H
#define ORVI_HOST_OS_MSG_IDENTITY_H

#include <atomic>
#include <cstdint>

#include "membership/directory.h"
#include "membership/presence.h"
#include "orvi_os_msg.h"
#include "wire/mutex.h"

namespace orvi_bus {

class Identity {
 public:
    int Join(const char* name);
    int MarkStarted();
    bool Joined() const { return joined_.load(std::memory_order_acquire); }
    bool Started() const { return started_.load(std::memory_order_acquire); }
    const char* Name() const { return name_; }
    const Directory& Where() const { return directory_; }
    uint64_t Number() const { return number_; }

 private:
    Mutex mutex_;
    std::atomic<bool> joined_{false};
    std::atomic<bool> started_{false};
    char name_[OS_MSG_NAME_SIZE] = {};
    Directory directory_;
    uint64_t number_ = 0;
    OwnPresence presence_ ORVI_BUS_GUARDED_BY(mutex_);
};

}  // namespace orvi_bus

#endif
