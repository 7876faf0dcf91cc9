#include "service/applications.h"

#include <algorithm>
#include <utility>

#include "log.h"
#include "service/bus_block.h"
#include "service/request.h"

namespace orvi_sim {
namespace {

// For a process that cannot be watched from here. The bus reports transitions only, and a subscription cannot be taken
// back.
void WatchByBus(const std::string& process) {
    OsMsgSubscribeEntry entry{};
    entry.eventId = OS_MSG_PROC_EXITRESULT;
    SetNameField(entry.procName, process);
    SetNameField(entry.procNameAgain, process);
    SetNameField(entry.taskName, TASK_MASTER);
    if (const int result = OsMsgSubscribeEvent(&entry, 1); result != 0) {
        // A dead one is then noticed at the next send to it.
        Log("the exit of %s cannot be watched: the bus says %d", process.c_str(), result);
    }
}

}  // namespace

Applications::Applications(const OnEnded& onEnded)
    : mail_([onEnded](const ApplicationId& application) { onEnded(application, "is gone: the bus does not know it"); }),
      watch_([onEnded](const ApplicationId& application) { onEnded(application, "is gone: its process has exited"); }) {
}

void Applications::Meet(const ApplicationId& application, uint32_t pid) {
    if (!MeetEnded(application)) {
        return;
    }
    try {
        const ProcessWatch::Added added = watch_.Add(application, pid);
        if (added == ProcessWatch::Added::Unwatchable) {
            WatchByBus(application.process);
        }
        if (added != ProcessWatch::Added::Ended) {
            return;
        }
    } catch (...) {  // no memory, or no thread: it is met anew with its next message
        mail_.Close(application);
        known_.erase(application);
        throw;
    }
    mail_.Close(application);
    known_.erase(application);
}

bool Applications::MeetEnded(const ApplicationId& application) {
    if (known_.count(application) != 0 || known_.size() >= MOST) {
        return false;
    }
    known_.emplace(application, Known{});
    try {
        mail_.Open(application);
    } catch (...) {
        known_.erase(application);
        throw;
    }
    return true;
}

void Applications::LearnTask(const ApplicationId& application, const std::string& task) {
    const auto found = known_.find(application);
    if (found != known_.end() && found->second.task.empty() && !found->second.hasLeft) {
        found->second.task = task;
        mail_.Deliver(application, task);
    }
}

bool Applications::Announce(const ApplicationId& application, const std::string& task) {
    const auto found = known_.find(application);
    if (found == known_.end()) {
        return false;
    }
    Known& known = found->second;
    const bool isNew = !known.isAnnounced;
    known = {task, true, false};
    mail_.Deliver(application, task);
    if (isNew) {
        Log("client %s/%s announced itself, %zu now", application.process.c_str(), task.c_str(), AnnouncedCount());
    } else {
        Log("client %s/%s announced itself again", application.process.c_str(), task.c_str());
    }
    return isNew;
}

bool Applications::Leave(const ApplicationId& application) {
    const auto found = known_.find(application);
    if (found == known_.end() || !found->second.isAnnounced) {
        return false;
    }
    Log("client %s/%s has left", application.process.c_str(), found->second.task.c_str());
    found->second = {"", false, true};
    mail_.Withhold(application);
    return true;
}

bool Applications::Forget(const ApplicationId& application, const char* why) {
    const auto found = known_.find(application);
    if (found == known_.end()) {
        return false;
    }
    if (found->second.isAnnounced) {
        Log("client %s/%s %s", application.process.c_str(), found->second.task.c_str(), why);
    } else {
        LogVerbose("%s %s", application.process.c_str(), why);
    }
    known_.erase(found);
    watch_.Remove(application);
    mail_.Close(application);
    return true;
}

ApplicationId Applications::OfProcess(const std::string& process) const {
    const auto found = known_.lower_bound(ApplicationId{process, 0});
    return found != known_.end() && found->first.process == process ? found->first : ApplicationId{};
}

bool Applications::HasTask(const ApplicationId& application) const {
    const auto found = known_.find(application);
    return found != known_.end() && !found->second.task.empty();
}

size_t Applications::AnnouncedCount() const {
    return static_cast<size_t>(
        std::count_if(known_.begin(), known_.end(), [](const auto& entry) { return entry.second.isAnnounced; }));
}

void Applications::Stop() {
    watch_.Stop();
    mail_.Stop();
}

}  // namespace orvi_sim
