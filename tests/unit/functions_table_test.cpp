// The table of docs/functions.md against the table of requests, whose transcripts are what the functions do.
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <string>

#include "requests.h"

namespace {

// Rows that the table of requests cannot tell: in words, or without a request of their own there.
const std::set<std::string> OTHERS = {
    "| `OrviAiSrvApiInit` | 0x60000F | ai_v_task_m | one-way | 36 | - |",
    "| `OrviAiSrvApiDeinit` | 0x600010 | ai_v_task_m | one-way | 36 | - |",
    "| `OrviAiSrvFaceDetectorGetById` | 0x600006 | ai_v_task_i | bus | 76 | the photos that it announces |",
    "| `OrviAiService::PhotoResultExtract` | - | - | - | - | - |",
    "| `OrviAiService::FreePhotoResult` | - | - | - | - | - |",
    "| `OrviAiSrvDirectorInit` | - | - | - | - | - |",
    "| `OrviAiSrvDirectorDeInit` | - | - | - | - | - |",
    "| `OrviAiSrvGetCheckinPhoto` | 0x600027 | ai_face_task | 3000 | 260 | data <= the caller's buffer |",
    "| `OrviAiSrvGetVersion` | - | - | - | - | - |",
    "| `OrviAiSrvGetAbility` | 0x60003A | ai_om_task | 3000 | 0 | data <= 52; its failure leaves two flags 0 |",
    "| `OrviAiAssistantInitKeyWord` | 0x600060 | ai_hotword_task | one-way | the key and its NUL | - |",
    "| `OrviAiAssistantUpdateKeyWord` | 0x600061, type 1 0x600062, type 2 0x600063 | ai_hotword_task | one-way | "
    "the key and its NUL | - |",
    "| `OrviAiAssistantInitIntent` | 0x600056 | ai_assist_task | one-way | 4 + 256 an intent | - |",
    "| `OrviAiAssistantGetStatus` | 0x60005F | ai_assist_task | 3000 | 0 | data <= 4 |",
    "| `OrviAiAssistantGetAbility` | - | - | - | - | - |",
};

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
    std::set<std::string> expected = OTHERS;
    for (const Request& request : REQUESTS) {
        const std::string name = "| `" + std::string(request.name) + "`";
        const auto other = OTHERS.lower_bound(name);
        const bool isMethod = name.find("Orvi") == std::string::npos;
        if (!isMethod && (other == OTHERS.end() || other->compare(0, name.size(), name) != 0)) {
            expected.insert(Row(request));
        }
    }
    EXPECT_EQ(documented, expected);
}

}  // namespace
