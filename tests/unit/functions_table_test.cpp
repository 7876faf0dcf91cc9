// The table of docs/functions.md against what the functions do: each row's message, receiver, wait, length and reply.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "fake_platform.h"
#include "orvi_ai_srv.h"

namespace {

// A detector that the service has never seen serves every face request.
struct Detector {
    uint8_t record[52] = {};
};

void IgnoreFace(tagOrviAiSrvFaceDetEvent*) {}
void IgnoreCaption(OrviAiCaptionEventId, void*) {}

void CreateDetector() {
    void* handle = nullptr;
    if (OrviAiSrvCreateFaceDetector(&handle, 0, 25, 0, IgnoreFace) == 0) {
        free(handle);
    }
}
void DestroyDetector() {
    (void)OrviAiSrvDestroyFaceDetector(calloc(1, sizeof(Detector)));  // which releases it in any case
}
void GetPhotos() {
    Detector detector;
    int id = 1;
    tagOrviAiSrvPhotoResult result = {};
    (void)OrviAiSrvFaceDetectorGetById(&detector, &id, 1, &result);
}
void StartCaptions() {
    tagOrviAiConfInfo info = {};
    info.text1[0] = info.text2[0] = 'c';
    (void)OrviAiSrvCaptionStart(&info, 1);
}
void GetCheckinData() {
    const auto data = std::make_unique<tagCheckinTotalData>();
    (void)OrviAiSrvGetCheckinData(data.get(), ORVI_AI_CHECKIN_SHOW_0, 1);
}
void GetCheckinPhoto() {
    uint8_t buffer[16];
    uint32_t size = sizeof(buffer);
    (void)OrviAiSrvGetCheckinPhoto("user", 4, buffer, &size);
}
void GetAbility() {
    tagOrviAiAbility ability;
    (void)OrviAiSrvGetAbility(&ability);
}
void UpdateKeyWord() {
    std::string words = "hello";
    (void)OrviAiAssistantUpdateKeyWord(tagOrviAppInfo{}, ORVI_AI_HOTWORD_UPDATE_TYPE1, words);
}
void InitIntent() {
    OrviAiAssistantIntentName name = {};
    (void)OrviAiAssistantInitIntent(&name, 1);
}
void GetPageInfo() {
    OrviAiAssistantPageInfo info;
    (void)OrviAiAssistantGetPageInfo(&info);
}

const std::map<std::string, void (*)()> CALLS = {
    {"OrviAiSrvApiInit", [] { (void)OrviAiSrvApiInit(tagOrviAppInfo{}, [](OrviAiEventId, void*) {}); }},
    {"OrviAiSrvApiDeinit", [] { (void)OrviAiSrvApiDeinit(); }},
    {"OrviAiSrvCreateFaceDetector", CreateDetector},
    {"OrviAiSrvDestroyFaceDetector", DestroyDetector},
    {"OrviAiSrvStartFaceDetector",
     [] {
         Detector detector;
         (void)OrviAiSrvStartFaceDetector(&detector);
     }},
    {"OrviAiSrvStopFaceDetector",
     [] {
         Detector detector;
         (void)OrviAiSrvStopFaceDetector(&detector);
     }},
    {"OrviAiSrvFaceDetectorGetById", GetPhotos},
    {"OrviAiSrvCaptionInit", [] { (void)OrviAiSrvCaptionInit(IgnoreCaption); }},
    {"OrviAiSrvCaptionStart", StartCaptions},
    {"OrviAiSrvCaptionStop", [] { (void)OrviAiSrvCaptionStop(); }},
    {"OrviAiSrvCaptionDeInit", [] { (void)OrviAiSrvCaptionDeInit(); }},
    {"OrviAiSrvNamePlateInit", [] { (void)OrviAiSrvNamePlateInit(); }},
    {"OrviAiSrvNamePlateDeInit", [] { (void)OrviAiSrvNamePlateDeInit(); }},
    {"OrviAiSrvNamePlateStart", [] { (void)OrviAiSrvNamePlateStart(); }},
    {"OrviAiSrvNamePlateStop", [] { (void)OrviAiSrvNamePlateStop(); }},
    {"OrviAiSrvDirectorInit", [] { (void)OrviAiSrvDirectorInit(); }},
    {"OrviAiSrvDirectorDeInit", [] { (void)OrviAiSrvDirectorDeInit(); }},
    {"OrviAiSrvDirectorStart", [] { (void)OrviAiSrvDirectorStart(); }},
    {"OrviAiSrvDirectorStop", [] { (void)OrviAiSrvDirectorStop(); }},
    {"OrviAiLockStateChange", [] { (void)OrviAiLockStateChange(1); }},
    {"OrviAiSrvCheckInInit", [] { (void)OrviAiSrvCheckInInit(); }},
    {"OrviAiSrvCheckInStart", [] { (void)OrviAiSrvCheckInStart(tagOrviAiConfIdInfo{}); }},
    {"OrviAiSrvCheckInStartReport",
     [] { (void)OrviAiSrvCheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, tagOrviAiConfIdInfo{}); }},
    {"OrviAiSrvCheckInStopReport", [] { (void)OrviAiSrvCheckInStopReport(); }},
    {"OrviAiSrvGetCheckinData", GetCheckinData},
    {"OrviAiSrvGetCheckinPhoto", GetCheckinPhoto},
    {"OrviAiSrvCheckInStop", [] { (void)OrviAiSrvCheckInStop(); }},
    {"OrviAiSrvCheckInClearData", [] { (void)OrviAiSrvCheckInClearData(); }},
    {"OrviAiSrvCheckInDeinit", [] { (void)OrviAiSrvCheckInDeinit(); }},
    {"OrviAiSrvSignatureStart", [] { (void)OrviAiSrvSignatureStart(tagOrviAiMinutesConfInfo{}); }},
    {"OrviAiSrvSignatureStop", [] { (void)OrviAiSrvSignatureStop(); }},
    {"OrviAiSrvGetVersion",
     [] {
         char version[16];
         (void)OrviAiSrvGetVersion(version, sizeof(version));
     }},
    {"OrviAiSrvGetAbility", GetAbility},
    {"OrviAiSrvLargeModelInit", [] { (void)OrviAiSrvLargeModelInit(OrviAiLLMInitParams{}); }},
    {"OrviAiSrvLargeModelRequest", [] { (void)OrviAiSrvLargeModelRequest(OrviAiModelParams{}); }},
    {"OrviAiSrvLargeModelDeInit", [] { (void)OrviAiSrvLargeModelDeInit(OrviAiLLMInitParams{}); }},
    {"OrviAiAssistantInitKeyWord", [] { (void)OrviAiAssistantInitKeyWord(tagOrviAppInfo{}); }},
    {"OrviAiAssistantUpdateKeyWord", UpdateKeyWord},
    {"OrviAiAssistantInitIntent", InitIntent},
    {"OrviAiAssistantRequestTts", [] { (void)OrviAiAssistantRequestTts(1, OrviAiAssistantSpeechText{}); }},
    {"OrviAiAssistantNotifyIntentResult",
     [] { (void)OrviAiAssistantNotifyIntentResult(1, OrviAiAssistantIntentResult{}); }},
    {"OrviAiAssistantDisplayCard", [] { (void)OrviAiAssistantDisplayCard(1, OrviAiAssistantCard{}); }},
    {"OrviAiAssistantChooseItem", [] { (void)OrviAiAssistantChooseItem(1, 2); }},
    {"OrviAiAssistantSleep", [] { (void)OrviAiAssistantSleep(); }},
    {"OrviAiAssistantWakeUp", [] { (void)OrviAiAssistantWakeUp(OrviAiAssistantRunningMode{}); }},
    {"OrviAiAssistantSetPageInfo", [] { (void)OrviAiAssistantSetPageInfo(OrviAiAssistantPageInfo{}); }},
    {"OrviAiAssistantGetPageInfo", GetPageInfo},
    {"OrviAiAssistantGetStatus", [] { (void)OrviAiAssistantGetStatus(); }},
    {"OrviAiAssistantGetAbility",
     [] {
         OrviAiAssistantAbility ability;
         (void)OrviAiAssistantGetAbility(&ability);
     }},
};

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

