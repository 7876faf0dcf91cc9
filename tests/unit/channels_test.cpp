#include "fake_platform.h"
#include "orvi_ai_srv_proxy.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

class Channels : public PlatformTest {
 protected:
    AiSrvServiceProxy& proxy = AiSrvServiceProxy::GetInstance();
    uint8_t payload[3] = {1, 2, 3};
    TagMsgBlock* reply = nullptr;
};

TEST_F(Channels, InterfaceSenderHandsTheReplyOver) {
    platform.QueueReply({0, 9});
    ASSERT_EQ(proxy.SendSynMsgToVision(0x600014, payload, 3, 0, &reply), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"info <AiSrvServiceProxy::SendSynMsgToVision> send msg: recvProc=AI_VISION. recvTask=ai_v_task_i.",
                     "syn 0x600014 ai_v_task_i len=3 wait=0",
                     "info <AiSrvServiceProxy::SendSynMsgToVision> SendSynMsg 600014 to Vision> Success!"}));
    EXPECT_EQ(platform.LastPayload(), Bytes({1, 2, 3}));
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->dataLen, 2U);
    OsMsgSynRespFree(reply);
}

TEST_F(Channels, OnlyTheAbilityQueryGoesToTheOmTask) {
    platform.QueueReply({0});
    ASSERT_EQ(proxy.SendSynMsgToVision(0x60003A, nullptr, 0, 3000, &reply), 0);
    const Lines lines = platform.Take();
    EXPECT_EQ(lines[0],
              "info <AiSrvServiceProxy::SendSynMsgToVision> send msg: recvProc=AI_VISION. recvTask=ai_om_task.");
    EXPECT_EQ(lines[1], "syn 0x60003A ai_om_task len=0 wait=3000");
    EXPECT_TRUE(platform.LastPayloadWasNull());
    OsMsgSynRespFree(reply);
}

TEST_F(Channels, InterfaceSenderFailures) {
    const Lines noResponse = {"error <AiSrvServiceProxy::SendSynMsgToVision> failed: can not get msg 600014 response"};
    const std::string sent = "syn 0x600014 ai_v_task_i len=3 wait=3000";

    EXPECT_EQ(proxy.SendSynMsgToVision(0x600014, payload, 3, 3000, nullptr), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <AiSrvServiceProxy::SendSynMsgToVision> failed: input is nullptr."});

    platform.QueueSendFailure(-7);
    EXPECT_EQ(proxy.SendSynMsgToVision(0x600014, payload, 3, 3000, &reply), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{sent,
                     "error <AiSrvServiceProxy::SendSynMsgToVision> failed: msg 600014 call OsMsgSynSend failed "
                     "-7, waitTime 3000."}));

    platform.QueueNoReply();
    EXPECT_EQ(proxy.SendSynMsgToVision(0x600014, payload, 3, 3000, &reply), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{sent, noResponse[0]}));

    platform.QueueReplyWithoutData(4);
    EXPECT_EQ(proxy.SendSynMsgToVision(0x600014, payload, 3, 3000, &reply), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{sent, "free reply", noResponse[0]}));
    EXPECT_EQ(reply, nullptr);

    for (const uint32_t msgId : {0x600014U, 0x60003AU}) {
        const std::string builder =
            msgId == 0x60003A ? "SetDefaultOmMsgBlockToMaster" : "SetDefaultIntefMsgBlockToMaster";
        const std::string named = msgId == 0x60003A ? "SetDefaultOmMsgBlockToMaster" : "SetDefaultMsgBlockToMaster";
        for (int nth = 1; nth <= 2; ++nth) {
            platform.FailCopy(nth);
            EXPECT_EQ(proxy.SendSynMsgToVision(msgId, payload, 3, 3000, &reply), -1);
            EXPECT_EQ(platform.Take(), (Lines{"error <" + builder + "> failed: call memcpy_s failed.",
                                              "error <AiSrvServiceProxy::SendSynMsgToVision>: call " + named +
                                                  " failed. msgId: " + std::to_string(msgId) + "."}));
        }
    }
}

