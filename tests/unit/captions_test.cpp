#include <climits>
#include <cstring>

#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"

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

const tagAiTaskBasicInfo OWN = {"ai_vpp4711", "ai_vpt4711", 1};

// One of the four requests, with arguments that are accepted.
struct Request {
    const char* front;
    const char* method;
    const char* msgId;
    int length;
    const char* begin;
    const char* entered;  // the method's entry line, if it has one
    const char* failed;
    const char* succeed;
    const char* noAddress;  // when the client's address does not fit; null where it is not sent
    int (*call)();
};

const Request REQUESTS[] = {
    {"OrviAiSrvCaptionInit", "CaptionInit", "600014", 36, "init request begin.", "enter CaptionInit",
     "init request failed.", "succeed.", "<AiSrvServiceProxy::CaptionInit> failed: call SetStAiTaskBasicInfo failed.",
     [] { return OrviAiSrvCaptionInit(OnCaption); }},
    {"OrviAiSrvCaptionStart", "StartCaptionProxy", "600015", 496, "start request begin.", "enter StartCaptionProxy",
     "start Caption failed: call StartCaptionProxy failed.", "start Caption request succeed.",
     "<StartCaptionProxy> call SetProxyInfo failed.",
     [] {
         tagOrviAiConfInfo conference = Conference();
         return OrviAiSrvCaptionStart(&conference, 1);
     }},
    {"OrviAiSrvCaptionStop", "StopCaptionProxy", "600016", 36, "stop Caption request begin.", nullptr,
     "stop Caption failed: call StopCaptionProxy failed.", "stop Caption request succeed.",
     "<StopCaptionProxy> call SetProxyInfo failed.", OrviAiSrvCaptionStop},
    {"OrviAiSrvCaptionDeInit", "CaptionDeinit", "600017", 0, "deinit request begin.", "enter CaptionDeinit",
     "deinit request failed.", "succeed.", nullptr, OrviAiSrvCaptionDeInit},
};

class Captions : public PlatformTest {};

TEST_F(Captions, Requests) {
    Init();
    for (const Request& r : REQUESTS) {
        SCOPED_TRACE(r.front);
        const std::string front = std::string(" <") + r.front + "> ";
        const std::string inner = std::string(" <AiSrvServiceProxy::") + r.method + "> ";
        const std::string syn =
            std::string("syn 0x") + r.msgId + " ai_v_task_i len=" + std::to_string(r.length) + " wait=3000";
        const std::string failed = "error" + front + r.failed;
        const std::string notSent = "error" + inner + "call SendSynMsgToVision failed.";
        const std::string sender = std::string("error <AiSrvServiceProxy::SendSynMsgToVision> failed: ");

        platform.QueueReply({0, 1});
        EXPECT_EQ(r.call(), 0);
        Lines expected = {"info" + front + r.begin};
        if (r.entered != nullptr) {
            expected.push_back("info" + inner + r.entered);
        }
        expected.insert(
            expected.end(),
            {"info <AiSrvServiceProxy::SendSynMsgToVision> send msg: recvProc=AI_VISION. recvTask=ai_v_task_i.", syn,
             std::string("info <AiSrvServiceProxy::SendSynMsgToVision> SendSynMsg ") + r.msgId + " to Vision> Success!",
             "free reply", "info" + front + r.succeed});
        EXPECT_EQ(platform.Take(), expected);
        EXPECT_EQ(platform.LastPayloadWasNull(), r.length == 0);

        for (const Bytes& refusal : {Bytes{1}, Bytes{255, 0}, Bytes{}}) {
            platform.QueueReply(refusal);
            EXPECT_EQ(r.call(), -1);
            EXPECT_EQ(platform.TakeWithoutInfo(),
                      (Lines{syn, "error" + inner + "failed: response ret is error.", "free reply", failed}));
        }
        platform.QueueReplyWithoutData(1);
        EXPECT_EQ(r.call(), -1);
        EXPECT_EQ(platform.TakeWithoutInfo(),
                  (Lines{syn, "free reply", sender + "can not get msg " + r.msgId + " response", notSent, failed}));
        platform.QueueSendFailure(8);
        EXPECT_EQ(r.call(), -1);
        EXPECT_EQ(
            platform.TakeWithoutInfo(),
            (Lines{syn, sender + "msg " + r.msgId + " call OsMsgSynSend failed 8, waitTime 3000.", notSent, failed}));
        for (int nth = 1; nth <= 2 && r.noAddress != nullptr; ++nth) {
            platform.FailCopy(nth);
            EXPECT_EQ(r.call(), -1);
            const Lines lines = platform.TakeWithoutInfo();
            EXPECT_EQ(Lines(lines.begin() + 1, lines.end()), (Lines{std::string("error ") + r.noAddress, failed}));
        }
    }
}

