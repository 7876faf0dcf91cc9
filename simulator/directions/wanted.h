// What the fields of an expected message have to be.
#ifndef ORVI_SIM_DIRECTIONS_WANTED_H
#define ORVI_SIM_DIRECTIONS_WANTED_H

#include <optional>
#include <string>
#include <vector>

#include "message.h"

namespace orvi_sim {

struct Wanted {
    std::string path;  // "names[2]"
    std::string value;
};

// From FIELD=VALUE words. The reason when the message has no such field, or one that never holds this.
std::optional<std::string> ReadWanted(const orvi_protocol::Message& message, const std::vector<std::string>& words,
                                      std::vector<Wanted>& wanted);

}  // namespace orvi_sim

#endif