TEST_F(Channels, FaceTaskSender) {
    EXPECT_EQ(proxy.SendSynMsgToVisionFaceTask(0x600026, payload, 3, nullptr), -1);
    EXPECT_EQ(platform.Take().size(), 1U);

    platform.QueueReply({});
    ASSERT_EQ(proxy.SendSynMsgToVisionFaceTask(0x600026, payload, 3, &reply), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"syn 0x600026 ai_face_task len=3 wait=3000",
                     "info <SendSynMsgToVisionFaceTask> SendSynMsg 600026 to Vision FaceTask> Success!"}));
    OsMsgSynRespFree(reply);
    (void)platform.Take();
    reply = nullptr;

    platform.FailCopy(2);
    EXPECT_EQ(proxy.SendSynMsgToVisionFaceTask(0x600026, payload, 3, &reply), -1);
    EXPECT_EQ(platform.Take(),
              (Lines{"error <SetFaceTaskMsgBlockToMaster> failed: call memcpy_s failed.",
                     "error <SendSynMsgToVisionFaceTask>: call SetFaceTaskMsgBlockToMaster failed. msgId: 6291494."}));
}

TEST_F(Channels, VerdictOfTheFaceTask) {
    const std::string sent = "syn 0x60001A ai_face_task len=0 wait=3000";
    struct Case {
        Bytes reply;
        int result;
    };
    for (const Case& c : {Case{{0, 5}, 0}, Case{{7}, 7}, Case{{255}, 255}, Case{{}, -1}}) {
        platform.QueueReply(c.reply);
        EXPECT_EQ(proxy.SendSynMsgToFaceReturnInt(0x60001A, nullptr, 0), c.result);
        Lines expected = {sent, "free reply"};
        if (c.result != 0) {
            expected.emplace_back("error <SendSynMsgToFaceReturnInt> msgId=60001a response VOS_ERROR.");
        }
        EXPECT_EQ(platform.TakeWithoutInfo(), expected);
    }
    const std::string failed = "error <SendSynMsgToFaceReturnInt> call SendSynMsgToVision failed, msgId=60001a.";
    platform.QueueSendFailure(4);
    EXPECT_EQ(proxy.SendSynMsgToFaceReturnInt(0x60001A, nullptr, 0), -1);
    EXPECT_EQ(
        platform.TakeWithoutInfo(),
        (Lines{sent, "error <SendSynMsgToVisionFaceTask> failed: msg 60001a call OsMsgSynSend failed 4.", failed}));
    platform.QueueReplyWithoutData();
    EXPECT_EQ(proxy.SendSynMsgToFaceReturnInt(0x60001A, nullptr, 0), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{sent, "free reply", "error <SendSynMsgToVisionFaceTask> failed: can not get msg 60001a response",
                     failed}));
}

TEST_F(Channels, OneWaySender) {
    EXPECT_EQ(proxy.SendAsynMsgToVision(0x600001, payload, 2), 0);
    EXPECT_EQ(platform.TakeWithoutInfo(), Lines{"asyn 0x600001 ai_v_task_i len=2"});
    platform.asynSendResult = 12;
    EXPECT_EQ(proxy.SendAsynMsgToVision(0x600001, payload, 2), -1);
    const Lines lines = platform.Take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[1].find("12"), std::string::npos) << lines[1];
    platform.FailCopy(1);
    EXPECT_EQ(proxy.SendAsynMsgToVision(0x600001, payload, 2), -1);
    EXPECT_EQ(
        platform.Take().back(),
        "error <AiSrvServiceProxy::SendAsynMsgToVision>: call SetDefaultMsgBlockToMaster failed. msgId: 6291457.");
}

TEST_F(Channels, ARequestBeforeInitialisationCarriesEmptyNames) {
    tagAiTaskBasicInfo info;
    EXPECT_EQ(proxy.SetProxyInfo(info), 0);
    EXPECT_EQ(BytesOf(info), BytesOf(tagAiTaskBasicInfo{"", "", 1}));
}

}  // namespace
