#include "features/nameplate/nameplate.h"

#include <iterator>

#include "log.h"

namespace orvi_sim {
namespace {

constexpr uint32_t START = 0x60001C;
constexpr uint32_t STOP = 0x60001D;

}  // namespace

RequestTable Nameplate::Requests() const {
    static const RequestRow ROWS[] = {
        // id, name, task, shortest, longest, reply, address, told, handler
        {0x60001A, "nameplate init", TASK_FACE, 0, 0, VERDICT, false, Told::Nobody, HandledBy(&Nameplate::Init)},
        {0x60001B, "nameplate deinit", TASK_FACE, 0, 0, VERDICT, false, Told::Nobody, HandledBy(&Nameplate::Deinit)},
        {START, "nameplate start", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, VERDICT, true, Told::Room,
         HandledBy(&Nameplate::Start)},
        {STOP, "nameplate stop", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, VERDICT, true, Told::Room,
         HandledBy(&Nameplate::Stop)},
    };
    return {ROWS, std::size(ROWS)};
}

void Nameplate::Switch(State state, const char* word) {
    if (state_ != state) {
        state_ = state;
        Log("nameplates %s", word);
    }
}

void Nameplate::Init(const Request& request, Answer& answer) {
    preparers_.Add(request.sender);
    if (state_ == OFF) {
        Switch(READY, "ready");
    }
    answer.Done();
}

void Nameplate::Deinit(const Request& request, Answer& answer) {
    OnGone(request.sender);
    answer.Done();
}

void Nameplate::Start(const Request& request, Answer& answer) {
    if (state_ == OFF) {
        answer.Refuse(ORVI_SIM_NOT_READY, "not ready, call init first");
        return;
    }
    users_.Add(request.sender);
    Switch(ON, "on");
    answer.Done();
}

void Nameplate::Stop(const Request&, Answer& answer) {
    users_.Clear();
    if (state_ == ON) {
        Switch(READY, "off");
    }
    answer.Done();
}

void Nameplate::OnGone(const ApplicationId& application) {
    const bool wasLastUser = users_.Remove(application);
    if (preparers_.Remove(application)) {
        PutAway();
    } else if (wasLastUser) {
        Switch(READY, "off");
        stage_.TellAll(STOP, IntegerPayload(ORVI_SIM_DONE));
    }
}

void Nameplate::PutAway() {
    const bool wasOn = state_ == ON;
    users_.Clear();
    Switch(OFF, "put away");
    if (wasOn) {
        stage_.TellAll(STOP, IntegerPayload(ORVI_SIM_DONE));
    }
}

std::string Nameplate::Describe() const {
    const char* const words[] = {"off", "ready", "on"};
    return std::string("nameplate=") + words[state_];
}

}  // namespace orvi_sim
