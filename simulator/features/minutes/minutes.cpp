#include "features/minutes/minutes.h"

#include <cstddef>
#include <iterator>

#include "log.h"

namespace orvi_sim {
namespace {

constexpr uint32_t CONFERENCE_ID = ADDRESS_LENGTH + offsetof(OrviSimMinutesConference, confId);
constexpr uint32_t MINUTES_START_LENGTH = ADDRESS_LENGTH + sizeof(OrviSimMinutesConference);
static_assert(MINUTES_START_LENGTH == 1196);

}  // namespace

RequestTable Minutes::Requests() const {
    static const RequestRow ROWS[] = {
        // id, name, task, shortest, longest, reply, address, told, handler
        {0x600035, "minutes start", TASK_INTERFACE, MINUTES_START_LENGTH, MINUTES_START_LENGTH, VERDICT, true,
         Told::Nobody, HandledBy(&Minutes::Start)},
        {0x600036, "minutes stop", TASK_INTERFACE, 0, 0, VERDICT, false, Told::Nobody, HandledBy(&Minutes::Stop)},
    };
    return {ROWS, std::size(ROWS)};
}

void Minutes::Start(const Request& request, Answer& answer) {
    std::string conference;
    if (!request.TextAt(CONFERENCE_ID, sizeof(OrviSimMinutesConference::confId), conference) || conference.empty()) {
        answer.Refuse(ORVI_SIM_MALFORMED, "the conference's id is empty or has no end");
        return;
    }
    if (!conference_.empty() && conference_ != conference) {
        answer.Refuse(ORVI_SIM_BUSY, "busy, those of another conference are being taken");
        return;
    }
    if (conference_.empty()) {
        conference_ = conference;
        Log("minutes of %s started", conference.c_str());
    }
    users_.Add(request.sender);
    answer.Done();
}

void Minutes::Stop(const Request&, Answer& answer) {
    if (conference_.empty()) {
        answer.Refuse(ORVI_SIM_NOT_READY, "not ready, none are being taken");
        return;
    }
    End();
    answer.Done();
}

void Minutes::OnGone(const ApplicationId& application) {
    if (users_.Remove(application)) {
        End();
    }
}

void Minutes::End() {
    Log("minutes of %s ended", conference_.c_str());
    conference_.clear();
    users_.Clear();
}

std::string Minutes::Describe() const {
    return "minutes=" + (conference_.empty() ? "none" : conference_);
}

}  // namespace orvi_sim
