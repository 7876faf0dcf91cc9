#include <cstring>
#include <functional>
#include <numeric>

#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_assistant_channels.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

const std::string kAssistSent = "info <SendMsgToVisionAssistant> SendSynMsg ";

tagOrviAppInfo App(const std::string& appId) {
    tagOrviAppInfo info = {};
    memset(info.reserved, 'x', sizeof(info.reserved));
    memcpy(info.appId, appId.data(), std::min(appId.size(), sizeof(info.appId)));
    return info;
}

template <typename Record>
Record WithText(const std::string& text) {
    Record record = {};
    memcpy(record.tts, text.data(), text.size());
    return record;
}

// Bytes that tell their place: 0, 1, 2, ...
template <typename Record>
Record Counting() {
    Bytes bytes(sizeof(Record));
    std::iota(bytes.begin(), bytes.end(), uint8_t{0});
    Record record;
    memcpy(&record, bytes.data(), sizeof(record));
    return record;
}

Bytes TextBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

class Assistant : public PlatformTest {
 protected:
    AiSrvServiceProxy& proxy = AiSrvServiceProxy::GetInstance();
};

// --- Hot words ---

TEST_F(Assistant, HotWordRegistration) {
    EXPECT_EQ(OrviAiAssistantInitKeyWord(App("app1")), 0);
    EXPECT_EQ(platform.Take(), (Lines{"storm OrviAiAssistantInitKeyWord enter",
                                      "storm SendMsgToVisionAssistantHotword msgId 6291552, msgDataLen 20",
                                      "info SendMsgToVisionAssistantHotword msgId 6291552, msgDataLen 20",
                                      "asyn 0x600060 ai_hotword_task len=20",
                                      "info <SendMsgToVisionAssistantHotword> SendSynMsg 0x600060 to Vision> "
                                      "Success!"}));
    EXPECT_EQ(platform.LastPayload(), TextBytes(std::string("param_hot_word_app1") + '\0'));

    EXPECT_EQ(OrviAiAssistantInitKeyWord(App("")), 0);
    EXPECT_EQ(platform.LastPayload(), TextBytes(std::string("param_hot_word_") + '\0'));
    EXPECT_EQ(OrviAiAssistantInitKeyWord(App(std::string(127, 'a'))), 0);
    EXPECT_EQ(platform.LastPayload().size(), 143U);
}

TEST_F(Assistant, HotWordUpdate) {
    std::string words = "hello";
    EXPECT_EQ(OrviAiAssistantUpdateKeyWord(App("app1"), ORVI_AI_HOTWORD_UPDATE_TYPE1, words), 0);
    EXPECT_EQ(platform.Take(), (Lines{"error OrviAiAssistantUpdateKeyWord enter",
                                      "info <AssistantUpdateKeyWord> enter, type[1], appId[app1]",
                                      "storm SendMsgToVisionAssistantHotword msgId 6291554, msgDataLen 26",
                                      "info SendMsgToVisionAssistantHotword msgId 6291554, msgDataLen 26",
                                      "asyn 0x600062 ai_hotword_task len=26",
                                      "info <SendMsgToVisionAssistantHotword> SendSynMsg 0x600062 to Vision> Success!",
                                      "info <AssistantUpdateKeyWord> out, type[1], appId[app1]"}));

    const struct {
        int32_t type;
        std::string words;
        std::string sent;
    } rows[] = {
        {0, "hello", "asyn 0x600061 ai_hotword_task len=26"},
        {1, "", "asyn 0x600062 ai_hotword_task len=21"},
        {2, "a:b", "asyn 0x600063 ai_hotword_task len=24"},
        {3, "hello", "asyn 0x600061 ai_hotword_task len=26"},
        {-1, "hello", "asyn 0x600061 ai_hotword_task len=26"},
        {0, std::string(100000, 'w'), "asyn 0x600061 ai_hotword_task len=100021"},
    };
    for (const auto& row : rows) {
        std::string text = row.words;
        EXPECT_EQ(OrviAiAssistantUpdateKeyWord(App("app1"), static_cast<OrviAiHotwordUpdateType>(row.type), text), 0);
        EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{"error OrviAiAssistantUpdateKeyWord enter", row.sent}));
        EXPECT_EQ(platform.LastPayload(), TextBytes("param_hot_word_app1:" + row.words + '\0'));
        EXPECT_EQ(text, row.words);
    }
    std::string withNul("he\0llo", 6);  // all of it counts, nothing behind the NUL leaves
    EXPECT_EQ(OrviAiAssistantUpdateKeyWord(App("app1"), ORVI_AI_HOTWORD_UPDATE, withNul), 0);
    EXPECT_EQ(platform.LastPayload(), TextBytes(std::string("param_hot_word_app1:he\0\0\0\0\0", 27)));
}

