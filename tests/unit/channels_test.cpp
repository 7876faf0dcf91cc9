#include "fake_platform.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

class Channels : public PlatformTest {
 protected:
    uint8_t payload[3] = {1, 2, 3};
    TagMsgBlock* reply = nullptr;
};

TEST_F(Channels, SendersHandTheReplyOver) {
    platform.QueueReply({0, 9});
    ASSERT_EQ(proxy.SendSynMsgToVision(0x600014, payload, 3, 0, &reply), 0);
    EXPECT_EQ(platform.TakeWithoutInfo(), Lines{"syn 0x600014 ai_v_task_i len=3 wait=0"}) << "the wait as it is given";
    EXPECT_EQ(platform.LastPayload(), Bytes({1, 2, 3}));
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->dataLen, 2U);
    OsMsgSynRespFree(reply);

    reply = nullptr;
    platform.QueueReply({});
    ASSERT_EQ(proxy.SendSynMsgToVisionFaceTask(0x600026, payload, 3, &reply), 0);
    ASSERT_NE(reply, nullptr);
    OsMsgSynRespFree(reply);

    reply = nullptr;
    platform.QueueReplyWithoutData(4);
    EXPECT_EQ(proxy.SendSynMsgToVision(0x600014, payload, 3, 3000, &reply), -1);
    EXPECT_EQ(reply, nullptr);
}

TEST_F(Channels, SendersNeedASlot) {
    EXPECT_EQ(proxy.SendSynMsgToVision(0x600014, payload, 3, 3000, nullptr), -1);
    EXPECT_EQ(proxy.SendSynMsgToVisionFaceTask(0x600026, payload, 3, nullptr), -1);
    EXPECT_EQ(platform.Take(), (Lines{"error <AiSrvServiceProxy::SendSynMsgToVision> failed: input is nullptr.",
                                      "error <SendSynMsgToVisionFaceTask> failed: input is nullptr."}));
}

TEST_F(Channels, OneWaySender) {
    EXPECT_EQ(proxy.SendAsynMsgToVision(0x600001, payload, 2), 0);
    EXPECT_EQ(platform.TakeWithoutInfo(), Lines{"asyn 0x600001 ai_v_task_i len=2"});
    platform.asynSendResult = 12;
    EXPECT_EQ(proxy.SendAsynMsgToVision(0x600001, payload, 2), -1);
    platform.FailCopy(1);
    EXPECT_EQ(proxy.SendAsynMsgToVision(0x600001, payload, 2), -1);
    EXPECT_EQ(platform.Take(),
              (Lines{"asyn 0x600001 ai_v_task_i len=2",
                     "error <AiSrvServiceProxy::SendAsynMsgToVision> failed: msg 600001 call OsMsgAsynSend failed 12.",
                     "error <SetDefaultIntefMsgBlockToMaster> failed: call memcpy_s failed.",
                     "error <AiSrvServiceProxy::SendAsynMsgToVision>: call SetDefaultMsgBlockToMaster failed. msgId: "
                     "6291457."}));
}

TEST_F(Channels, ARequestBeforeInitialisationCarriesEmptyNames) {
    tagAiTaskBasicInfo info;
    EXPECT_EQ(proxy.SetProxyInfo(info), 0);
    EXPECT_EQ(BytesOf(info), BytesOf(tagAiTaskBasicInfo{"", "", 1}));
}

}  // namespace
