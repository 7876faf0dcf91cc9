// The messages that the service sends on its own, one row each.
#ifndef ORVI_SIM_SERVICE_EVENTS_H
#define ORVI_SIM_SERVICE_EVENTS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "payload.h"

namespace orvi_sim {

enum class EventShape {
    Integer,  // a 32-bit integer first; a status message is never without it
    Record,   // begins with its length in bytes
    Picture   // faces: of fixed size
};

struct EventRow {
    uint32_t id;
    EventShape shape;
    uint32_t length;  // of the payload as usual; of a record with entries that of its head
    const char* name;
};

const EventRow* FindEvent(uint32_t id);  // null when there is no such row
const EventRow* EventTable(size_t& count);

// The name for the log, "unlisted" when there is no such row.
const char* EventName(uint32_t id);

// A payload of the usual length that an application may trust: zero but for its length.
Payload PlainEvent(const EventRow& row);

// Whether an application may trust the payload's layout; the reason when not. To have no payload is no lie.
bool IsTrustworthy(const EventRow& row, const Payload& payload, std::string& reason);

}  // namespace orvi_sim

#endif