TEST_F(Assistant, HotWordFailures) {
    const std::string endless(128, 'e');
    const auto expect = [&](const std::string& appId, const std::string& registration, const std::string& update,
                            const std::function<void()>& prepare, const Lines& before) {
        prepare();
        EXPECT_EQ(OrviAiAssistantInitKeyWord(App(appId)), -1);
        Lines expected = before;
        expected.push_back("error <AssistantInitKeyWord> " + registration);
        expected.emplace_back("error <OrviAiAssistantInitKeyWord> request failed.");
        EXPECT_EQ(platform.TakeWithoutInfo(), expected);

        prepare();
        std::string words = "w";
        EXPECT_EQ(OrviAiAssistantUpdateKeyWord(App(appId), ORVI_AI_HOTWORD_UPDATE_TYPE2, words), -1);
        expected = {"error OrviAiAssistantUpdateKeyWord enter"};
        for (std::string line : before) {
            const size_t id = line.find("600060");
            expected.push_back(id == std::string::npos ? line : line.replace(id, 6, "600063"));
        }
        expected.push_back("error <AssistantUpdateKeyWord> " + update);
        expected.emplace_back("error <OrviAiAssistantUpdateKeyWord> request failed.");
        Lines lines = platform.TakeWithoutInfo();
        for (std::string& line : lines) {  // the update text is longer; the lengths are checked above
            line = line.compare(0, 5, "asyn ") == 0 ? line.substr(0, line.find(" len=")) : line;
        }
        for (std::string& line : expected) {
            line = line.compare(0, 5, "asyn ") == 0 ? line.substr(0, line.find(" len=")) : line;
        }
        EXPECT_EQ(lines, expected);
    };
    const auto nothing = [] {};
    for (const std::string appId : {":", "a:b", "app:"}) {
        expect(appId, "appid cannot include the ':', appId[" + appId + "]",
               "appid cannot include the ':', type[2], appId[" + appId + "]", nothing, {});
    }
    expect(endless, "appid is not terminated, appId[" + endless + "]",
           "appid is not terminated, type[2], appId[" + endless + "]", nothing, {});
    expect("app1", "failed: call strncpy_s failed. appId[app1]", "failed: call strncpy_s failed. type[2], appId[app1]",
           [&] { platform.FailCopy(1); }, {});
    expect("app1", "SendSynMsg failed. appId[app1]", "SendSynMsg failed. msgId[0x600063], type[2], appId[app1]",
           [&] { platform.asynSendResult = 5; },
           {"asyn 0x600060 ai_hotword_task len=20",
            "error <SendMsgToVisionAssistantHotword> failed: msg 0x600060 call OsMsgSynSend failed 5."});
}

TEST_F(Assistant, HotWordSenderSendsNoPointerWithoutALength) {
    const char byte = 1;
    EXPECT_EQ(OrviAiService::SendMsgToVisionAssistantHotword(0x600060, &byte, 0), 0);
    EXPECT_TRUE(platform.LastPayloadWasNull());
    EXPECT_EQ(OrviAiService::SendMsgToVisionAssistant(0x600056, &byte, 0), 0);
    EXPECT_FALSE(platform.LastPayloadWasNull());
}

// --- Intents, speech, cards ---

