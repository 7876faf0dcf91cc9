// The two sides of a session that orvi-bus replay plays.
#ifndef ORVI_BUS_TOOL_REPLAY_H
#define ORVI_BUS_TOOL_REPLAY_H

#include <algorithm>
#include <cstdint>
#include <string>

#include "commands.h"
#include "end_signal.h"
#include "script.h"

namespace orvi_bus_tool {

constexpr uint32_t REPLAY_QUEUE_SIZE = 64;  // of each task of either side, in messages

// A recorded time between two steps as it is played: none with speed 0, which is max; a century at most.
inline int64_t Played(int64_t recordedNs, double speed) {
    constexpr double LONGEST_NS = 3.15e18;
    return speed == 0 || recordedNs <= 0
               ? 0
               : static_cast<int64_t>(std::min(static_cast<double>(recordedNs) / speed, LONGEST_NS));
}

// Each joins the bus, plays until the session is over or the end is wanted, prints differences as they come, and returns
// the exit code; 0 also when there are some.
int PlayService(Script& script, const ReplayOptions& options, EndSignal& end);
int PlayApplication(Script& script, const ReplayOptions& options, EndSignal& end);

}  // namespace orvi_bus_tool

#endif
