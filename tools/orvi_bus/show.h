// Exchanges as lines for people and for programs, and which of them somebody wants to see.
#ifndef ORVI_BUS_TOOL_SHOW_H
#define ORVI_BUS_TOOL_SHOW_H

#include <cstdint>
#include <string>
#include <vector>

#include "exchange.h"

namespace orvi_bus_tool {

struct Filter {
    std::vector<std::string> messages;  // caption.start, caption.*, 0x600015; any of them
    std::string task;
    std::string process;  // that sends or receives
    double slowMs = 0;    // only requests that took as long

    bool Wants(const Exchange& exchange) const;
    bool WantsRecord(const TrafficRecord& record) const;  // by its names
};

struct Display {
    bool json = false;
    bool reveal = false;  // private contents as they are
};

// One line without its end. Times count from `startNs`.
std::string LineOf(const Exchange& exchange, const Display& display, int64_t startNs);

// What is wrong with a pattern of Filter::messages; empty: nothing.
std::string WhatIsWrongWith(const std::string& pattern);

}  // namespace orvi_bus_tool

#endif
