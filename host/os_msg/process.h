// The calling process as a member of the bus: its name, its presence and its tasks.
#ifndef ORVI_HOST_OS_MSG_PROCESS_H
#define ORVI_HOST_OS_MSG_PROCESS_H

#include <memory>
#include <string>
#include <vector>

#include "membership/identity.h"
#include "orvi_os_msg.h"
#include "receive/budget.h"
#include "wire/mutex.h"
#include "wire/never_destroyed.h"

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
    // Puts back what was deleted of the process's files in the bus directory, or the directory itself. 0 when they are
    // in place, else an error, after one log line for all until they are.
    int Restore();
    // After a send that did not go on: tells of handlers of this process that have been running for too long.
    void TellOfSlowHandlers();
    // The process ends: its endpoints go. What a killed process leaves is removed by the next one that joins.
    void RemoveEndpoints();
    std::shared_ptr<Task> FindTask(const char* taskName);

 private:
    friend class NeverDestroyed<Process>;
    Process() = default;
    int RestoreLocked() ORVI_BUS_REQUIRES(mutex_);
    int PutBack(bool* lost, std::string* why) ORVI_BUS_REQUIRES(mutex_);

    Identity self_;
    Budget budget_;
    Mutex mutex_;
    bool leaving_ ORVI_BUS_GUARDED_BY(mutex_) = false;
    int restoreTries_ ORVI_BUS_GUARDED_BY(mutex_) = 0;        // that failed one after the other
    bool restoreFailed_ ORVI_BUS_GUARDED_BY(mutex_) = false;  // and that has been told
    std::vector<std::shared_ptr<Task>> tasks_ ORVI_BUS_GUARDED_BY(mutex_);
};

}  // namespace orvi_bus

#endif
