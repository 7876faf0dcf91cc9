#include <cstring>
#include <memory>

#include "fake_platform.h"
#include "orvi_ai_srv.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

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

Bytes TextBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

class Assistant : public PlatformTest {};

// --- Hot words ---

TEST_F(Assistant, HotWordRegistrationSendsTheKey) {
    for (const std::string& appId : {std::string("app1"), std::string(), std::string(127, 'a')}) {
        EXPECT_EQ(OrviAiAssistantInitKeyWord(App(appId)), 0);
        EXPECT_EQ(platform.LastPayload(), TextBytes("param_hot_word_" + appId + '\0'));
    }
}

TEST_F(Assistant, HotWordUpdateSendsTheKeyAndTheWords) {
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

TEST_F(Assistant, HotWordRefusals) {
    const std::string endless(128, 'e');
    const struct {
        std::string appId;
        int failCopy;
        std::string reason;
    } rows[] = {
        {":", 0, "appid cannot include the ':', "},     {"a:b", 0, "appid cannot include the ':', "},
        {"app:", 0, "appid cannot include the ':', "},  {endless, 0, "appid is not terminated, "},
        {"app1", 1, "failed: call strncpy_s failed. "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.appId);
        const std::string appId = "appId[" + row.appId + "]";
        platform.FailCopy(row.failCopy);
        EXPECT_EQ(OrviAiAssistantInitKeyWord(App(row.appId)), -1);
        EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{"error <AssistantInitKeyWord> " + row.reason + appId,
                                                     "error <OrviAiAssistantInitKeyWord> request failed."}));
        platform.FailCopy(row.failCopy);
        std::string words = "w";
        EXPECT_EQ(OrviAiAssistantUpdateKeyWord(App(row.appId), ORVI_AI_HOTWORD_UPDATE_TYPE2, words), -1);
        EXPECT_EQ(platform.TakeWithoutInfo(),
                  (Lines{"error OrviAiAssistantUpdateKeyWord enter",
                         "error <AssistantUpdateKeyWord> " + row.reason + "type[2], " + appId,
                         "error <OrviAiAssistantUpdateKeyWord> request failed."}));
    }
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
        EXPECT_EQ(platform.TakeWithoutInfo()[0], "OsMemMallocSetCharMon " + std::to_string(4 + 256 * num));
        Bytes expected = BytesOf(num);
        for (int i = 0; i < num; ++i) {
            expected = expected + BytesOf(intents[static_cast<size_t>(i)].name);
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
    EXPECT_EQ(platform.LastPayload(), Bytes({2, 0, 0, 0}) + Bytes(256, 0) + Bytes(256, 'n'));
}