bool IsNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// What the recording platform says of the row's message, without a length that is not a number.
std::string Expected(const Row& row) {
    if (row.id == "-") {
        return "";
    }
    const std::string id = row.id.size() > 8 ? "0x600062" : row.id;  // the test updates hot words of type 1
    const std::string length = IsNumber(row.bytes) ? row.bytes : "";
    if (row.wait == "one-way") {
        return "asyn " + id + " " + row.task + " len=" + length;
    }
    return "syn " + id + " " + row.task + " len=" + length + " wait=" + (row.wait == "bus" ? "0" : row.wait);
}

class FunctionsTable : public PlatformTest {
 protected:
    void SetUp() override {
        Init();
        // Large-model capability, so that the ability is asked for.
        std::fill(std::begin(capability_), std::end(capability_), 1);
        platform.capabilityRecord = capability_;
    }

    struct Outcome {
        std::string sent;  // empty when nothing was
        bool errors = false;
    };
    Outcome Call(const Row& row) {
        (void)platform.Take();
        CALLS.at(row.function)();
        Outcome outcome;
        for (const std::string& line : platform.Take()) {
            if (line.compare(0, 4, "syn ") == 0 || line.compare(0, 5, "asyn ") == 0) {
                EXPECT_EQ(outcome.sent, "") << "a second message";
                outcome.sent = line;
            }
            outcome.errors = outcome.errors || line.compare(0, 6, "error ") == 0;
        }
        return outcome;
    }

