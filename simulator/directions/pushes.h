// Events that somebody asks for by hand.
#ifndef ORVI_SIM_DIRECTIONS_PUSHES_H
#define ORVI_SIM_DIRECTIONS_PUSHES_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "directions/vocabulary.h"
#include "payload.h"

namespace orvi_sim {

// What `reply` is to answer a message with, as raw as it is given.
std::optional<std::string> ReadReply(const Argument& message, const std::vector<std::string>& words, Payload& payload);

// An event's payload; without words a plain one of the usual length. One that an application could not trust is refused
// unless it is raw.
std::optional<std::string> ReadPush(const Argument& message, const std::vector<std::string>& words, bool isRaw,
                                    Payload& payload);

// A message that the command line asks for: sent to each application some time after it has announced itself.
struct ScheduledPush {
    uint32_t id;
    Payload payload;
    std::chrono::milliseconds delay;
};

// Reads MESSAGE[:WORD[,WORD...]][@MS]. Nothing, with the reason, when it cannot be read.
std::optional<ScheduledPush> ParseScheduledPush(const std::string& text, std::string& error);

}  // namespace orvi_sim

#endif
