// The calling process as a member of the bus: its name, its presence and its tasks.
#ifndef ORVI_HOST_OS_MSG_PROCESS_H
#define ORVI_HOST_OS_MSG_PROCESS_H

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "membership/identity.h"
#include "orvi_os_msg.h"
#include "wire/mutex.h"

namespace orvi_bus {

class Task;

class Process {
 public:
    // Never destroyed: loops and senders may be inside the bus while the process exits.
    static Process& Get();

    // Each returns 0 or ORVI_BUS_E_..., an error that is not the caller's plain answer after one log line.
    int AddTask(const char* taskName, OsMsgHandler handler);
    int RemoveTask(const char* taskName);

    Identity& Self() { return self_; }
    // The process ends: its endpoints go. What a killed process leaves is removed by the next one that joins.
    void RemoveEndpoints();
    std::shared_ptr<Task> FindTask(const char* taskName);

 private:
    Process() = default;

    Identity self_;
    Mutex mutex_;
    std::vector<std::shared_ptr<Task>> tasks_ ORVI_BUS_GUARDED_BY(mutex_);
};

}  // namespace orvi_bus

#endif
