// The camera director and the device lock. Clients do not read these replies.
#include <iterator>

#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600007, "director create", TASK_DIRECTOR, 4, 4, AcceptWithVerdict},
    {0x600008, "director remove", TASK_DIRECTOR, 4, 4, AcceptWithVerdict},
    {0x600009, "director start", TASK_DIRECTOR, 4, 4, AcceptWithVerdict},
    {0x60000A, "director stop", TASK_DIRECTOR, 4, 4, AcceptWithVerdict},
    {0x60006F, "lock state change", TASK_DIRECTOR, 4, 4, AcceptWithVerdict},
};

}  // namespace

RequestTable DirectorRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
