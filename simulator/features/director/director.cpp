// The camera director and the device lock. Clients do not read these replies.
#include <atomic>
#include <iterator>

#include "log.h"
#include "meeting.h"
#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

std::atomic<bool> g_created{true};  // the device turns its director on by itself
std::atomic<bool> g_running{true};
std::atomic<int32_t> g_lockState{0};

// Every director request carries one number, which means nothing here.
void Set(std::atomic<bool>& what, bool value, const char* change, Answer& answer) {
    if (what.exchange(value) != value) {
        Log("director %s", change);
    }
    answer.Verdict(0);
}

void Create(Service&, const Request&, Answer& answer) {
    Set(g_created, true, "created", answer);
}

void Remove(Service&, const Request&, Answer& answer) {
    g_running = false;
    Set(g_created, false, "removed", answer);
}

void Start(Service&, const Request&, Answer& answer) {
    g_created = true;
    Set(g_running, true, "on", answer);
}

void Stop(Service&, const Request&, Answer& answer) {
    Set(g_running, false, "off", answer);
}

void ChangeLockState(Service&, const Request& request, Answer& answer) {
    const auto state = static_cast<int32_t>(request.IntegerAt(0));
    Log("lock state %d, was %d", state, g_lockState.exchange(state));
    answer.Verdict(0);
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600007, "director create", TASK_DIRECTOR, 4, 4, Create},
    {0x600008, "director remove", TASK_DIRECTOR, 4, 4, Remove},
    {0x600009, "director start", TASK_DIRECTOR, 4, 4, Start},
    {0x60000A, "director stop", TASK_DIRECTOR, 4, 4, Stop},
    {0x60006F, "lock state change", TASK_DIRECTOR, 4, 4, ChangeLockState},
};

}  // namespace

RequestTable DirectorRequests() {
    return {ROWS, std::size(ROWS)};
}

std::string DescribeDirector() {
    const char* const director = !g_created ? "removed" : g_running ? "on" : "off";
    return std::string("director=") + director + " lock=" + std::to_string(g_lockState);
}

}  // namespace orvi_sim
