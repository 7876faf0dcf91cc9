// The control channel: command lines in, one answer line each out.
#ifndef ORVI_SIM_CONTROL_H
#define ORVI_SIM_CONTROL_H

#include <chrono>
#include <optional>
#include <string>

#include "payload.h"
#include "service.h"
#include "stop_signal.h"

namespace orvi_sim {

// The commands, for people.
extern const char CONTROL_HELP[];

// A message that the command line asks for: sent to each client some time after it has announced itself.
struct ScheduledPush {
    uint32_t id;
    Payload payload;
    std::chrono::milliseconds delay;
};

// Reads ID[:WORD[,WORD...]][@MS]. Nothing, with the reason, when it cannot be read.
std::optional<ScheduledPush> ParseScheduledPush(const std::string& text, std::string& error);

// Carries out one line and returns its answer: "ok", "ok ..." or "error ...".
std::string Execute(Service& service, StopSignal& stop, const std::string& line);

// Serves standard input until the program ends, "quit" comes or the input ends, which both end the program.
void ServeControl(Service& service, StopSignal& stop);

}  // namespace orvi_sim

#endif
