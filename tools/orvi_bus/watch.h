// The commands that watch the bus until Ctrl-C, for a time, or for a number of things.
#ifndef ORVI_BUS_TOOL_WATCH_H
#define ORVI_BUS_TOOL_WATCH_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "end_signal.h"
#include "tap.h"
#include "wire/deadline.h"

namespace orvi_bus_tool {

struct Limits {
    double forMs = 0;    // 0: until Ctrl-C
    uint64_t count = 0;  // 0: any number
};

enum ExitCode : int { DONE = 0, FAILED = 1, USAGE = 2, NOBODY = 3 };

int Fail(const std::string& what);     // FAILED, after a line
int BadFile(const std::string& what);  // USAGE, after a line
// `result`, or FAILED after a line when `error` is why standard output did not take everything. That nobody reads any
// more is no failure.
int Written(int result, int error);
int Flushed(int result);  // the same of what stdio has kept back

// Calls `tick` at once when it listens and then ten times a second and more often, and gives every record to `take`;
// either ends it with false. `lost` receives how many records the bus could not tell.
template <class Take, class Tick>
int Watch(const Limits& limits, bool wantsPayloads, const EndSignal& end, Take take, Tick tick, uint64_t& lost) {
    Tap tap(end);
    std::string why;
    if (!tap.Open(wantsPayloads, why)) {
        return Fail(why);
    }
    std::fprintf(stderr, "orvi-bus: listening at %s\n", tap.Path().c_str());
    const int64_t lastNs =
        limits.forMs != 0 ? orvi_bus::MonotonicNs() + static_cast<int64_t>(limits.forMs * 1e6) : INT64_MAX;
    std::vector<TrafficRecord> records;
    bool goesOn = tick();
    const auto takeAll = [&] {
        for (TrafficRecord& record : records) {
            goesOn = take(std::move(record)) && goesOn;
        }
        records.clear();
    };
    while (goesOn && orvi_bus::MonotonicNs() < lastNs) {
        goesOn = tap.Wait(Tap::Milliseconds(100), records);
        takeAll();
        goesOn = tick() && goesOn;
    }
    tap.Drain(records);
    takeAll();
    lost = tap.Lost();
    return DONE;
}

}  // namespace orvi_bus_tool

#endif
