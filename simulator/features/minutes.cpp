// Signature and minutes.
#include <iterator>

#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600035, "minutes start", TASK_INTERFACE, 1196, 1196, AcceptWithVerdict},
    {0x600036, "minutes stop", TASK_INTERFACE, 0, 0, AcceptWithVerdict},
};

}  // namespace

RequestTable MinutesRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
