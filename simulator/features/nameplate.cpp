// Nameplates.
#include <iterator>

#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x60001A, "nameplate init", TASK_FACE, 0, 0, AcceptWithVerdict},
    {0x60001B, "nameplate deinit", TASK_FACE, 0, 0, AcceptWithVerdict},
    {0x60001C, "nameplate start", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, AcceptWithVerdict},
    {0x60001D, "nameplate stop", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, AcceptWithVerdict},
};

}  // namespace

RequestTable NameplateRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
