#include <cstring>
#include <memory>

#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

class CheckIn : public PlatformTest {
 protected:
    AiSrvServiceProxy& proxy = AiSrvServiceProxy::GetInstance();
};

// Every byte differs from its neighbours and from those of other fields; texts fill their fields.
tagOrviAiConfIdInfo FullRecord() {
    tagOrviAiConfIdInfo info;
    auto* const bytes = reinterpret_cast<char*>(&info);
    for (size_t i = 0; i < sizeof(info); ++i) {
        bytes[i] = static_cast<char>('!' + i % 89);
    }
    info.confUuid[191] = info.confId[191] = info.userid[255] = info.account[255] = info.confKey[255] = '\0';
    return info;
}

// --- Requests answered by a verdict ---

int Start() {
    return OrviAiSrvCheckInStart(FullRecord());
}
int StartReport() {
    return OrviAiSrvCheckInStartReport(static_cast<tagOrviAiCheckinType>(-3), FullRecord());
}
int StartMethod(AiSrvServiceProxy& proxy) {
    tagOrviAiConfIdInfo info = FullRecord();
    return proxy.CheckInStart(info);
}
int StartReportMethod(AiSrvServiceProxy& proxy) {
    tagOrviAiConfIdInfo info = FullRecord();
    return proxy.CheckInStartReport(static_cast<tagOrviAiCheckinType>(-3), info);
}
template <int (AiSrvServiceProxy::*Method)()>
int Plain(AiSrvServiceProxy& proxy) {
    return (proxy.*Method)();
}
Bytes Address() {
    return BytesOf(tagAiTaskBasicInfo{"ai_vpp4711", "ai_vpt4711", 1});
}
Bytes Record() {
    return BytesOf(FullRecord());
}
Bytes Report() {
    Bytes expected = BytesOf(int32_t{-3});
    const Bytes record = Record();
    expected.insert(expected.end(), record.begin(), record.end());
    return expected;
}
Bytes Nothing() {
    return {};
}

struct Call {
    int (*exported)();
    int (*method)(AiSrvServiceProxy&);
    const char* id;    // as the log prints it
    const char* sent;  // as the bus sees it
    Bytes (*payload)();
    Lines begin;
    const char* failed;
};

const Call CALLS[] = {
    {OrviAiSrvCheckInInit,
     Plain<&AiSrvServiceProxy::CheckInInit>,
     "600022",
     "syn 0x600022 ai_face_task len=36 wait=3000",
     Address,
     {"info <OrviAiSrvCheckInInit> init request begin.", "info <CheckInInit> enter"},
     "error <OrviAiSrvCheckInInit> init request failed."},
    {Start,
     StartMethod,
     "600023",
     "syn 0x600023 ai_face_task len=1152 wait=3000",
     Record,
     {"info <OrviAiSrvCheckInStart> init request begin.", "info <CheckInStart> enter"},
     "error <OrviAiSrvCheckInStart> init request failed."},
    {StartReport,
     StartReportMethod,
     "600024",
     "syn 0x600024 ai_face_task len=1156 wait=3000",
     Report,
     {},
     "error <OrviAiSrvCheckInStartReport> init request failed."},
    {OrviAiSrvCheckInStopReport,
     Plain<&AiSrvServiceProxy::CheckInStoptReport>,
     "600025",
     "syn 0x600025 ai_face_task len=0 wait=3000",
     Nothing,
     {"info <OrviAiSrvCheckInStopReport> init request begin.", "info <CheckInStoptReport> enter"},
     "error <OrviAiSrvCheckInStopReport> init request failed."},
    {OrviAiSrvCheckInStop,
     Plain<&AiSrvServiceProxy::CheckInStop>,
     "600028",
     "syn 0x600028 ai_face_task len=0 wait=3000",
     Nothing,
     {"info <OrviAiSrvCheckInStop> init request begin.", "info <CheckInStop> enter"},
     "error <OrviAiSrvCheckInStop> init request failed."},
    {OrviAiSrvCheckInClearData,
     Plain<&AiSrvServiceProxy::CheckInClearData>,
     "600029",
     "syn 0x600029 ai_face_task len=0 wait=3000",
     Nothing,
     {"info <OrviAiSrvCheckInClearData> init request begin.", "info <CheckInClearData> enter"},
     "error <OrviAiSrvCheckInClearData> init request failed."},
    {OrviAiSrvCheckInDeinit,
     Plain<&AiSrvServiceProxy::CheckInDeinit>,
     "60002a",
     "syn 0x60002A ai_face_task len=36 wait=3000",
     Address,
     {"info <OrviAiSrvCheckInDeinit> init request begin.", "info <CheckInDeinit> enter"},
     "error <OrviAiSrvCheckInDeinit> init request failed."},
};