TEST_F(Assistant, Intents) {
    std::vector<OrviAiAssistantIntentName> intents(64);
    for (size_t i = 0; i < intents.size(); ++i) {
        memset(&intents[i], static_cast<int>(i + 1), sizeof(intents[i]));  // also behind the NUL and in `reserved`
        intents[i].name[7] = '\0';
    }
    for (const int num : {0, 1, 64}) {
        EXPECT_EQ(OrviAiAssistantInitIntent(intents.data(), num), 0);
        const std::string size = std::to_string(4 + 256 * num);
        EXPECT_EQ(platform.Take(), (Lines{"storm OrviAiAssistantInitIntent enter, intents num " + std::to_string(num),
                                          "OsMemMallocSetCharMon " + size, "asyn 0x600056 ai_assist_task len=" + size,
                                          kAssistSent + "600056 to Vision> Success!", "OSMemTypeFreeMon"}));
        Bytes expected = BytesOf(num);
        for (int i = 0; i < num; ++i) {
            const Bytes name = BytesOf(intents[static_cast<size_t>(i)].name);
            expected.insert(expected.end(), name.begin(), name.end());
        }
        EXPECT_EQ(platform.LastPayload(), expected);
    }
}

TEST_F(Assistant, IntentFailures) {
    OrviAiAssistantIntentName intents[2] = {};
    memset(intents, 'n', sizeof(intents));
    const std::string refused = "error <OrviAiAssistantInitIntent> request failed.";
    for (const int num : {65, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(OrviAiAssistantInitIntent(intents, num), -1);
        EXPECT_EQ(platform.TakeWithoutInfo(),
                  (Lines{"error <AiSrvServiceProxy::AssistantInitIntent> over max num, cur num " + std::to_string(num),
                         refused}));
    }
    EXPECT_EQ(OrviAiAssistantInitIntent(nullptr, 65), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <OrviAiAssistantInitIntent> intents is nullptr."});
    EXPECT_EQ(proxy.AssistantInitIntent(nullptr, 1), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <AiSrvServiceProxy::AssistantInitIntent> intents is nullptr."});

    platform.failMonitoredMalloc = true;
    EXPECT_EQ(OrviAiAssistantInitIntent(intents, 2), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"OsMemMallocSetCharMon 516",
                     "error <AiSrvServiceProxy::AssistantInitIntent> failed: call OsMemMallocSetCharMon failed, size "
                     "516.",
                     refused}));
    platform.failMonitoredMalloc = false;

    platform.FailCopy(1);  // the first name: its slot is empty, the second goes out
    EXPECT_EQ(OrviAiAssistantInitIntent(intents, 2), 0);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"OsMemMallocSetCharMon 516",
                     "error <AiSrvServiceProxy::AssistantInitIntent> failed: call memcpy_s failed.",
                     "asyn 0x600056 ai_assist_task len=516", "OSMemTypeFreeMon"}));
    Bytes expected = {2, 0, 0, 0};
    expected.resize(4 + 256, 0);
    expected.resize(4 + 512, 'n');
    EXPECT_EQ(platform.LastPayload(), expected);

    platform.asynSendResult = -3;
    EXPECT_EQ(OrviAiAssistantInitIntent(intents, 0), -1);
    EXPECT_EQ(
        platform.TakeWithoutInfo(),
        (Lines{"OsMemMallocSetCharMon 4", "asyn 0x600056 ai_assist_task len=4",
               "error <SendMsgToVisionAssistant> failed: msg 600056 call OsMsgSynSend failed -3.", "OSMemTypeFreeMon",
               "error <AiSrvServiceProxy::AssistantInitIntent> call SendSynMsgToVision "
               "failed.",
               refused}));
}

TEST_F(Assistant, IntentResultPayload) {
    auto result = WithText<OrviAiAssistantIntentResult>("done");
    result.flag0 = 0x11;
    result.isFinal = 0x22;
    result.isMulti = 0xFF;
    result.flag3 = 0x44;
    memset(result.reserved, 0x55, sizeof(result.reserved));
    memset(result.tts + 5, 0x66, sizeof(result.tts) - 5);
    EXPECT_EQ(OrviAiAssistantNotifyIntentResult(0x01020304, result), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"storm OrviAiAssistantNotifyIntentResult seq=16909060 isFinal=34 isMulti=255 tts: done",
                     "storm <AiSrvServiceProxy::AssistantNotifyIntentResult> enter",
                     "info <AiSrvServiceProxy::AssistantNotifyIntentResult> enter",
                     "asyn 0x600058 ai_assist_task len=1052", kAssistSent + "600058 to Vision> Success!"}));
    Bytes expected = {4, 3, 2, 1, 0x11, 0x22, 0xFF, 0, 0, 0, 0, 0, 0x44};
    expected.resize(24, 0);
    expected.insert(expected.end(), {'d', 'o', 'n', 'e'});
    expected.resize(1052, 0);
    EXPECT_EQ(platform.LastPayload(), expected);
}

