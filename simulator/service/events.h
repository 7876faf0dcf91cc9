// The messages that the service sends on its own, one row each.
#ifndef ORVI_SIM_EVENT_TABLE_H
#define ORVI_SIM_EVENT_TABLE_H

#include <cstddef>
#include <cstdint>

#include "payload.h"

namespace orvi_sim {

struct EventRow {
    uint32_t id;
    uint32_t defaultLength;  // zero bytes sent when a push names no payload; a status message is never sent without
                             // its integer
    const char* name;
};

const EventRow* FindEvent(uint32_t id);  // null when there is no such row
const EventRow* EventTable(size_t& count);

// The name for the log, "unlisted" when there is no such row.
const char* EventName(uint32_t id);

}  // namespace orvi_sim

#endif
