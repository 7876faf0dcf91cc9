#include <cstring>
#include <memory>

#include "fake_platform.h"
#include "orvi_ai_srv.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

class CheckIn : public PlatformTest {};

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

TEST_F(CheckIn, ATextThatCannotBeCopiedIsRefusedByTheReportOnly) {
    int copy = 0;
    for (const Text& text : TEXTS) {
        SCOPED_TRACE(text.name);
        const Lines refused = {std::string("info <CheckInStartReport> strcpy_s ") + text.name + " failed"};
        // An exact allocation: a read past the last field is seen by the address sanitizer.
        const auto info = std::make_unique<tagOrviAiConfIdInfo>(FullRecord());
        char* const last = reinterpret_cast<char*>(info.get()) + text.offset + text.size - 1;
        ASSERT_EQ(*last, '\0');
        platform.FailCopy(++copy);
        EXPECT_EQ(proxy.CheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, *info), -1);
        EXPECT_EQ(platform.Take(), refused);
        *last = 'x';
        EXPECT_EQ(proxy.CheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, *info), -1);
        EXPECT_EQ(platform.Take(), refused);
        platform.QueueReply({0});
        EXPECT_EQ(proxy.CheckInStart(*info), 0);
        EXPECT_EQ(platform.LastPayload(), BytesOf(*info));
        (void)platform.Take();
    }
}

TEST_F(CheckIn, WhatStandsBehindATextIsNotSent) {
    tagOrviAiConfIdInfo info = FullRecord();
    info.account[0] = '\0';
    platform.QueueReply({0});
    EXPECT_EQ(proxy.CheckInStartReport(static_cast<tagOrviAiCheckinType>(-3), info), 0);
    memset(info.account, 0, sizeof(info.account));
    EXPECT_EQ(platform.LastPayload(), BytesOf(int32_t{-3}) + BytesOf(info));
}

// --- Data query ---

constexpr auto SHOW = [](int value) { return static_cast<OrviAiCheckInShowType>(value); };

TEST_F(CheckIn, DataQueryLimits) {
    const struct {
        int showType;
        uint32_t pageNum;
        const char* refused;  // empty: sent
    } rows[] = {
        {0, 1, ""},
        {6, 56, ""},
        {7, 1, "info <OrviAiSrvGetCheckinData> type=7 is invalid."},
        {-1, 1, "info <OrviAiSrvGetCheckinData> type=-1 is invalid."},
        {0, 0, "info <OrviAiSrvGetCheckinData> pageNum=0 is invalid."},
        {6, 57, "info <OrviAiSrvGetCheckinData> pageNum=57 is invalid."},
        {7, 57, "info <OrviAiSrvGetCheckinData> type=7 is invalid."},
    };
    const auto data = std::make_unique<tagCheckinTotalData>();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.refused);
        if (*row.refused != '\0') {
            EXPECT_EQ(OrviAiSrvGetCheckinData(data.get(), SHOW(row.showType), row.pageNum), -1);
            EXPECT_EQ(platform.Take(), Lines{row.refused});
            continue;
        }
        platform.QueueReply({1});
        EXPECT_EQ(OrviAiSrvGetCheckinData(data.get(), SHOW(row.showType), row.pageNum), 0);
        const uint32_t query[] = {static_cast<uint32_t>(row.showType), row.pageNum};
        EXPECT_EQ(platform.LastPayload(), BytesOf(query));
        (void)platform.Take();
    }
    EXPECT_EQ(OrviAiSrvGetCheckinData(nullptr, SHOW(7), 0), -1);
    EXPECT_EQ(platform.Take(), Lines{"info <OrviAiSrvGetCheckinData> checkinData is nullptr."});
    EXPECT_EQ(proxy.QueryCheckInData(nullptr, SHOW(0), 1), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <QueryCheckInData> failed: input is nullptr."});
}

TEST_F(CheckIn, DataRepliesReplaceTheStartOfThePage) {
    const auto data = std::make_unique<tagCheckinTotalData>();
    const size_t size = sizeof(data->page);
    for (const size_t length : {size_t{0}, size_t{3}, size, size + 1}) {
        SCOPED_TRACE(length);
        memset(data.get(), 0xEE, sizeof(*data));
        platform.QueueReply(Bytes(length, 7));
        EXPECT_EQ(OrviAiSrvGetCheckinData(data.get(), SHOW(0), 1), length <= size ? 0 : -1);
        const Bytes cleared(size, 0);  // by a reply that does not fit
        EXPECT_EQ(Bytes(data->page, data->page + size),
                  length <= size ? Bytes(length, 7) + Bytes(size - length, 0xEE) : cleared);
    }
    memset(data.get(), 0xEE, sizeof(*data));
    EXPECT_EQ(OrviAiSrvGetCheckinData(data.get(), SHOW(0), 1), -1) << "the send fails";
    EXPECT_EQ(Bytes(data->page, data->page + size), Bytes(size, 0xEE));
}