TEST_F(Assistant, SpeechPayload) {
    auto speech = WithText<OrviAiAssistantSpeechText>("say");
    speech.param = 0xA0B0C0D0;
    EXPECT_EQ(OrviAiAssistantRequestTts(7, speech), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"storm OrviAiAssistantRequestTts seq=7 tts: say",
                     "storm <AiSrvServiceProxy::AssistantRequestTts> enter", "asyn 0x600057 ai_state_mach len=1032",
                     "storm <SendMsgToVisionAssistantFsm> SendSynMsg 600057 to Vision> Success!"}));
    Bytes expected = {7, 0, 0, 0, 0xD0, 0xC0, 0xB0, 0xA0, 's', 'a', 'y'};
    expected.resize(1032, 0);
    EXPECT_EQ(platform.LastPayload(), expected);
}

// The text limits that speech and intent results share.
TEST_F(Assistant, TextLimits) {
    const struct {
        size_t length;
        const char* reason;  // null: sent
    } rows[] = {
        {0, nullptr},
        {1024, nullptr},
        {1025, "failed: call memcpy_s failed."},
        {2047, "failed: call memcpy_s failed."},
        {2048, "failed: tts is not terminated."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.length);
        const std::string text(row.length, 't');
        // On the heap, so that the address sanitizer sees a read past the record.
        const auto speech = std::make_unique<OrviAiAssistantSpeechText>(WithText<OrviAiAssistantSpeechText>(text));
        const auto result = std::make_unique<OrviAiAssistantIntentResult>(WithText<OrviAiAssistantIntentResult>(text));
        const int expected = row.reason == nullptr ? 0 : -1;

        EXPECT_EQ(proxy.AssistantRequestTts(1, *speech), expected);
        (void)platform.Take();
        EXPECT_EQ(OrviAiAssistantRequestTts(1, *speech), expected);
        Lines lines = platform.Take();
        EXPECT_EQ(lines[0], "storm OrviAiAssistantRequestTts seq=1 tts: " + text);
        if (row.reason == nullptr) {
            EXPECT_EQ(lines[2], "asyn 0x600057 ai_state_mach len=1032");
            Bytes payload = {1, 0, 0, 0, 0, 0, 0, 0};
            payload.resize(8 + row.length, 't');
            payload.resize(1032, 0);
            EXPECT_EQ(platform.LastPayload(), payload);
        } else {
            EXPECT_EQ(Lines(lines.begin() + 2, lines.end()),
                      (Lines{std::string("error <AiSrvServiceProxy::AssistantRequestTts> ") + row.reason,
                             "error <OrviAiAssistantRequestTts> request failed."}));
        }

        EXPECT_EQ(proxy.AssistantNotifyIntentResult(1, *result), expected);
        (void)platform.Take();
        EXPECT_EQ(OrviAiAssistantNotifyIntentResult(1, *result), expected);
        lines = platform.Take();
        EXPECT_EQ(lines[0], "storm OrviAiAssistantNotifyIntentResult seq=1 isFinal=0 isMulti=0 tts: " + text);
        if (row.reason == nullptr) {
            EXPECT_EQ(lines[3], "asyn 0x600058 ai_assist_task len=1052");
            Bytes payload = {1};
            payload.resize(24, 0);
            payload.resize(24 + row.length, 't');
            payload.resize(1052, 0);
            EXPECT_EQ(platform.LastPayload(), payload);
        } else {
            EXPECT_EQ(Lines(lines.begin() + 3, lines.end()),
                      (Lines{std::string("error <AiSrvServiceProxy::AssistantNotifyIntentResult> ") + row.reason,
                             "error <OrviAiAssistantNotifyIntentResult> notify failed."}));
        }
    }
}