TEST_F(CheckIn, RequestsAnsweredByAVerdict) {
    Init();
    for (const Call& call : CALLS) {
        SCOPED_TRACE(call.sent);
        const std::string id = call.id;
        platform.QueueReply({0, 77});
        EXPECT_EQ(call.exported(), 0);
        Lines expected = call.begin;
        expected.insert(
            expected.end(),
            {call.sent, "info <SendSynMsgToVisionFaceTask> SendSynMsg " + id + " to Vision FaceTask> Success!",
             "free reply"});
        EXPECT_EQ(platform.Take(), expected);
        EXPECT_EQ(platform.LastPayload(), call.payload());
        EXPECT_EQ(platform.LastPayloadWasNull(), call.payload().empty());

        const std::string refused = "error <SendSynMsgToFaceReturnInt> msgId=" + id + " response VOS_ERROR.";
        platform.QueueReply({2});
        EXPECT_EQ(call.method(proxy), 2);
        EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{call.sent, "free reply", refused}));
        platform.QueueReply({2});
        EXPECT_EQ(call.exported(), -1);
        EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{call.sent, "free reply", refused, call.failed}));

        platform.QueueSendFailure(-3);
        EXPECT_EQ(call.exported(), -1);
        EXPECT_EQ(platform.Take().back(), call.failed);
    }
}

TEST_F(CheckIn, AnAddressThatDoesNotFitIsNotSent) {
    platform.pid = 1234567890;  // a name of 16 characters
    (void)OrviAiSrvApiInit(tagOrviAppInfo{}, [](OrviAiEventId, void*) {});
    (void)platform.Take();
    const std::string cause = "error <SetStAiTaskBasicInfo> memcpy_s proc name failed.";
    EXPECT_EQ(OrviAiSrvCheckInInit(), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{cause, "error <CheckInInit> failed: call SetStAiTaskBasicInfo failed.",
                                                 "error <OrviAiSrvCheckInInit> init request failed."}));
    EXPECT_EQ(proxy.CheckInDeinit(), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{cause, "error <CheckInDeinit> failed: call SetStAiTaskBasicInfo failed."}));
}

// --- Texts of the start report ---

struct Text {
    const char* name;
    size_t offset;
    size_t size;
};
const Text TEXTS[] = {
    {"userid", offsetof(tagOrviAiConfIdInfo, userid), 256},
    {"confId", offsetof(tagOrviAiConfIdInfo, confId), 192},
    {"confUuid", offsetof(tagOrviAiConfIdInfo, confUuid), 192},
    {"account", offsetof(tagOrviAiConfIdInfo, account), 256},
    {"confKey", offsetof(tagOrviAiConfIdInfo, confKey), 256},
};