// --- Photo query ---

TEST_F(CheckIn, PhotoQueryArguments) {
    uint8_t buffer[4] = {};
    const std::string badUser = "info <OrviAiSrvGetCheckinPhoto> userId is invalid.";
    const std::string badBuffer = "info <OrviAiSrvGetCheckinPhoto> photoBuffer is invalid.";
    uint32_t size = 4;
    uint32_t none = 0;
    const struct {
        const char* userId;
        uint32_t userIdLen;
        uint8_t* buffer;
        uint32_t* size;
        std::string line;
    } refusals[] = {
        {"u", 0, buffer, &size, badUser},      {"u", 257, buffer, &size, badUser},
        {nullptr, 1, nullptr, &none, badUser}, {"u", 1, nullptr, &size, badBuffer},
        {"u", 1, buffer, nullptr, badBuffer},  {"u", 1, buffer, &none, badBuffer},
    };
    for (const auto& row : refusals) {
        EXPECT_EQ(OrviAiSrvGetCheckinPhoto(row.userId, row.userIdLen, row.buffer, row.size), -1);
        EXPECT_EQ(platform.Take(), Lines{row.line});
    }
    char user[] = "u";
    EXPECT_EQ(proxy.QueryCheckInPhoto(nullptr, 1, buffer, &size), -1);
    EXPECT_EQ(proxy.QueryCheckInPhoto(user, 1, nullptr, &size), -1);
    EXPECT_EQ(proxy.QueryCheckInPhoto(user, 1, buffer, nullptr), -1);
    EXPECT_EQ(platform.Take(), Lines(3, "error <QueryCheckInPhoto> failed: input is nullptr."));
}

TEST_F(CheckIn, UserIdsOfThePhotoQuery) {
    uint8_t buffer[4];
    const std::string fits(255, 'k');
    for (const uint32_t userIdLen : {1U, 9U, 256U}) {  // as given, not measured
        uint32_t size = 4;
        platform.QueueReply({1});
        EXPECT_EQ(OrviAiSrvGetCheckinPhoto(fits.c_str(), userIdLen, buffer, &size), 0);
        EXPECT_EQ(platform.LastPayload(), Bytes(fits.c_str(), fits.c_str() + 256) + BytesOf(userIdLen));
    }
    (void)platform.Take();
    uint32_t size = 4;
    EXPECT_EQ(OrviAiSrvGetCheckinPhoto((fits + "k").c_str(), 256, buffer, &size), -1);
    EXPECT_EQ(platform.Take(), (Lines{"info <QueryCheckInPhoto> strcpy_s userid failed",
                                      "error <OrviAiSrvGetCheckinPhoto> init request failed."}));
    EXPECT_EQ(size, 4U);
}

TEST_F(CheckIn, PhotoReplies) {
    const struct {
        Bytes reply;
        int result;
        uint32_t size;  // afterwards
        Bytes buffer;
    } rows[] = {
        {{1, 2}, 0, 2, {1, 2, 0xEE, 0xEE}},
        {{1, 2, 3, 4}, 0, 4, {1, 2, 3, 4}},
        {{1, 2, 3, 4, 5}, -1, 4, {0, 0, 0, 0}},
        {{}, 0, 0, {0xEE, 0xEE, 0xEE, 0xEE}},
    };
    for (const auto& row : rows) {
        Bytes buffer(4, 0xEE);
        uint32_t size = 4;
        platform.QueueReply(row.reply);
        EXPECT_EQ(OrviAiSrvGetCheckinPhoto("user", 4, buffer.data(), &size), row.result);
        EXPECT_EQ(buffer, row.buffer);
        EXPECT_EQ(size, row.size);
    }
    Bytes buffer(4, 0xEE);
    uint32_t size = 4;
    EXPECT_EQ(OrviAiSrvGetCheckinPhoto("user", 4, buffer.data(), &size), -1) << "the send fails";
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(buffer, Bytes(4, 0xEE));
}

}  // namespace