TEST_F(Assistant, Card) {
    const auto card = Counting<OrviAiAssistantCard>();
    EXPECT_EQ(OrviAiAssistantDisplayCard(0xFFFFFFFF, card), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"storm OrviAiAssistantDisplayCard seq=4294967295",
                     "storm <AiSrvServiceProxy::AssistantDisplayCard> enter", "asyn 0x600059 ai_assist_task len=20880",
                     kAssistSent + "600059 to Vision> Success!"}));
    Bytes expected(4, 0xFF);
    const Bytes bytes = BytesOf(card);
    expected.insert(expected.end(), bytes.begin(), bytes.end());
    EXPECT_EQ(platform.LastPayload(), expected);

    platform.FailCopy(1);
    EXPECT_EQ(OrviAiAssistantDisplayCard(1, card), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"error <AiSrvServiceProxy::AssistantDisplayCard> failed: call memcpy_s failed.",
                     "error <OrviAiAssistantDisplayCard> display failed."}));
}

TEST_F(Assistant, Choice) {
    EXPECT_EQ(OrviAiAssistantChooseItem(0x01020304, 0xFFFFFFFE), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"storm OrviAiAssistantChooseItem seq=16909060 itemId=4294967294",
                     "storm <AiSrvServiceProxy::AssistantChooseItem> enter", "asyn 0x60005A ai_assist_task len=272",
                     kAssistSent + "60005a to Vision> Success!"}));
    Bytes expected = {4, 3, 2, 1};
    expected.resize(268, 0);
    expected.insert(expected.end(), {0xFE, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(platform.LastPayload(), expected);
}

// --- Running state, page info ---

TEST_F(Assistant, WakeUpSleepAndPageInfo) {
    EXPECT_EQ(OrviAiAssistantWakeUp(static_cast<OrviAiAssistantRunningMode>(-2)), 0);
    EXPECT_EQ(platform.Take(), (Lines{"storm OrviAiAssistantRunningMode mode=-2", "asyn 0x60005C ai_assist_task len=4",
                                      kAssistSent + "60005c to Vision> Success!"}));
    EXPECT_EQ(platform.LastPayload(), BytesOf(-2));

    EXPECT_EQ(OrviAiAssistantSleep(), 0);
    EXPECT_EQ(platform.Take(), (Lines{"storm OrviAiAssistantSleep", "asyn 0x60005B ai_assist_task len=0",
                                      kAssistSent + "60005b to Vision> Success!"}));
    EXPECT_TRUE(platform.LastPayloadWasNull());

    const auto pageInfo = Counting<OrviAiAssistantPageInfo>();
    EXPECT_EQ(OrviAiAssistantSetPageInfo(pageInfo), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"storm OrviAiAssistantSetPageInfo", "storm <AiSrvServiceProxy::AssistantSetPageInfo> enter",
                     "asyn 0x60005D ai_assist_task len=44", kAssistSent + "60005d to Vision> Success!"}));
    EXPECT_EQ(platform.LastPayload(), BytesOf(pageInfo));
}