TEST_F(CheckIn, ATextWithoutItsNulIsRefusedByTheReportOnly) {
    for (const Text& text : TEXTS) {
        SCOPED_TRACE(text.name);
        // An exact allocation: a read past the last field is seen by the address sanitizer.
        const auto info = std::make_unique<tagOrviAiConfIdInfo>(FullRecord());
        char* const last = reinterpret_cast<char*>(info.get()) + text.offset + text.size - 1;
        ASSERT_EQ(*last, '\0');
        *last = 'x';
        EXPECT_EQ(proxy.CheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, *info), -1);
        EXPECT_EQ(platform.Take(), Lines{std::string("info <CheckInStartReport> strcpy_s ") + text.name + " failed"});
        EXPECT_EQ(OrviAiSrvCheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, *info), -1);
        EXPECT_EQ(platform.Take().back(), "error <OrviAiSrvCheckInStartReport> init request failed.");

        platform.QueueReply({0});
        EXPECT_EQ(proxy.CheckInStart(*info), 0);
        EXPECT_EQ(platform.LastPayload(), BytesOf(*info));
        (void)platform.Take();
    }
}

TEST_F(CheckIn, TheFirstCopyThatFailsNamesItsText) {
    tagOrviAiConfIdInfo info = FullRecord();
    for (size_t i = 0; i < std::size(TEXTS); ++i) {
        platform.FailCopy(static_cast<int>(i) + 1);
        EXPECT_EQ(proxy.CheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, info), -1);
        EXPECT_EQ(platform.Take(),
                  Lines{std::string("info <CheckInStartReport> strcpy_s ") + TEXTS[i].name + " failed"});
    }
}

TEST_F(CheckIn, WhatStandsBehindATextIsNotSent) {
    tagOrviAiConfIdInfo info = FullRecord();
    info.account[0] = '\0';
    platform.QueueReply({0});
    EXPECT_EQ(proxy.CheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, info), 0);
    const Bytes payload = platform.LastPayload();
    EXPECT_EQ(Bytes(payload.begin() + 644, payload.begin() + 900), Bytes(256, 0));
    EXPECT_EQ(payload[900], static_cast<uint8_t>(info.confKey[0]));
}

// --- Data query ---

constexpr auto SHOW = [](int value) { return static_cast<OrviAiCheckInShowType>(value); };

TEST_F(CheckIn, DataQueryLimits) {
    struct Case {
        int showType;
        uint32_t pageNum;
        const char* refused;  // null: sent
    };
    const Case cases[] = {
        {0, 1, nullptr},
        {6, 56, nullptr},
        {7, 1, "info <OrviAiSrvGetCheckinData> type=7 is invalid."},
        {-1, 1, "info <OrviAiSrvGetCheckinData> type=-1 is invalid."},
        {0, 0, "info <OrviAiSrvGetCheckinData> pageNum=0 is invalid."},
        {6, 57, "info <OrviAiSrvGetCheckinData> pageNum=57 is invalid."},
        {7, 57, "info <OrviAiSrvGetCheckinData> type=7 is invalid."},
    };
    const auto data = std::make_unique<tagCheckinTotalData>();
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.showType) + " " + std::to_string(c.pageNum));
        if (c.refused == nullptr) {
            platform.QueueReply({1});
        }
        EXPECT_EQ(OrviAiSrvGetCheckinData(data.get(), SHOW(c.showType), c.pageNum), c.refused == nullptr ? 0 : -1);
        const Lines lines = platform.Take();
        if (c.refused != nullptr) {
            EXPECT_EQ(lines, Lines{c.refused});
        } else {
            EXPECT_EQ(lines[0], "syn 0x600026 ai_face_task len=8 wait=3000");
            const uint32_t query[] = {static_cast<uint32_t>(c.showType), c.pageNum};
            EXPECT_EQ(platform.LastPayload(), BytesOf(query));
        }
    }
    EXPECT_EQ(OrviAiSrvGetCheckinData(nullptr, SHOW(7), 0), -1);
    EXPECT_EQ(platform.Take(), Lines{"info <OrviAiSrvGetCheckinData> checkinData is nullptr."});
    EXPECT_EQ(proxy.QueryCheckInData(nullptr, SHOW(0), 1), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <QueryCheckInData> failed: input is nullptr."});
}