// The text limits that speech and intent results share. The log shows the whole text in any case.
TEST_F(Assistant, TextLimits) {
    const struct {
        size_t length;
        std::string refused;  // empty: sent
    } rows[] = {
        {0, ""},
        {1024, ""},
        {1025, "> failed: call memcpy_s failed."},
        {2047, "> failed: call memcpy_s failed."},
        {2048, "> failed: tts is not terminated."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.length);
        const bool isSent = row.refused.empty();
        const std::string text(row.length, 't');
        // The records are on the heap, so that the address sanitizer sees a read past them.
        const auto speech = std::make_unique<OrviAiAssistantSpeechText>(WithText<OrviAiAssistantSpeechText>(text));
        speech->param = 0xA0B0C0D0;
        EXPECT_EQ(proxy.AssistantRequestTts(1, *speech), isSent ? 0 : -1);
        EXPECT_EQ(platform.TakeWithoutInfo()[0], isSent
                                                     ? "asyn 0x600057 ai_state_mach len=1032"
                                                     : "error <AiSrvServiceProxy::AssistantRequestTts" + row.refused);
        if (isSent) {
            EXPECT_EQ(platform.LastPayload(),
                      Bytes({1, 0, 0, 0, 0xD0, 0xC0, 0xB0, 0xA0}) + TextBytes(text) + Bytes(1024 - row.length, 0));
        }
        (void)OrviAiAssistantRequestTts(1, *speech);
        EXPECT_EQ(platform.Take()[0], "storm OrviAiAssistantRequestTts seq=1 tts: " + text);

        const auto result = std::make_unique<OrviAiAssistantIntentResult>(WithText<OrviAiAssistantIntentResult>(text));
        result->flag0 = 0x11;
        result->isFinal = 0x22;
        result->isMulti = 0xFF;
        result->flag3 = 0x44;
        memset(result->reserved, 0x55, sizeof(result->reserved));
        EXPECT_EQ(proxy.AssistantNotifyIntentResult(1, *result), isSent ? 0 : -1);
        EXPECT_EQ(platform.TakeWithoutInfo()[0],
                  isSent ? "asyn 0x600058 ai_assist_task len=1052"
                         : "error <AiSrvServiceProxy::AssistantNotifyIntentResult" + row.refused);
        if (isSent) {
            EXPECT_EQ(platform.LastPayload(), Bytes({1, 0, 0, 0, 0x11, 0x22, 0xFF, 0, 0, 0, 0, 0, 0x44}) +
                                                  Bytes(11, 0) + TextBytes(text) + Bytes(1028 - row.length, 0));
        }
        (void)OrviAiAssistantNotifyIntentResult(1, *result);
        EXPECT_EQ(platform.Take()[0],
                  "storm OrviAiAssistantNotifyIntentResult seq=1 isFinal=34 isMulti=255 tts: " + text);
    }
}

TEST_F(Assistant, Card) {
    platform.FailCopy(1);
    EXPECT_EQ(OrviAiAssistantDisplayCard(1, {}), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"error <AiSrvServiceProxy::AssistantDisplayCard> failed: call memcpy_s failed.",
                     "error <OrviAiAssistantDisplayCard> display failed."}));
}

// --- Running state, page info ---

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
        (void)platform.Take();
    }
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), 0) << "the send fails";
    EXPECT_EQ(platform.Take().back(), "error <OrviAiAssistantGetStatus> get status failed.");
    auto status = static_cast<OrviAiAssistantStatus>(99);
    EXPECT_EQ(proxy.AssistantGetStatus(status), -1);
    EXPECT_EQ(static_cast<int>(status), 0);
}

TEST_F(Assistant, PageInfoRepliesReplaceTheStartOfTheRecord) {
    OrviAiAssistantPageInfo pageInfo;
    const Bytes untouched = Bytes(4, 0) + Bytes(40, 0xEE);  // the first word is cleared before the request
    for (const size_t length : {0U, 1U, 3U, 4U, 20U, 43U, 44U}) {
        SCOPED_TRACE(length);
        memset(&pageInfo, 0xEE, sizeof(pageInfo));
        platform.QueueReply(Bytes(length, 0x11));
        EXPECT_EQ(OrviAiAssistantGetPageInfo(&pageInfo), 0);
        Bytes expected = untouched;
        std::fill_n(expected.begin(), length, uint8_t{0x11});
        EXPECT_EQ(BytesOf(pageInfo), expected);
    }
    platform.QueueReply(Bytes(45, 0x11));
    EXPECT_EQ(OrviAiAssistantGetPageInfo(&pageInfo), -1);
    EXPECT_EQ(BytesOf(pageInfo), Bytes(44, 0));
    memset(&pageInfo, 0xEE, sizeof(pageInfo));
    EXPECT_EQ(OrviAiAssistantGetPageInfo(&pageInfo), -1) << "the send fails";
    EXPECT_EQ(BytesOf(pageInfo), untouched);

    (void)platform.Take();
    EXPECT_EQ(OrviAiAssistantGetPageInfo(nullptr), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <OrviAiAssistantGetPageInfo> pageInfo is nullptr."});
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
