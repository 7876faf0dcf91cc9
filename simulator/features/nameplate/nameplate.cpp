// Nameplates: prepared, then switched on and off. Every client is told of the switching.
#include <atomic>
#include <iterator>
#include <utility>

#include "log.h"
#include "meeting.h"
#include "orvi_vision_sim_payloads.h"
#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

constexpr uint32_t STARTED = 0x60001C;
constexpr uint32_t STOPPED = 0x60001D;

enum Nameplates { OFF, READY, ON };
std::atomic<Nameplates> g_nameplates{OFF};

void Tell(uint32_t id, uint8_t verdict, Answer& answer) {
    Payload payload;
    AppendInteger(payload, verdict);
    answer.Push(id, std::move(payload));
}

void Switch(Nameplates nameplates, const char* word) {
    if (g_nameplates.exchange(nameplates) != nameplates) {
        Log("nameplates %s", word);
    }
}

void Init(Service&, const Request&, Answer& answer) {
    if (g_nameplates == OFF) {
        Switch(READY, "ready");
    }
    answer.Verdict(ORVI_SIM_DONE);
}

void Deinit(Service&, const Request&, Answer& answer) {
    const bool wasOn = g_nameplates == ON;
    Switch(OFF, "put away");
    answer.Verdict(ORVI_SIM_DONE);
    if (wasOn) {
        Tell(STOPPED, ORVI_SIM_DONE, answer);
    }
}

void Start(Service& service, const Request& request, Answer& answer) {
    if (!service.AddClientOf(request, answer)) {
        return;
    }
    const uint8_t verdict = g_nameplates == OFF ? ORVI_SIM_NOT_READY : ORVI_SIM_DONE;
    if (verdict == ORVI_SIM_DONE) {
        Switch(ON, "on");
    }
    answer.Verdict(verdict);
    Tell(STARTED, verdict, answer);
}

void Stop(Service& service, const Request& request, Answer& answer) {
    if (!service.AddClientOf(request, answer)) {
        return;
    }
    if (g_nameplates == ON) {
        Switch(READY, "off");
    }
    answer.Verdict(ORVI_SIM_DONE);
    Tell(STOPPED, ORVI_SIM_DONE, answer);
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x60001A, "nameplate init", TASK_FACE, 0, 0, Init},
    {0x60001B, "nameplate deinit", TASK_FACE, 0, 0, Deinit},
    {0x60001C, "nameplate start", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, Start},
    {0x60001D, "nameplate stop", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, Stop},
};

}  // namespace

RequestTable NameplateRequests() {
    return {ROWS, std::size(ROWS)};
}

std::string DescribeNameplate() {
    const char* const words[] = {"off", "ready", "on"};
    return std::string("nameplate=") + words[g_nameplates];
}

}  // namespace orvi_sim
