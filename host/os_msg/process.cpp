#include "process.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>

#include "orvi_host_bus.h"
#include "receive/task.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/descriptor.h"
#include "wire/settings.h"
#include "wire/trace.h"

namespace orvi_bus {

namespace {

constexpr int kMostTries = 20;  // while others join, which takes a moment, before it is told

int RestoreProcess() {
    try {
        return Process::Get().Restore();
    } catch (const std::bad_alloc&) {
        Log(kLogError, "no memory to look after this process's files in the bus directory");
        return ORVI_BUS_E_SYSTEM;
    }
}

// Loops and senders of other threads go on meanwhile and are not disturbed.
__attribute__((destructor)) void RemoveEndpointsAtExit() {
    if (Process::Get().Self().Joined() && !InForkedChild()) {
        Process::Get().RemoveEndpoints();
    }
}

}  // namespace

Process& Process::Get() {
    static NeverDestroyed<Process> process;
    return process.Get();
}

int Process::AddTask(const char* taskName, OsMsgHandler handler) {
    MutexLock lock(mutex_);
    for (const std::shared_ptr<Task>& task : tasks_) {
        if (task->HasName(taskName)) {
            Log(kLogError, "task '%s' is registered already", taskName);
            return ORVI_BUS_E_STATE;
        }
    }
    tasks_.reserve(tasks_.size() + 1);  // before anybody can see the task
    auto task = std::make_shared<Task>(&self_, &budget_, taskName, handler, &RestoreProcess);
    int result = RestoreLocked();
    if (result == 0) {
        result = task->Open();
    }
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

int Process::Restore() {
    MutexLock lock(mutex_);
    return RestoreLocked();
}

int Process::RestoreLocked() {
    if (leaving_) {
        return 0;
    }
    bool lost = false;
    std::string why;
    const int result = PutBack(&lost, &why);
    restoreTries_ = result != 0 ? restoreTries_ + 1 : 0;
    if (result != 0 && !restoreFailed_ && (result != ORVI_BUS_E_TIMEOUT || restoreTries_ > kMostTries)) {
        restoreFailed_ = true;
        Log(kLogError, "the files of '%s' in %s were deleted and cannot be put back: %s", self_.Name(),
            self_.Where().path.c_str(), why.c_str());
    } else if (result == 0 && (lost || restoreFailed_)) {
        Log(kLogError, "files of '%s' in %s were deleted; they have been put back", self_.Name(),
            self_.Where().path.c_str());
    }
    restoreFailed_ = restoreFailed_ && result != 0;
    return result;
}

int Process::PutBack(bool* lost, std::string* why) {
    if (!self_.InPlace()) {
        const int result = self_.PutBack(why);
        if (result != 0) {
            return result;
        }
        *lost = true;
    }
    for (const std::shared_ptr<Task>& task : tasks_) {
        if (*lost || !task->InPlace()) {
            const int result = task->Reopen(why);
            if (result != 0) {
                return result;
            }
            *lost = true;
        }
    }
    return 0;
}

void Process::TellOfSlowHandlers() {
    MutexLock lock(mutex_);
    for (const std::shared_ptr<Task>& task : tasks_) {
        task->TellIfSlow();
    }
}

void Process::RemoveEndpoints() {
    MutexLock lock(mutex_);
    leaving_ = true;
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
