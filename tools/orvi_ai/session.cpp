#include "session.h"

#include <cstdio>

#include "library_log.h"

namespace orvi_ai {

tagOrviAppInfo Session::App() const {
    tagOrviAppInfo info{};
    std::snprintf(info.appId, sizeof(info.appId), "%s", app_.c_str());
    return info;
}

bool Session::Announce() {
    return OrviAiSrvApiInit(App(), &Events::OnMain) == 0;
}

bool Session::Connect() {
    if (isConnected_) {
        return true;
    }
    isConnected_ = Announce();
    return isConnected_;
}

int Session::Disconnect() {
    isConnected_ = false;
    return OrviAiSrvApiDeinit();
}

void Session::BecomeScript() {
    isScript_ = true;
    Events::PrintTo(&output_, {});
}

void Session::Keep(const std::string& name, void* detector) {
    lastDetector_ = name.empty() ? "detector " + std::to_string(++unnamed_) : name;
    detectors_[lastDetector_] = detector;
}

void* Session::Find(const std::string& name) const {
    const auto found = detectors_.find(name.empty() ? lastDetector_ : name);
    return found != detectors_.end() ? found->second : nullptr;
}

void Session::Forget(const std::string& name) {
    detectors_.erase(name.empty() ? lastDetector_ : name);
}

void Session::DestroyDetectors() {
    for (const auto& [name, detector] : detectors_) {
        (void)OrviAiSrvDestroyFaceDetector(detector);  // the service drops what it is not told of
    }
    detectors_.clear();
}

void Session::Leave() {
    Events::PrintTo(nullptr, {});
    if (isConnected_) {
        DestroyDetectors();
        (void)Disconnect();
    }
}

ExitCode Session::Tell(const Call& call, const Outcome& outcome, Clock::time_point begin) {
    output_.Call(call.command->name, call.command->functions, outcome, Clock::now() - begin, TakeLibraryLog());
    return outcome.result == 0 ? DONE : outcome.isNobodyThere ? NOBODY_THERE : FAILED;
}

ExitCode Session::Run(const Call& call) {
    const Command& command = *call.command;
    if ((command.traits & WITHOUT_SERVICE) == 0 && !Connect()) {
        output_.Error("nobody is there: the vision service does not run on this bus, or the bus cannot be joined");
        return NOBODY_THERE;
    }
    const bool goesOn = (command.traits & (MAKES_EVENTS | GOES_ON)) != 0 && !isScript_;
    if (goesOn && *command.events != '\0') {
        Events::PrintTo(&output_, {{command.events, "bus.*", "service.*"}, {}});
    }
    (void)TakeLibraryLog();
    const Clock::time_point begin = Clock::now();
    Outcome outcome;
    if (!isScript_ && command.prepare != nullptr && command.prepare() != 0) {
        outcome.result = -1;
        outcome.reason = "what it needs could not be made ready";
    } else if (command.plain != nullptr) {
        outcome.result = command.plain();
    } else {
        outcome = command.run(*this, call);
    }
    if (*command.functions == '\0') {  // the tool's own: it has said what there was to say
        if (!outcome.reason.empty()) {
            output_.Error(outcome.reason);
        }
        return static_cast<ExitCode>(outcome.result);
    }
    outcome.isOpenEnded = goesOn && !call.duration && !call.count;
    const ExitCode code = Tell(call, outcome, begin);
    return code == DONE && goesOn ? GoOn(call) : code;
}

ExitCode Session::GoOn(const Call& call) {
    std::optional<Clock::time_point> deadline;
    if (call.duration) {
        deadline = Clock::now() + *call.duration;
    }
    ExitCode code = DONE;
    for (uint32_t seen = 0; !call.count || seen < *call.count; ++seen) {
        const WaitEnd end = Events::Next({{call.command->events}, {}}, deadline);
        if (end == WaitEnd::ServiceGone) {
            output_.Error("the service has ended");
            return NOBODY_THERE;
        }
        if (end == WaitEnd::OutOfTime && call.count) {
            output_.Error("out of time: " + std::to_string(seen) + " of " + std::to_string(*call.count) + " events");
            code = FAILED;
        }
        if (end != WaitEnd::Arrived) {
            break;
        }
    }
    Events::PrintTo(nullptr, {});
    if (call.command->finish != nullptr && call.command->finish() != 0) {
        output_.Error(std::string(call.command->name) + ": could not be put away\n" + TakeLibraryLog());
        return FAILED;
    }
    return code;
}

}  // namespace orvi_ai