TEST_F(CheckIn, DataReplies) {
    const auto data = std::make_unique<tagCheckinTotalData>();
    const auto fill = [&data] { memset(data.get(), 0xEE, sizeof(*data)); };
    const auto page = [&data](size_t first) { return Bytes(data->page + first, data->page + sizeof(data->page)); };

    fill();
    platform.QueueReply({1, 2, 3});
    EXPECT_EQ(OrviAiSrvGetCheckinData(data.get(), SHOW(0), 1), 0);
    EXPECT_EQ(Bytes(data->page, data->page + 3), Bytes({1, 2, 3}));
    EXPECT_EQ(page(3), Bytes(33161, 0xEE));

    fill();
    platform.QueueReply({});
    EXPECT_EQ(OrviAiSrvGetCheckinData(data.get(), SHOW(0), 1), 0);
    EXPECT_EQ(page(0), Bytes(33164, 0xEE));

    platform.QueueReply(Bytes(33164, 7));
    EXPECT_EQ(OrviAiSrvGetCheckinData(data.get(), SHOW(0), 1), 0);
    EXPECT_EQ(page(0), Bytes(33164, 7));
    (void)platform.Take();

    platform.QueueReply(Bytes(33165, 8));
    EXPECT_EQ(OrviAiSrvGetCheckinData(data.get(), SHOW(0), 1), -1);
    EXPECT_EQ(page(0), Bytes(33164, 0));
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"syn 0x600026 ai_face_task len=8 wait=3000", "error <QueryCheckInData> call memcpy_s failed.",
                     "free reply", "error <OrviAiSrvGetCheckinData> init request failed."}));

    fill();
    platform.QueueSendFailure(-1);
    EXPECT_EQ(OrviAiSrvGetCheckinData(data.get(), SHOW(0), 1), -1);
    EXPECT_EQ(page(0), Bytes(33164, 0xEE));
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"syn 0x600026 ai_face_task len=8 wait=3000",
                     "error <SendSynMsgToVisionFaceTask> failed: msg 600026 call OsMsgSynSend failed -1.",
                     "error <QueryCheckInData> call SendSynMsgToVision failed.",
                     "error <OrviAiSrvGetCheckinData> init request failed."}));
}

// --- Photo query ---

TEST_F(CheckIn, PhotoQueryArguments) {
    uint8_t buffer[4] = {};
    const std::string badUser = "info <OrviAiSrvGetCheckinPhoto> userId is invalid.";
    const std::string badBuffer = "info <OrviAiSrvGetCheckinPhoto> photoBuffer is invalid.";
    uint32_t size = 4;
    uint32_t none = 0;
    struct Case {
        const char* userId;
        uint32_t userIdLen;
        uint8_t* buffer;
        uint32_t* size;
        std::string refused;  // empty: sent
    };
    const Case cases[] = {
        {"u", 1, buffer, &size, ""},
        {"u", 256, buffer, &size, ""},
        {"u", 0, buffer, &size, badUser},
        {"u", 257, buffer, &size, badUser},
        {nullptr, 1, nullptr, nullptr, badUser},
        {"u", 1, nullptr, &size, badBuffer},
        {"u", 1, buffer, nullptr, badBuffer},
        {"u", 1, buffer, &none, badBuffer},
    };
    for (const Case& c : cases) {
        if (c.refused.empty()) {
            platform.QueueReply({1, 2, 3, 4});
        }
        EXPECT_EQ(OrviAiSrvGetCheckinPhoto(c.userId, c.userIdLen, c.buffer, c.size), c.refused.empty() ? 0 : -1);
        const Lines lines = platform.Take();
        if (c.refused.empty()) {
            EXPECT_EQ(lines[0], "syn 0x600027 ai_face_task len=260 wait=3000");
        } else {
            EXPECT_EQ(lines, Lines{c.refused});
        }
    }
    char user[] = "u";
    const Lines refused = {"error <QueryCheckInPhoto> failed: input is nullptr."};
    EXPECT_EQ(proxy.QueryCheckInPhoto(nullptr, 1, buffer, &size), -1);
    EXPECT_EQ(platform.Take(), refused);
    EXPECT_EQ(proxy.QueryCheckInPhoto(user, 1, nullptr, &size), -1);
    EXPECT_EQ(platform.Take(), refused);
    EXPECT_EQ(proxy.QueryCheckInPhoto(user, 1, buffer, nullptr), -1);
    EXPECT_EQ(platform.Take(), refused);
}

