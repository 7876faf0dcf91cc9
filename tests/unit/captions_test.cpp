#include <climits>
#include <cstring>

#include "fake_platform.h"
#include "orvi_ai_srv.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

void OnCaption(OrviAiCaptionEventId, void*) {}
void OnOther(OrviAiCaptionEventId, void*) {}

tagOrviAiConfInfo Conference() {
    tagOrviAiConfInfo conference;
    memset(&conference, 'c', sizeof(conference));  // texts without NUL are passed on as they are
    conference.option1 = 1;
    conference.option2 = 2;
    return conference;
}

class Captions : public PlatformTest {};

TEST_F(Captions, TheSlotKeepsTheLastCallbackWhateverTheServiceAnswers) {
    const auto slot = [] { return AiSrvServiceProxy::m_captionCallBackFun.load(); };
    EXPECT_EQ(OrviAiSrvCaptionInit(OnCaption), -1);
    EXPECT_EQ(slot(), nullptr) << "not initialised";
    Init();
    (void)platform.Take();
    EXPECT_EQ(OrviAiSrvCaptionInit(nullptr), -1);
    EXPECT_EQ(platform.Take(), (Lines{"info <OrviAiSrvCaptionInit> init request begin.",
                                      "error <OrviAiSrvCaptionInit> callback is nullptr"}));
    EXPECT_EQ(slot(), nullptr);
    platform.QueueReply({1});
    EXPECT_EQ(OrviAiSrvCaptionInit(OnCaption), -1);
    EXPECT_EQ(slot(), &OnCaption);
    EXPECT_EQ(OrviAiSrvCaptionInit(OnOther), -1) << "the send fails";
    EXPECT_EQ(slot(), &OnOther);
    platform.QueueReply({0});
    EXPECT_EQ(OrviAiSrvCaptionDeInit(), 0);
    EXPECT_EQ(slot(), &OnOther);
    platform.FailCopy(1);
    EXPECT_EQ(OrviAiSrvCaptionInit(OnCaption), -1);
    EXPECT_EQ(slot(), &OnCaption);
}

TEST_F(Captions, StartChecksTheContentBeforeTheFlag) {
    Init();
    const std::string inner = "error <AiSrvServiceProxy::StartCaptionProxy> failed: ";
    const std::string invalid = inner + "confInfo content is invalid";
    const std::string failed = "error <OrviAiSrvCaptionStart> start Caption failed: call StartCaptionProxy failed.";
    EXPECT_EQ(OrviAiSrvCaptionStart(nullptr, 9), -1);
    EXPECT_EQ(platform.Take(), (Lines{"info <OrviAiSrvCaptionStart> start request begin.",
                                      "error <OrviAiSrvCaptionStart> start caption failed: confInfo is nullptr"}));
    EXPECT_EQ(proxy.StartCaptionProxy(nullptr, 9), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(), Lines{inner + "confInfo is nullptr"});

    struct Row {
        char text1;
        int option1;
        int option2;
        char text2;
        uint8_t flag;
        std::string line;  // empty: sent
    };
    const Row rows[] = {
        {'a', -1, -5, 'b', 0, ""},
        {'a', INT_MIN, INT_MIN, 'b', 1, ""},
        {'\0', 0, 0, 'b', 2, invalid},
        {'a', 0, 0, '\0', 0, invalid},
        {'a', 2, 0, 'b', 0, invalid},
        {'a', INT_MAX, 0, 'b', 0, invalid},
        {'a', 0, 3, 'b', 255, invalid},
        {'a', 1, 2, 'b', 2, inner + "isReportCaption = 2 , is invalid"},
        {'a', 1, 2, 'b', 255, inner + "isReportCaption = 255 , is invalid"},
    };
    for (const Row& row : rows) {
        tagOrviAiConfInfo conference = Conference();
        conference.text1[0] = row.text1;
        conference.option1 = row.option1;
        conference.option2 = row.option2;
        conference.text2[0] = row.text2;
        if (row.line.empty()) {
            platform.QueueReply({0});
        }
        EXPECT_EQ(OrviAiSrvCaptionStart(&conference, row.flag), row.line.empty() ? 0 : -1);
        EXPECT_EQ(platform.TakeWithoutInfo(), row.line.empty()
                                                  ? (Lines{"syn 0x600015 ai_v_task_i len=496 wait=3000", "free reply"})
                                                  : (Lines{row.line, failed}));
        if (row.line.empty()) {
            EXPECT_EQ(platform.LastPayload(), BytesOf(tagAiCaptionStart{OWN_ADDRESS, conference, row.flag, {0, 0, 0}}));
        }
    }

    tagOrviAiConfInfo conference = Conference();
    platform.FailCopy(3);  // after the two names
    EXPECT_EQ(OrviAiSrvCaptionStart(&conference, 1), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{"error <StartCaptionProxy> memcpy_s confInfo failed.", failed}));
}

TEST_F(Captions, StartPausesFirstWhileTheServiceIsDown) {
    AiSrvServiceProxy::isVisionOK = false;
    EXPECT_EQ(proxy.StartCaptionProxy(nullptr, 0), -1);
    EXPECT_EQ(platform.TakeWithoutInfo()[0], "OsUSleep 50") << "before the checks";
}

}  // namespace
