// Signature and minutes, of one conference at a time.
#include <cstddef>
#include <iterator>
#include <mutex>
#include <string>

#include "log.h"
#include "meeting.h"
#include "orvi_vision_sim_payloads.h"
#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

constexpr uint32_t CONFERENCE_ID = ADDRESS_LENGTH + offsetof(OrviSimMinutesConference, confId);
constexpr uint32_t START_LENGTH = ADDRESS_LENGTH + sizeof(OrviSimMinutesConference);

std::mutex g_mutex;
std::string g_conference;  // whose minutes are taken; empty: none. Guarded by g_mutex

void Start(Service&, const Request& request, Answer& answer) {
    ClientAddress address;
    std::string conference;
    if (!request.AddressAt(0, address)) {
        answer.Refuse("a name of the client is empty or has no end");
        return;
    }
    if (!request.TextAt(CONFERENCE_ID, sizeof(OrviSimMinutesConference::confId), conference) || conference.empty()) {
        answer.Refuse("the conference's id is empty or has no end");
        return;
    }
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_conference.empty()) {
        answer.Verdict(g_conference == conference ? ORVI_SIM_DONE : ORVI_SIM_BUSY);
        return;
    }
    g_conference = conference;
    Log("minutes of %s started", conference.c_str());
    answer.Verdict(ORVI_SIM_DONE);
}

void Stop(Service&, const Request&, Answer& answer) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_conference.empty()) {
        answer.Verdict(ORVI_SIM_NOT_READY);
        return;
    }
    Log("minutes of %s ended", g_conference.c_str());
    g_conference.clear();
    answer.Verdict(ORVI_SIM_DONE);
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600035, "minutes start", TASK_INTERFACE, START_LENGTH, START_LENGTH, Start},
    {0x600036, "minutes stop", TASK_INTERFACE, 0, 0, Stop},
};
static_assert(START_LENGTH == 1196);

}  // namespace

RequestTable MinutesRequests() {
    return {ROWS, std::size(ROWS)};
}

std::string DescribeMinutes() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    return "minutes=" + (g_conference.empty() ? "none" : g_conference);
}

}  // namespace orvi_sim
