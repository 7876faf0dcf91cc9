// Who sees everything that happens in the room, in the order in which it does: what a person or a scenario directed, what
// applications asked and were told.
#ifndef ORVI_SIM_SERVICE_ONLOOKER_H
#define ORVI_SIM_SERVICE_ONLOOKER_H

#include <chrono>
#include <cstdint>
#include <string>

#include "payload.h"
#include "service/application.h"
#include "service/request.h"

namespace orvi_sim {

// All functions on the stage: they wait for nothing.
class Onlooker {
 public:
    virtual ~Onlooker() = default;

    using Time = std::chrono::milliseconds;  // the room's
    virtual void Directed(Time at, const std::string& line) = 0;

    // With its ending, "answered", "refused busy", "taken" of a one-way message; or "unanswered", and maybe once more when
    // it ends otherwise. `hasFault`: as somebody has directed. `reply`: what leaves as its reply, null for none and for one
    // without data; it lasts as long as the call.
    virtual void Asked(Time at, const Request& request, const std::string& ending, bool hasFault,
                       const Payload* reply) = 0;

    // `ending` is empty, or "lost" of an event that nobody gets.
    virtual void Told(Time at, const ApplicationId& application, uint32_t id, const SharedPayload& payload,
                      const char* ending) = 0;
};

}  // namespace orvi_sim

#endif
