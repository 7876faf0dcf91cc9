// The applications that the service has met: which have announced themselves, where each receives, whether it lives.
#ifndef ORVI_SIM_SERVICE_APPLICATIONS_H
#define ORVI_SIM_SERVICE_APPLICATIONS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "service/application.h"
#include "service/mail.h"
#include "service/process_watch.h"

namespace orvi_sim {

// An announcement and a first request travel to different tasks, so either may come first: an application is met with
// its first message, and what it is to be told waits until it has named its task, in the announcement or in a request.
//
// The caller has entered the stage for all functions but Stop and the two callbacks of the constructor.
class Applications {
 public:
    // `onEnded` is called, not on the stage, when an application's process has ended or its task is not there any more.
    // The owner enters the stage and calls Forget.
    using OnEnded = std::function<void(const ApplicationId&, const char* why)>;
    explicit Applications(const OnEnded& onEnded);

    Mail& GetMail() { return mail_; }

    // A message came from it. It stays unknown when it lives no more, or there are too many.
    void Meet(const ApplicationId& application, uint32_t pid);

    // What was said by one that lives no more is heard all the same: it is known until the caller calls Forget. False when
    // it is known already, or there are too many.
    bool MeetEnded(const ApplicationId& application);

    // It names the task at which it receives. After a goodbye only an announcement counts.
    void LearnTask(const ApplicationId& application, const std::string& task);

    // True when it had not announced itself before.
    bool Announce(const ApplicationId& application, const std::string& task);

    // What is queued is still sent. False when it has not announced itself.
    bool Leave(const ApplicationId& application);

    // Its process has ended: what is queued is dropped. False when it is not known any more.
    bool Forget(const ApplicationId& application, const char* why);
    // The process of that name that is known, in whichever life; without a name when there is none.
    ApplicationId OfProcess(const std::string& process) const;

    bool HasTask(const ApplicationId& application) const;  // and has not left

    struct Known {
        std::string task;  // empty: not known yet
        bool isAnnounced = false;
        bool hasLeft = false;  // and has not announced itself again
    };
    const std::map<ApplicationId, Known>& List() const { return known_; }
    size_t AnnouncedCount() const;

    void Stop();

 private:
    static constexpr size_t MOST = 4096;

    std::map<ApplicationId, Known> known_;
    Mail mail_;
    ProcessWatch watch_;
};

}  // namespace orvi_sim

#endif