// A refused send and a failed copy of each name, for the one-way requests that share a sender.
TEST_F(Assistant, OneWayFailures) {
    const struct {
        std::string message;
        std::string task;
        std::string sender;
        std::string method;
        std::string exported;
        std::function<int()> call;
        int copiesBefore;
    } rows[] = {
        {"600057", "ai_state_mach len=1032", "SendMsgToVisionAssistantFsm", "<AssistantRequestTts>",
         "<OrviAiAssistantRequestTts> request failed.",
         [] { return OrviAiAssistantRequestTts(1, OrviAiAssistantSpeechText{}); }, 1},
        {"600058", "ai_assist_task len=1052", "SendMsgToVisionAssistant", "<AssistantNotifyIntentResult>",
         "<OrviAiAssistantNotifyIntentResult> notify failed.",
         [] { return OrviAiAssistantNotifyIntentResult(1, OrviAiAssistantIntentResult{}); }, 1},
        {"600059", "ai_assist_task len=20880", "SendMsgToVisionAssistant", "<AssistantDisplayCard>",
         "<OrviAiAssistantDisplayCard> display failed.",
         [] { return OrviAiAssistantDisplayCard(1, OrviAiAssistantCard{}); }, 1},
        {"60005a", "ai_assist_task len=272", "SendMsgToVisionAssistant", "<AssistantChooseItem>",
         "<OrviAiAssistantChooseItem> choose item failed.", [] { return OrviAiAssistantChooseItem(1, 2); }, 0},
        {"60005b", "ai_assist_task len=0", "SendMsgToVisionAssistant", "<AssistantSleep>",
         "<OrviAiAssistantSleep> sleep failed.", [] { return OrviAiAssistantSleep(); }, 0},
        {"60005c", "ai_assist_task len=4", "SendMsgToVisionAssistant", "<AssistantWakeUp>",
         "<OrviAiAssistantWakeUp> wake up failed.",
         [] { return OrviAiAssistantWakeUp(ORVI_AI_ASSISTANT_MODE_DEFAULT); }, 0},
        {"60005d", "ai_assist_task len=44", "SendMsgToVisionAssistant", "<AssistantSetPageInfo>",
         "<OrviAiAssistantSetPageInfo> set page info failed.",
         [] { return OrviAiAssistantSetPageInfo(OrviAiAssistantPageInfo{}); }, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        const Lines above = {"error " + row.method + " call SendSynMsgToVision failed.", "error " + row.exported};
        platform.asynSendResult = 9;
        EXPECT_EQ(row.call(), -1);
        std::string id = "0x" + row.message;
        std::transform(id.begin() + 2, id.end(), id.begin() + 2, [](char c) { return static_cast<char>(toupper(c)); });
        EXPECT_EQ(platform.TakeWithoutInfo(),
                  (Lines{"asyn " + id + " " + row.task,
                         "error <" + row.sender + "> failed: msg " + row.message + " call OsMsgSynSend failed 9.",
                         above[0], above[1]}));
        platform.asynSendResult = 0;
        int nth = row.copiesBefore;
        for (const char* const name : {"recvProcName", "recvTaskName"}) {
            platform.FailCopy(++nth);
            EXPECT_EQ(row.call(), -1);
            EXPECT_EQ(platform.TakeWithoutInfo(),
                      (Lines{"error <" + row.sender + "> failed: call memcpy_s set " + name + " failed.", above[0],
                             above[1]}));
        }
    }
}

TEST_F(Assistant, Status) {
    const struct {
        Bytes reply;
        int32_t status;
    } rows[] = {
        {{4, 3, 2, 1}, 0x01020304},
        {{0xFE, 0xFF}, 0xFFFE},
        {{}, 0},
        {{0xFF, 0xFF, 0xFF, 0xFF}, -1},
    };
    for (const auto& row : rows) {
        platform.QueueReply(row.reply);
        EXPECT_EQ(static_cast<int32_t>(OrviAiAssistantGetStatus()), row.status);
        EXPECT_EQ(platform.Take(), (Lines{"syn 0x60005F ai_assist_task len=0 wait=3000", "free reply"}));
        EXPECT_TRUE(platform.LastPayloadWasNull());
    }
    platform.QueueReply({1, 2, 3, 4, 5});
    auto status = static_cast<OrviAiAssistantStatus>(99);
    EXPECT_EQ(proxy.AssistantGetStatus(status), -1);
    EXPECT_EQ(static_cast<int>(status), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"syn 0x60005F ai_assist_task len=0 wait=3000",
                     "error <AiSrvServiceProxy::AssistantGetStatus> failed: call memcpy_s failed.", "free reply"}));
    platform.QueueReply({1, 2, 3, 4, 5});
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), 0);
    EXPECT_EQ(platform.Take().back(), "error <OrviAiAssistantGetStatus> get status failed.");
}

