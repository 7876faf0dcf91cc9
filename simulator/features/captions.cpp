// Captions.
#include <iterator>

#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600014, "caption init", TASK_INTERFACE, ADDRESS_LENGTH, ADDRESS_LENGTH, AcceptWithVerdict},
    {0x600015, "caption start", TASK_INTERFACE, 496, 496, AcceptWithVerdict},
    {0x600016, "caption stop", TASK_INTERFACE, ADDRESS_LENGTH, ADDRESS_LENGTH, AcceptWithVerdict},
    {0x600017, "caption deinit", TASK_INTERFACE, 0, 0, AcceptWithVerdict},
};

}  // namespace

RequestTable CaptionRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
