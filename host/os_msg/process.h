// The calling process as a member of the bus: its name, its presence and its tasks.
#ifndef ORVI_HOST_OS_MSG_PROCESS_H
#define ORVI_HOST_OS_MSG_PROCESS_H

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "membership/directory.h"
#include "membership/presence.h"
#include "orvi_os_msg.h"
#include "wire/mutex.h"

namespace orvi_bus {

class Task;

class Process {
 public:
    // Never destroyed: loops and senders may be inside the bus while the process exits.
    static Process& Get();

    // Each returns 0 or ORVI_BUS_E_..., an error that is not the caller's plain answer after one log line.
    int Join(const char* name);
    int MarkStarted();
    int AddTask(const char* taskName, OsMsgHandler handler);
    int RemoveTask(const char* taskName);

    bool Joined() const { return joined_.load(std::memory_order_acquire); }
    bool Started() const { return started_.load(std::memory_order_acquire); }
    // The process ends: its endpoints go. What a killed process leaves is removed by the next one that joins.
    void RemoveEndpoints();
    std::shared_ptr<Task> FindTask(const char* taskName);

    // Constant once Joined.
    const char* Name() const { return name_; }
    const Directory& BusDirectory() const { return directory_; }
    uint64_t Incarnation() const { return incarnation_; }

 private:
    Process() = default;

    Mutex mutex_;
    std::atomic<bool> joined_{false};
    std::atomic<bool> started_{false};
    char name_[OS_MSG_NAME_SIZE] = {};
    Directory directory_;
    uint64_t incarnation_ = 0;
    OwnPresence presence_ ORVI_BUS_GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<Task>> tasks_ ORVI_BUS_GUARDED_BY(mutex_);
};

}  // namespace orvi_bus

#endif
