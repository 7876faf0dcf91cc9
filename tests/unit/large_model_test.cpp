// Large model, version and ability.
#include <cstring>

#include "fake_platform.h"
#include "orvi_ai_srv.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

class LargeModel : public PlatformTest {};

TEST_F(LargeModel, TheReplyToTheInitialisationMayHaveAnyLength) {
    platform.QueueReply(Bytes(5000, 1));
    EXPECT_EQ(OrviAiSrvLargeModelInit({}), 0);
}

TEST_F(LargeModel, AbilityTouchesItsTwoFieldsOnly) {
    Bytes reply(52, 0xFF);
    reply[48] = 200;
    reply[49] = 255;
    for (const size_t length : {0U, 48U, 49U, 50U, 52U, 53U}) {
        SCOPED_TRACE(length);
        tagOrviAiAbility ability;
        memset(&ability, 0x77, sizeof(ability));
        Bytes expected = BytesOf(ability);
        Bytes sent = reply;
        sent.resize(length, 0);
        platform.QueueReply(sent);
        EXPECT_EQ(proxy.GetLargeModelAbility(&ability), length <= 52 ? 0 : -1);
        if (length <= 52) {
            const int32_t voiceAssistant = length > 49 ? 255 : 0;
            memcpy(&expected[28], &voiceAssistant, sizeof(voiceAssistant));
            expected[44] = length > 48 ? 200 : 0;
        }
        EXPECT_EQ(BytesOf(ability), expected);
    }
    (void)platform.Take();
    EXPECT_EQ(proxy.GetLargeModelAbility(nullptr), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <AiSrvServiceProxy::GetLargeModelAbility> ability is nullptr."});
}

// --- Ability ---

class Ability : public PlatformTest {
 protected:
    void SetUp() override { platform.capabilityRecord = record_.data(); }
    void Set(size_t offset, int32_t value) { memcpy(&record_[offset], &value, sizeof(value)); }

    tagOrviAiAbility ability = {};

 private:
    Bytes record_ = Bytes(356, 0xCC);  // an exact allocation: the address sanitizer sees a read past it
};

TEST_F(Ability, FieldsOfTheConfiguration) {
    const size_t offsets[] = {184, 188, 192, 196, 200, 204, 208, 220, 224, 228};
    int32_t value = 1;
    for (const size_t offset : offsets) {
        Set(offset, value++);
    }
    Set(208, -5);
    Set(348, 0);
    Set(352, 2);  // only 1 counts
    memset(&ability, 0x77, sizeof(ability));
    EXPECT_EQ(OrviAiSrvGetAbility(&ability), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"info <OrviAiSrvGetAbility> xml cap all not support",
                     "info <OrviAiSrvGetAbility> isTzCloudLLM: 0 isVoiceAssistSupported: 0 isSpeakTrackSupported:9 "
                     "isDirectorSupported:6 isAutoFrameSupported:8 isSignSupported:2 isNamePlateSupported:4 "
                     "isCaptionSupported:3 isFaceDetectorSupported:5 isFastDirectorSupported:-5 "
                     "isMinutesSignature:1 isSplitScreenSupported:10 xml cap: 2 - 0"}));
    const tagOrviAiAbility expected = {9, 8, 10, 6, -5, 2, 4, 0, 3, 5, 1, 0, {0, 0, 0}};
    EXPECT_EQ(BytesOf(ability), BytesOf(expected));
}

TEST_F(Ability, TheServiceIsAskedWhereTheConfigurationAllowsIt) {
    const struct {
        int32_t a;
        int32_t b;
        bool asked;
    } rows[] = {{1, 0, true}, {0, 1, true}, {1, 1, true}, {2, 1, true}, {0, 0, false}, {2, 0, false}, {-1, 2, false}};
    Bytes reply(50, 0);
    reply[48] = 1;
    reply[49] = 3;
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.a << " " << row.b);
        Set(352, row.a);
        Set(348, row.b);
        if (row.asked) {
            platform.QueueReply(reply);
        }
        EXPECT_EQ(OrviAiSrvGetAbility(&ability), 0);
        EXPECT_EQ(platform.TakeWithoutInfo(),
                  row.asked ? (Lines{"syn 0x60003A ai_om_task len=0 wait=3000", "free reply"}) : Lines{});
        EXPECT_EQ(ability.isTzCloudLLM, row.asked ? 1 : 0);
        EXPECT_EQ(ability.isVoiceAssistSupported, row.asked ? 3 : 0);
    }
}

TEST_F(Ability, Failures) {
    Set(192, 5);
    Set(348, 1);
    platform.QueueSendFailure(-9);
    memset(&ability, 0x77, sizeof(ability));
    EXPECT_EQ(OrviAiSrvGetAbility(&ability), 0);  // the rest of the abilities counts all the same
    const Lines lines = platform.TakeWithoutInfo();
    EXPECT_EQ(Lines(lines.begin() + 2, lines.end()),
              (Lines{"error <AiSrvServiceProxy::GetLargeModelAbility> SendSynMsgToVision msg:0x60003a failed. ret:-1",
                     "error <OrviAiSrvGetAbility> GetLargeModelAbility failed, ret: -1"}));
    EXPECT_EQ(ability.isTzCloudLLM, 0);
    EXPECT_EQ(ability.isVoiceAssistSupported, 0);
    EXPECT_EQ(ability.isCaptionSupported, 5);

    EXPECT_EQ(OrviAiSrvGetAbility(nullptr), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <OrviAiSrvGetAbility> aibility is nullptr."});

    platform.capabilityRecord = nullptr;
    EXPECT_EQ(OrviAiSrvGetAbility(&ability), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <OrviAiSrvGetAbility> Api read xml failed"});
    EXPECT_EQ(BytesOf(ability), Bytes(sizeof(ability), 0));
}

TEST_F(Ability, Version) {
    char version[9];
    for (const int32_t len : {8, 9}) {
        memset(version, '#', sizeof(version));
        EXPECT_EQ(OrviAiSrvGetVersion(version, len), 0);
        EXPECT_STREQ(version, "3.1.0.1");
        EXPECT_EQ(version[8], '#');
    }
    EXPECT_EQ(platform.Take(), Lines{});
    memset(version, '#', sizeof(version));
    for (const int32_t len : {7, 0, -1, INT32_MIN}) {
        EXPECT_EQ(OrviAiSrvGetVersion(version, len), -1);
        EXPECT_EQ(platform.Take(), Lines{"error <OrviAiSrvGetVersion> version is nullptr or len is wrong ."});
    }
    EXPECT_EQ(version[0], '#');
    EXPECT_EQ(OrviAiSrvGetVersion(nullptr, 8), -1);
    EXPECT_EQ(platform.Take().size(), 1U);
    platform.FailCopy(1);
    EXPECT_EQ(OrviAiSrvGetVersion(version, 8), -1);
    EXPECT_EQ(platform.Take(), Lines{});
}

}  // namespace
