// Where everything happens that the service shows: one thing at a time, in one order. Requests, timers, directions and
// the comings and goings of applications enter the stage; what features tell leaves from here.
#ifndef ORVI_SIM_SERVICE_STAGE_H
#define ORVI_SIM_SERVICE_STAGE_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "payload.h"
#include "service/applications.h"
#include "service/faults.h"
#include "service/onlooker.h"
#include "service/play_log.h"
#include "service/timer.h"

namespace orvi_sim {

class Stage {
 public:
    Stage();
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    // They outlive the stage's last use. Before anything enters.
    void SetListeners(std::vector<ApplicationListener*> listeners) { listeners_ = std::move(listeners); }

    // Enters; whoever holds the lock is on the stage. Must not be held while waiting for anything.
    using Lock = std::unique_lock<std::mutex>;
    Lock Enter() { return Lock(mutex_); }

    // --- For features, on the stage ---

    // An event for one application, or for all that are there; the sender of the request that is being handled is one of
    // them in any case. None of these waits.
    void Tell(const ApplicationId& application, uint32_t id, Payload payload);
    void TellAll(uint32_t id, Payload payload);

    // The room's time, since the start.
    std::chrono::milliseconds SinceStart() const;

    // The time of day in the room, in seconds since 1970, and what it is from now on.
    uint32_t TimeOfDay() const;
    void SetTimeOfDay(uint32_t time) { timeAtStart_ = time - (TimeOfDay() - timeAtStart_); }
    void SetTimeAtStart(uint32_t time) { timeAtStart_ = time; }

    // By the room's time. The work enters the stage.
    void After(std::chrono::milliseconds delay, std::function<void()> work);

    Applications& GetApplications() { return applications_; }
    PlayLog& GetPlayLog() { return playLog_; }

    // One more beside the play log, or null for none any more. It outlives the stage's last use, or takes itself away.
    void SetOnlooker(Onlooker* onlooker) { onlookers_[1] = onlooker; }
    template <class... Parameters, class... Arguments>
    void Show(void (Onlooker::*what)(Onlooker::Time, Parameters...), const Arguments&... arguments) {
        const Onlooker::Time now = SinceStart();
        for (Onlooker* onlooker : onlookers_) {
            if (onlooker != nullptr) {
                (onlooker->*what)(now, arguments...);
            }
        }
    }

    // An application has announced itself, has left: the features are told.
    void Announce(const ApplicationId& application, const std::string& task);
    bool Leave(const ApplicationId& application);
    void Forget(const ApplicationId& application, const char* why);

    // --- For the service and the directions, on the stage ---

    // A request is being handled while it lives: what is told meanwhile leaves with End, behind the reply; when that is
    // not reached, with the next request's.
    class InRequest {
     public:
        InRequest(Stage& stage, const ApplicationId& sender) : stage_(stage) { stage_.requester_ = sender; }
        ~InRequest() { stage_.requester_.process.clear(); }
        InRequest(const InRequest&) = delete;
        InRequest& operator=(const InRequest&) = delete;
        void End() const { stage_.EndRequest(); }

     private:
        Stage& stage_;
    };

    // The number of applications that it was queued for; of one process when one is named.
    size_t Push(const std::string* process, uint32_t id, Payload payload);

    Faults& EventFaults() { return eventFaults_; }
    size_t ReleaseAllEvents();
    bool HoldsBackEvents(uint32_t id) const;
    size_t ReleaseEvents(uint32_t id);  // those that are held back

    // Waits, off the stage in the meantime. False at the deadline or after Stop.
    bool AwaitAnnounced(Lock& lock, size_t count, std::chrono::steady_clock::time_point deadline);

    // --- Off the stage ---

    // How the room's time goes. Where there is no pause between two events it waits until the first has been taken.
    Timer& GetTimer() { return timer_; }

    // No timer runs any more, nobody is told anything, every wait ends.
    void Stop();

 private:
    void EndRequest();
    struct Event {
        ApplicationId application;
        uint32_t id;
        SharedPayload payload;
    };

    void SendBehindReply(Event event);
    void Send(Event event);
    bool Post(const Event& event);

    uint32_t timeAtStart_ = static_cast<uint32_t>(std::time(nullptr));
    std::mutex mutex_;  // the stage; guards what follows
    std::condition_variable changed_;
    std::vector<ApplicationListener*> listeners_;
    Faults eventFaults_;
    std::vector<Event> heldEvents_;
    std::vector<Event> toldInRequest_;
    ApplicationId requester_;  // without a name between requests
    bool stopped_ = false;
    PlayLog playLog_;
    Onlooker* onlookers_[2] = {&playLog_, nullptr};

    Timer timer_;  // has its own lock
    Applications applications_;
};

}  // namespace orvi_sim

#endif
