// How often each message was sent, and how long its answers took.
#ifndef ORVI_BUS_TOOL_STATISTICS_H
#define ORVI_BUS_TOOL_STATISTICS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "exchange.h"

namespace orvi_bus_tool {

class Statistics {
 public:
    void Add(const Exchange& exchange);

    // A line a message, those with the longest waits first: count, unanswered or failed, median, 99th percentile, worst.
    std::string Table() const;

 private:
    static constexpr size_t MOST_SAMPLES = 100000;  // of one message; the count goes on

    struct Row {
        uint64_t count = 0;
        uint64_t failed = 0;
        std::vector<float> ms;
    };
    std::map<std::string, Row> rows_;
};

}  // namespace orvi_bus_tool

#endif