TEST_F(CheckIn, UserIdsOfThePhotoQuery) {
    uint8_t buffer[4];
    uint32_t size = 4;
    const std::string fits(255, 'k');
    platform.QueueReply({1});
    EXPECT_EQ(OrviAiSrvGetCheckinPhoto(fits.c_str(), 9, buffer, &size), 0);
    const Bytes payload = platform.LastPayload();
    ASSERT_EQ(payload.size(), 260U);
    EXPECT_EQ(Bytes(payload.begin(), payload.begin() + 256), Bytes(fits.c_str(), fits.c_str() + 256));
    EXPECT_EQ(Bytes(payload.begin() + 256, payload.end()), BytesOf(uint32_t{9}));  // as given, not measured
    (void)platform.Take();

    size = 4;
    EXPECT_EQ(OrviAiSrvGetCheckinPhoto((fits + "k").c_str(), 256, buffer, &size), -1);
    EXPECT_EQ(platform.Take(), (Lines{"info <QueryCheckInPhoto> strcpy_s userid failed",
                                      "error <OrviAiSrvGetCheckinPhoto> init request failed."}));
    EXPECT_EQ(size, 4U);
}

TEST_F(CheckIn, PhotoReplies) {
    const std::string sent = "syn 0x600027 ai_face_task len=260 wait=3000";
    struct Case {
        Bytes reply;
        int result;
        uint32_t size;  // afterwards
        Bytes buffer;
    };
    const Case cases[] = {
        {{1, 2}, 0, 2, {1, 2, 0xEE, 0xEE}},
        {{1, 2, 3, 4}, 0, 4, {1, 2, 3, 4}},
        {{1, 2, 3, 4, 5}, -1, 4, {0, 0, 0, 0}},
        {{}, 0, 0, {0xEE, 0xEE, 0xEE, 0xEE}},
    };
    for (const Case& c : cases) {
        Bytes buffer(4, 0xEE);
        uint32_t size = 4;
        platform.QueueReply(c.reply);
        EXPECT_EQ(OrviAiSrvGetCheckinPhoto("user", 4, buffer.data(), &size), c.result);
        EXPECT_EQ(buffer, c.buffer);
        EXPECT_EQ(size, c.size);
        if (c.result == 0) {
            EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{sent, "free reply"}));
        } else {
            EXPECT_EQ(platform.TakeWithoutInfo(),
                      (Lines{sent, "error <QueryCheckInPhoto> call memcpy_s failed.", "free reply",
                             "error <OrviAiSrvGetCheckinPhoto> init request failed."}));
        }
    }
    Bytes buffer(4, 0xEE);
    uint32_t size = 4;
    platform.QueueNoReply();
    EXPECT_EQ(OrviAiSrvGetCheckinPhoto("user", 4, buffer.data(), &size), -1);
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(buffer, Bytes(4, 0xEE));
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{sent, "error <SendSynMsgToVisionFaceTask> failed: can not get msg 600027 response",
                     "error <QueryCheckInPhoto> call SendSynMsgToVision failed.",
                     "error <OrviAiSrvGetCheckinPhoto> init request failed."}));
}

}  // namespace
