#include "service/stage.h"

#include <algorithm>
#include <utility>

#include "log.h"
#include "service/events.h"

namespace orvi_sim {
namespace {

constexpr size_t MOST_HELD_EVENTS = 1024;
constexpr std::chrono::seconds MOST_PATIENCE{1};  // with applications that do not take what they are told

}  // namespace

Stage::Stage()
    : timer_([this] { applications_.GetMail().Settle(MOST_PATIENCE); }),
      applications_([this](const ApplicationId& application, const char* why) {
          const Lock lock = Enter();
          Forget(application, why);
      }) {}

Stage::~Stage() {
    Stop();
}

void Stage::Tell(const ApplicationId& application, uint32_t id, Payload payload) {
    SendBehindReply({application, id, std::make_shared<const Payload>(std::move(payload))});
}

void Stage::TellAll(uint32_t id, Payload payload) {
    const auto shared = std::make_shared<const Payload>(std::move(payload));
    for (const auto& [application, known] : applications_.List()) {
        if (!known.hasLeft || application == requester_) {
            SendBehindReply({application, id, shared});
        }
    }
}

void Stage::EndRequest() {
    requester_ = {};
    for (Event& event : std::exchange(toldInRequest_, {})) {
        Send(std::move(event));
    }
}

void Stage::SendBehindReply(Event event) {
    if (requester_.process.empty()) {
        Send(std::move(event));
    } else {
        toldInRequest_.push_back(std::move(event));
    }
}

// The one place where an event's fault is decided.
void Stage::Send(Event event) {
    const Fault fault = eventFaults_.Take(event.id, event.application.process);
    if (fault.lengthen != 0) {
        Payload payload = *event.payload;
        fault.Resize(payload);
        event.payload = std::make_shared<const Payload>(std::move(payload));
    }
    if (fault.isLost) {
        LogVerbose("%#x \"%s\" is lost, as told", event.id, EventName(event.id));
        Show(&Onlooker::Told, event.application, event.id, event.payload, "lost");
        return;
    }
    for (int times = fault.isDouble ? 2 : 1; times > 0; --times) {
        if (fault.isHeld) {
            if (heldEvents_.size() >= MOST_HELD_EVENTS) {
                Log("%#x \"%s\" dropped: %zu are held back already", event.id, EventName(event.id), heldEvents_.size());
                return;
            }
            heldEvents_.push_back(event);
        } else if (fault.delay.count() != 0) {
            After(fault.delay, [this, event] { (void)Post(event); });
        } else {
            (void)Post(event);
        }
    }
}

bool Stage::Post(const Event& event) {
    Show(&Onlooker::Told, event.application, event.id, event.payload, "");
    return applications_.GetMail().Post(event.application, event.id, event.payload);
}

size_t Stage::ReleaseEvents(uint32_t id) {
    const auto firstOut = std::stable_partition(heldEvents_.begin(), heldEvents_.end(),
                                                [id](const Event& event) { return event.id != id; });
    const std::vector<Event> released(firstOut, heldEvents_.end());
    heldEvents_.erase(firstOut, heldEvents_.end());
    for (const Event& event : released) {
        (void)Post(event);
    }
    return released.size();
}

size_t Stage::ReleaseAllEvents() {
    const std::vector<Event> released = std::exchange(heldEvents_, {});
    for (const Event& event : released) {
        (void)Post(event);
    }
    return released.size();
}

bool Stage::HoldsBackEvents(uint32_t id) const {
    return std::any_of(heldEvents_.begin(), heldEvents_.end(), [id](const Event& event) { return event.id == id; });
}

std::chrono::milliseconds Stage::SinceStart() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(timer_.Now());
}

uint32_t Stage::TimeOfDay() const {
    return timeAtStart_ + static_cast<uint32_t>(SinceStart().count() / 1000);
}

size_t Stage::Push(const std::string* process, uint32_t id, Payload payload) {
    const auto shared = std::make_shared<const Payload>(std::move(payload));
    size_t queued = 0;
    for (const auto& [application, known] : applications_.List()) {
        if (known.isAnnounced && (process == nullptr || application.process == *process)) {
            queued += Post({application, id, shared}) ? 1 : 0;
        }
    }
    return queued;
}

void Stage::After(std::chrono::milliseconds delay, std::function<void()> work) {
    timer_.After(delay, [this, work = std::move(work)] {
        const Lock lock = Enter();
        if (!stopped_) {
            work();
        }
    });
}

void Stage::Announce(const ApplicationId& application, const std::string& task) {
    if (applications_.Announce(application, task)) {
        for (ApplicationListener* listener : listeners_) {
            listener->OnCame(application);
        }
    }
    changed_.notify_all();
}

bool Stage::Leave(const ApplicationId& application) {
    if (!applications_.Leave(application)) {
        return false;
    }
    for (ApplicationListener* listener : listeners_) {
        listener->OnGone(application);
    }
    changed_.notify_all();
    return true;
}

void Stage::Forget(const ApplicationId& application, const char* why) {
    if (stopped_ || !applications_.Forget(application, why)) {
        return;
    }
    for (ApplicationListener* listener : listeners_) {
        listener->OnGone(application);
    }
    changed_.notify_all();
}

bool Stage::AwaitAnnounced(Lock& lock, size_t count, std::chrono::steady_clock::time_point deadline) {
    changed_.wait_until(lock, deadline, [&] { return stopped_ || applications_.AnnouncedCount() == count; });
    return !stopped_ && applications_.AnnouncedCount() == count;
}

void Stage::Stop() {
    {
        const Lock lock = Enter();
        stopped_ = true;
        changed_.notify_all();
    }
    timer_.Stop();
    applications_.Stop();
}

}  // namespace orvi_sim
