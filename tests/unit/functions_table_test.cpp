// The table of docs/functions.md against what the functions do: each row's message, receiver, wait, length and reply.
#include <fstream>
#include <map>
#include <sstream>

#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "requests.h"

namespace {

int GetPhotos() {
    uint8_t detector[52] = {};  // one that the service has never seen
    int id = 1;
    tagOrviAiSrvPhotoResult result = {};
    return OrviAiSrvFaceDetectorGetById(detector, &id, 1, &result);
}
int GetVersion() {
    char version[16];
    return OrviAiSrvGetVersion(version, sizeof(version));
}
int GetAbility() {
    tagOrviAiAbility ability;
    return OrviAiSrvGetAbility(&ability);
}
int GetAssistantAbility() {
    OrviAiAssistantAbility ability;
    return OrviAiAssistantGetAbility(&ability);
}

// The functions that the table of requests leaves out, and those of the table.
std::map<std::string, int (*)()> Calls() {
    std::map<std::string, int (*)()> calls = {
        {"OrviAiSrvApiInit", [] { return OrviAiSrvApiInit({}, [](OrviAiEventId, void*) {}); }},
        {"OrviAiSrvApiDeinit", OrviAiSrvApiDeinit},
        {"OrviAiSrvFaceDetectorGetById", GetPhotos},
        {"OrviAiSrvDirectorInit", OrviAiSrvDirectorInit},
        {"OrviAiSrvDirectorDeInit", OrviAiSrvDirectorDeInit},
        {"OrviAiSrvGetVersion", GetVersion},
        {"OrviAiSrvGetAbility", GetAbility},
        {"OrviAiAssistantGetStatus", [] { return static_cast<int>(OrviAiAssistantGetStatus()); }},
        {"OrviAiAssistantGetAbility", GetAssistantAbility},
    };
    for (const Request& request : REQUESTS) {
        calls.emplace(request.name, request.call);
    }
    return calls;
}

struct Row {
    std::string function;
    std::string id;
    std::string task;
    std::string wait;
    std::string bytes;
    std::string reply;
};

std::vector<Row> ReadTable() {
    std::ifstream file(ORVI_FUNCTIONS_TABLE);
    std::vector<Row> rows;
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, 3, "| `") != 0) {
            continue;
        }
        std::vector<std::string> cells;
        std::istringstream stream(line.substr(1));
        for (std::string cell; std::getline(stream, cell, '|');) {
            const size_t first = cell.find_first_not_of(" `");
            cells.push_back(first == std::string::npos ? ""
                                                       : cell.substr(first, cell.find_last_not_of(" `") - first + 1));
        }
        EXPECT_EQ(cells.size(), 6U) << line;
        cells.resize(6);
        rows.push_back({cells[0], cells[1], cells[2], cells[3], cells[4], cells[5]});
    }
    return rows;
}

// What the recording platform says of the row's message, up to a length that is not a number.
std::string Expected(const Row& row) {
    if (row.id == "-") {
        return "";
    }
    const std::string id = row.id.size() > 8 ? "0x600062" : row.id;  // the test updates hot words of type 1
    const bool oneWay = row.wait == "one-way";
    std::string message = (oneWay ? "asyn " : "syn ") + id + " " + row.task + " len=";
    if (row.bytes.find_first_not_of("0123456789") != std::string::npos) {
        return message;
    }
    message += row.bytes;
    return oneWay ? message : message + " wait=" + (row.wait == "bus" ? "0" : row.wait);
}

// What the table says of an answer.
std::string ExpectedReply(const Request& request) {
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

class FunctionsTable : public PlatformTest {};

TEST_F(FunctionsTable, EachRowNamesTheMessage) {
    Init();
    Bytes capability(356, 0);
    capability[352] = 1;  // a large model: the service is asked for the ability
    platform.capabilityRecord = capability.data();
    const std::map<std::string, int (*)()> calls = Calls();
    size_t called = 0;
    for (const Row& row : ReadTable()) {
        SCOPED_TRACE(row.function);
        if (calls.count(row.function) == 0) {
            EXPECT_EQ(row.function.compare(0, 15, "OrviAiService::"), 0) << "this test does not call it";
            EXPECT_EQ(row.id, "-");
            continue;
        }
        ++called;
        (void)calls.at(row.function)();  // a request without an answer: it fails
        std::string sent;
        for (const std::string& line : platform.Take()) {
            if (line.compare(0, 4, "syn ") == 0 || line.compare(0, 5, "asyn ") == 0) {
                EXPECT_EQ(sent, "") << "a second message";
                sent = line;
            }
        }
        const std::string expected = Expected(row);
        const bool anyLength = !expected.empty() && expected.back() == '=';
        EXPECT_EQ(anyLength ? sent.substr(0, expected.size()) : sent, expected);
    }
    EXPECT_EQ(called, calls.size() - 3) << "three are methods of the proxy only";
}

TEST_F(FunctionsTable, EachRowNamesTheReplyThatCounts) {
    size_t compared = 0;
    for (const Row& row : ReadTable()) {
        for (const Request& request : REQUESTS) {
            if (row.function == request.name && row.function != "OrviAiSrvGetCheckinPhoto") {
                EXPECT_EQ(row.reply, ExpectedReply(request)) << row.function;
                ++compared;
            }
        }
    }
    EXPECT_EQ(compared, REQUESTS.size() - 4) << "the photo's limit is the caller's; three are methods";
}

}  // namespace