TEST_F(Captions, PayloadsCarryTheClientAndTheConference) {
    Init();
    platform.QueueReply({0});
    EXPECT_EQ(OrviAiSrvCaptionInit(OnCaption), 0);
    EXPECT_EQ(platform.LastPayload(), BytesOf(OWN));
    for (const uint8_t report : {uint8_t{0}, uint8_t{1}}) {
        tagOrviAiConfInfo conference = Conference();
        platform.QueueReply({0});
        EXPECT_EQ(OrviAiSrvCaptionStart(&conference, report), 0);
        EXPECT_EQ(platform.LastPayload(), BytesOf(tagAiCaptionStart{OWN, Conference(), report, {0, 0, 0}}));
    }
    platform.QueueReply({0});
    EXPECT_EQ(OrviAiSrvCaptionStop(), 0);
    EXPECT_EQ(platform.LastPayload(), BytesOf(OWN));
}

TEST_F(Captions, TheSlotKeepsTheLastCallbackWhateverTheServiceAnswers) {
    const auto slot = [] { return AiSrvServiceProxy::m_captionCallBackFun.load(); };
    EXPECT_EQ(OrviAiSrvCaptionInit(OnCaption), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{"error <AiSrvServiceProxy::CaptionInit> ai srv has not inited.",
                                                 "error <OrviAiSrvCaptionInit> init request failed."}));
    EXPECT_EQ(slot(), nullptr);
    Init();
    EXPECT_EQ(OrviAiSrvCaptionInit(nullptr), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(), Lines{"error <OrviAiSrvCaptionInit> callback is nullptr"});
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
    const std::string inner = "error <AiSrvServiceProxy::StartCaptionProxy> failed: ";
    const std::string invalid = inner + "confInfo content is invalid";
    const std::string failed = "error <OrviAiSrvCaptionStart> start Caption failed: call StartCaptionProxy failed.";
    EXPECT_EQ(OrviAiSrvCaptionStart(nullptr, 9), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              Lines{"error <OrviAiSrvCaptionStart> start caption failed: confInfo is nullptr"});
    EXPECT_EQ(AiSrvServiceProxy::GetInstance().StartCaptionProxy(nullptr, 9), -1);
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
    }

    tagOrviAiConfInfo conference = Conference();
    platform.FailCopy(3);  // after the two names
    EXPECT_EQ(OrviAiSrvCaptionStart(&conference, 1), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{"error <StartCaptionProxy> memcpy_s confInfo failed.", failed}));
}

TEST_F(Captions, OnlyStartPausesWhileTheServiceIsDown) {
    Init();
    AiSrvServiceProxy::isVisionOK = false;
    for (const Request& r : REQUESTS) {
        platform.QueueReply({0});
        EXPECT_EQ(r.call(), 0);
        EXPECT_EQ(platform.TakeWithoutInfo().size(), std::string(r.method) == "StartCaptionProxy" ? 3U : 2U);
    }
    EXPECT_EQ(AiSrvServiceProxy::GetInstance().StartCaptionProxy(nullptr, 0), -1);
    EXPECT_EQ(platform.TakeWithoutInfo()[0], "OsUSleep 50") << "before the checks";
}

}  // namespace
