#include "process.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "orvi_host_bus.h"
#include "receive/task.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/descriptor.h"
#include "wire/settings.h"
#include "wire/trace.h"

namespace orvi_bus {

namespace {

// Loops and senders of other threads go on meanwhile and are not disturbed.
__attribute__((destructor)) void RemoveEndpointsAtExit() {
    if (Process::Get().Self().Joined() && !InForkedChild()) {
        Process::Get().RemoveEndpoints();
    }
}

}  // namespace

Process& Process::Get() {
    static Process* process = new Process;
    return *process;
}

int Process::AddTask(const char* taskName, OsMsgHandler handler) {
    MutexLock lock(mutex_);
    for (const std::shared_ptr<Task>& task : tasks_) {
        if (task->HasName(taskName)) {
            Log(kLogError, "task '%s' is registered already", taskName);
            return ORVI_BUS_E_STATE;
        }
    }
    auto task = std::make_shared<Task>(taskName, handler);
    const int result = task->Open();
    if (result == 0) {
        tasks_.push_back(std::move(task));
    }
    return result;
}

int Process::RemoveTask(const char* taskName) {
    std::shared_ptr<Task> task;
    {
        MutexLock lock(mutex_);
        const auto found = std::find_if(tasks_.begin(), tasks_.end(),
                                        [taskName](const auto& candidate) { return candidate->HasName(taskName); });
        if (found == tasks_.end()) {
            return ORVI_BUS_E_STATE;
        }
        task = *found;
        tasks_.erase(found);
        task->RemoveEndpoint();  // under the lock: a new task of that name makes its own
    }
    task->TakeOff();
    return 0;
}

void Process::RemoveEndpoints() {
    MutexLock lock(mutex_);
    for (const std::shared_ptr<Task>& task : tasks_) {
        task->RemoveEndpoint();
    }
}

std::shared_ptr<Task> Process::FindTask(const char* taskName) {
    MutexLock lock(mutex_);
    for (const std::shared_ptr<Task>& task : tasks_) {
        if (task->HasName(taskName)) {
            return task;
        }
    }
    return nullptr;
}

}  // namespace orvi_bus