    int32_t capability_[89] = {};  // 356 bytes
};

TEST_F(FunctionsTable, EachRowNamesTheMessage) {
    const std::vector<Row> rows = ReadTable();
    EXPECT_GE(rows.size(), CALLS.size());
    for (const Row& row : rows) {
        SCOPED_TRACE(row.function);
        if (CALLS.count(row.function) == 0) {
            EXPECT_EQ(row.function.compare(0, 15, "OrviAiService::"), 0) << "this test does not call it";
            EXPECT_EQ(row.id, "-");
            continue;
        }
        const std::string expected = Expected(row);
        std::string sent = Call(row).sent;  // a request without an answer: it fails
        if (!IsNumber(row.bytes) && !expected.empty()) {
            sent.erase(sent.find("len=") + 4);
        }
        EXPECT_EQ(sent, expected);
    }
}

TEST_F(FunctionsTable, EachRowNamesTheReplyThatCounts) {
    size_t verdicts = 0;
    size_t limits = 0;
    for (const Row& row : ReadTable()) {
        SCOPED_TRACE(row.function);
        const std::string limit = row.reply.compare(0, 8, "data <= ") == 0
                                      ? row.reply.substr(8, row.reply.find_first_not_of("0123456789", 8) - 8)
                                      : "";
        if (row.reply == "verdict") {
            ++verdicts;
            platform.QueueReply({0, 1});
            EXPECT_FALSE(Call(row).errors);
            platform.QueueReply({1});
            EXPECT_TRUE(Call(row).errors);
        } else if (row.reply == "any") {
            platform.QueueReplyWithoutData();
            EXPECT_FALSE(Call(row).errors);
        } else if (row.reply == "data") {
            platform.QueueReply(Bytes(70000));
            EXPECT_FALSE(Call(row).errors);
            platform.QueueReplyWithoutData();
            EXPECT_TRUE(Call(row).errors);
        } else if (IsNumber(limit)) {
            ++limits;
            for (const size_t fits : {0UL, std::stoul(limit)}) {
                platform.QueueReply(Bytes(fits));
                EXPECT_FALSE(Call(row).errors) << fits;
            }
            platform.QueueReply(Bytes(std::stoul(limit) + 1));
            EXPECT_TRUE(Call(row).errors);
        }
    }
    EXPECT_GT(verdicts, 0U);
    EXPECT_GT(limits, 0U);
}

}  // namespace