TEST_F(Assistant, PageInfoReplies) {
    for (const size_t length : {0U, 1U, 3U, 4U, 20U, 43U, 44U}) {
        SCOPED_TRACE(length);
        OrviAiAssistantPageInfo pageInfo;
        memset(&pageInfo, 0xEE, sizeof(pageInfo));
        platform.QueueReply(Bytes(length, 0x11));
        EXPECT_EQ(OrviAiAssistantGetPageInfo(&pageInfo), 0);
        EXPECT_EQ(platform.Take(),
                  (Lines{"storm OrviAiAssistantGetPageInfo", "storm <AiSrvServiceProxy::AssistantGetPageInfo> enter",
                         "syn 0x60005E ai_assist_task len=0 wait=3000", "free reply"}));
        Bytes expected(4, 0);
        expected.resize(44, 0xEE);
        std::fill_n(expected.begin(), length, uint8_t{0x11});
        EXPECT_EQ(BytesOf(pageInfo), expected);
    }
    OrviAiAssistantPageInfo pageInfo;
    memset(&pageInfo, 0xEE, sizeof(pageInfo));
    platform.QueueReply(Bytes(45, 0x11));
    EXPECT_EQ(OrviAiAssistantGetPageInfo(&pageInfo), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"syn 0x60005E ai_assist_task len=0 wait=3000",
                     "error <AiSrvServiceProxy::AssistantGetPageInfo> failed: call memcpy_s failed.", "free reply",
                     "error <OrviAiAssistantGetPageInfo> get page info failed."}));
    EXPECT_EQ(BytesOf(pageInfo), Bytes(44, 0));

    EXPECT_EQ(OrviAiAssistantGetPageInfo(nullptr), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <OrviAiAssistantGetPageInfo> pageInfo is nullptr."});
}

TEST_F(Assistant, SynchronousFailures) {
    const std::string sent = "syn 0x60005E ai_assist_task len=0 wait=3000";
    const std::string sender = "error <SendSyncMsgToVisionAssistant> failed: ";
    const Lines above = {"error <AiSrvServiceProxy::AssistantGetPageInfo> call SendSynMsgToVision failed.",
                         "error <OrviAiAssistantGetPageInfo> get page info failed."};
    const struct {
        std::function<void()> prepare;
        Lines lines;
    } rows[] = {
        {[&] { platform.QueueSendFailure(-8); }, {sent, sender + "msg 60005e call OsMsgSynSend failed -8."}},
        {[&] { platform.QueueNoReply(); }, {sent, sender + "can not get msg 60005e response"}},
        {[&] { platform.QueueReplyWithoutData(44); }, {sent, "free reply", sender + "can not get msg 60005e response"}},
        {[&] { platform.FailCopy(1); }, {sender + "call memcpy_s set recvProcName failed."}},
        {[&] { platform.FailCopy(2); }, {sender + "call memcpy_s set recvTaskName failed."}},
    };
    for (const auto& row : rows) {
        OrviAiAssistantPageInfo pageInfo;
        memset(&pageInfo, 0xEE, sizeof(pageInfo));
        row.prepare();
        EXPECT_EQ(OrviAiAssistantGetPageInfo(&pageInfo), -1);
        Lines expected = row.lines;
        expected.insert(expected.end(), above.begin(), above.end());
        EXPECT_EQ(platform.TakeWithoutInfo(), expected);
        Bytes kept(4, 0);
        kept.resize(44, 0xEE);
        EXPECT_EQ(BytesOf(pageInfo), kept);
    }
    platform.QueueSendFailure(-8);
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"syn 0x60005F ai_assist_task len=0 wait=3000", sender + "msg 60005f call OsMsgSynSend failed -8.",
                     "error <AiSrvServiceProxy::AssistantGetStatus> call SendSynMsgToVision failed.",
                     "error <OrviAiAssistantGetStatus> get status failed."}));
    EXPECT_EQ(OrviAiService::SendSyncMsgToVisionAssistant(0x60005F, nullptr), -1);
    EXPECT_EQ(platform.Take(), Lines{sender + "input is nullptr."});
}

TEST_F(Assistant, AbilityAsksNobody) {
    OrviAiAssistantAbility ability = {1, 2};
    EXPECT_EQ(OrviAiAssistantGetAbility(&ability), 0);
    EXPECT_EQ(ability.value1, 100);
    EXPECT_EQ(ability.value2, 50);
    EXPECT_EQ(OrviAiAssistantGetAbility(nullptr), -1);
    EXPECT_EQ(platform.Take(), Lines{});
}

}  // namespace
