// The table of docs/functions.md against the table of requests, whose transcripts are what the functions do. That
// each exported function has one row is a test of tests/exports.
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <string>

#include "requests.h"

namespace {

// Their rows tell in words what depends on the arguments.
const std::set<std::string> IN_WORDS = {"OrviAiSrvGetCheckinPhoto", "OrviAiAssistantInitKeyWord",
                                        "OrviAiAssistantUpdateKeyWord", "OrviAiAssistantInitIntent"};

std::string Wait(const Channel& channel) {
    if (channel.waitMs == ONE_WAY) {
        return "one-way";
    }
    return channel.waitMs == 0 ? "bus" : std::to_string(channel.waitMs);
}

std::string Reply(const Request& request) {
    if (request.channel.waitMs == ONE_WAY) {
        return "-";
    }
    if (request.answer == VERDICT) {
        return "verdict";
    }
    if (request.answer == ANY) {
        return request.channel.takesNoData ? "any" : "data";
    }
    return (request.channel.takesNoData ? "any, <= " : "data <= ") + std::to_string(request.answer);
}

std::string Row(const Request& request) {
    char row[200];
    snprintf(row, sizeof(row), "| `%s` | 0x%06X | %s | %s | %u | %s |", request.name, request.id, request.channel.task,
             Wait(request.channel).c_str(), request.length, Reply(request).c_str());
    return row;
}

TEST(FunctionsTable, EachRowTellsWhatTheFunctionDoes) {
    std::ifstream file(ORVI_FUNCTIONS_TABLE);
    std::set<std::string> documented;
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, 3, "| `") == 0) {
            documented.insert(line);
        }
    }
    for (const Request& request : REQUESTS) {
        const std::string name = request.name;
        const bool isMethod = name.compare(0, 4, "Orvi") != 0;  // which has no row
        if (!isMethod && IN_WORDS.count(name) == 0) {
            EXPECT_EQ(documented.count(Row(request)), 1U) << Row(request);
        }
    }
}

}  // namespace
