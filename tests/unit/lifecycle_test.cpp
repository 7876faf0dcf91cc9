#include <cstdlib>
#include <string>
#include <unistd.h>

#include "fake_platform.h"
#include "orvi_ai_srv.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

void OnEvent(OrviAiEventId, void*) {}
void OnEventToo(OrviAiEventId, void*) {}

const Lines INIT_HEAD = {"info <OrviAiSrvApiInit> init request begin.", "OsMsgRegLogFunc null", "OsMsgSetLogLevel 3"};

class Lifecycle : public PlatformTest {};

TEST_F(Lifecycle, FirstInitWritesTheWholeTranscript) {
    EXPECT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEvent), 0);
    EXPECT_EQ(platform.Take(),
              (INIT_HEAD + Lines{"OsMsgGetProcName 16", "OsMsgInit ai_vpp4711", "OrviAiClientLogInit",
                                 "info <AiSrvServiceProxy::Initiate> msg proc name is ai_vpp4711.",
                                 "OsMsgRegTask ai_vpt4711 64", "OsPthreadCreateId", "asyn 0x60000F ai_v_task_m len=36",
                                 "info <AiSrvServiceProxy::Initiate> succeed.", "info <OrviAiSrvApiInit> succeed."}));
    EXPECT_EQ(platform.LastPayload(), BytesOf(OWN_ADDRESS));
    EXPECT_EQ(platform.handler, &AiSrvServiceProxy::AiVisionProxyMsgHandler);
    EXPECT_TRUE(proxy.isInited.load());
    EXPECT_EQ(proxy.threadId, 77U);
    EXPECT_EQ(proxy.AiVisionAPILogInit(), 1);
}

TEST_F(Lifecycle, SecondInitOnlyAnnouncesAndKeepsTheFirstCallback) {
    const Lines again = INIT_HEAD + Lines({"asyn 0x60000F ai_v_task_m len=36",
                                           "error <AiSrvServiceProxy::Initiate> AiVisionProxy has been inited.",
                                           "info <OrviAiSrvApiInit> succeed."});
    ASSERT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEvent), 0);
    (void)platform.Take();
    EXPECT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEventToo), 0);
    EXPECT_EQ(platform.Take(), again);
    EXPECT_EQ(AiSrvServiceProxy::gOrviAiVisionCallBackFun.load(), &OnEvent);

    EXPECT_EQ(OrviAiSrvApiDeinit(), 0);
    EXPECT_EQ(platform.Take(), (Lines{"info <OrviAiSrvApiDeInit> deinit request begin.",
                                      "asyn 0x600010 ai_v_task_m len=36", "info <OrviAiSrvApiDeInit> succeed."}));
    EXPECT_TRUE(proxy.isInited.load());
    EXPECT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEventToo), 0);
    EXPECT_EQ(platform.Take(), again);

    platform.asynSendResult = 0x1F;
    EXPECT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEvent), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"OsMsgRegLogFunc null", "OsMsgSetLogLevel 3", "asyn 0x60000F ai_v_task_m len=36",
                     "error <AiSrvSendInitMsgToVision> failed, call OsMsgAsynSend return 1f.",
                     "error <AiSrvServiceProxy::Initiate> failed: SendInitiateMsg failed isInited.",
                     "error <OrviAiSrvApiInit> init request failed."}));
    EXPECT_EQ(OrviAiSrvApiDeinit(), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"asyn 0x600010 ai_v_task_m len=36",
                     "error <AiSrvSendUninitMsgToVision> failed: call OsMsgAsynSend return 1f.",
                     "error <AiSrvServiceProxy::UnInitiate> failed: SendUnInitiateMsg failed.",
                     "error <OrviAiSrvApiDeInit> failed: call UnInitiate failed."}));
}

TEST_F(Lifecycle, NullCallbackIsRefusedBeforeTheBusIsTouched) {
    EXPECT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, nullptr), -1);
    EXPECT_EQ(platform.Take(),
              (Lines{"info <OrviAiSrvApiInit> init request begin.", "error <OrviAiSrvApiInit> callback is nullptr"}));
}

TEST_F(Lifecycle, AProcessThatHasANameKeepsItAndFifteenCharactersFit) {
    platform.getProcNameResult = 0;
    platform.joinedName = "fifteen_chars_x";
    platform.pid = 123456789;
    EXPECT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEvent), 0);
    const Lines lines = platform.Take();
    EXPECT_EQ(lines[4], "OrviAiClientLogInit");
    EXPECT_EQ(lines[5], "info <AiSrvServiceProxy::Initiate> msg proc name is fifteen_chars_x.");
    const tagAiTaskBasicInfo address = {"fifteen_chars_x", "ai_vpt123456789", 1};
    EXPECT_EQ(platform.LastPayload(), BytesOf(address));
}

TEST_F(Lifecycle, NamesOfAPidWithTenDigitsDoNotFit) {
    platform.pid = 1234567890;
    EXPECT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEvent), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"OsMsgRegLogFunc null", "OsMsgSetLogLevel 3", "OsMsgGetProcName 16", "OsMsgInit ai_vpp1234567890",
                     "OrviAiClientLogInit", "OsMsgRegTask ai_vpt1234567890 64", "OsPthreadCreateId",
                     "error <SetStAiTaskBasicInfo> memcpy_s proc name failed.",
                     "error <AiSrvSendInitMsgToVision> call SetStAiTaskBasicInfo failed.",
                     "error <Initiate> Failed to send the initialization message.",
                     "error <OrviAiSrvApiInit> init request failed."}));
    EXPECT_FALSE(proxy.isInited.load());

    (void)AiSrvServiceProxy::AiVisionProxyThread(nullptr);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"error strcpy_s  AI_VISION error", "error strcpy_s  AI_VISION error",
                     "error strcpy_s  omlog error", "error strcpy_s  omlog error", "OsMsgSubscribeEvent 4",
                     "OsPthreadSetName ai_vpt1234567890", "OsMsgTaskRoutineByName ai_vpt1234567890"}));

    tagAiTaskBasicInfo info;
    EXPECT_EQ(proxy.SetProxyInfo(info), -1);
    EXPECT_EQ(platform.Take(), (Lines{"error <SetProxyInfo> memcpy_s proc name failed."}));
}

// Each failing step: what is logged, what stays, and that the next call goes on from there.
TEST_F(Lifecycle, FailingStepsKeepWhatWasDone) {
    const Lines begin = {"OsMsgRegLogFunc null", "OsMsgSetLogLevel 3", "OsMsgGetProcName 16", "OsMsgInit ai_vpp4711"};
    const Lines joined = begin + Lines{"OrviAiClientLogInit"};
    const auto expectFailure = [this](const Lines& lines) {
        EXPECT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEvent), -1);
        EXPECT_EQ(platform.TakeWithoutInfo(), lines + Lines{"error <OrviAiSrvApiInit> init request failed."});
        EXPECT_FALSE(proxy.isInited.load());
    };
    platform.msgInitResult = -5;
    expectFailure(begin + Lines{"error <AiSrvServiceProxy::Initiate> failed: call OsMsgInit return -5.",
                                "error <AiSrvServiceProxy::Initiate> failed: GenerateProcAndTaskName fail."});
    EXPECT_EQ(AiSrvServiceProxy::gOrviAiVisionCallBackFun.load(), nullptr);
    platform.msgInitResult = 0;

    platform.regTaskResult = 6;
    expectFailure(joined + Lines{"OsMsgRegTask ai_vpt4711 64",
                                 "error <CreatePthread> failed: call OsMsgRegTask return 6.",
                                 "error <Initiate> Failed to create the msg thread."});
    EXPECT_EQ(AiSrvServiceProxy::gOrviAiVisionCallBackFun.load(), &OnEvent);
    platform.regTaskResult = 0;

    platform.createThreadResult = 11;
    platform.clientLogInitResult = 1;
    expectFailure(joined + Lines{"error <AiVisionAPILogInit> OrviAiClientLogInit failed.", "OsMsgRegTask ai_vpt4711 64",
                                 "OsPthreadCreateId", "error <CreatePthread> failed: call OsPthreadCreateId return 11.",
                                 "OsMsgUnregTask ai_vpp4711 1 ai_vpt4711",
                                 "error <Initiate> Failed to create the msg thread."});
    EXPECT_EQ(proxy.threadId, 0U);
    platform.createThreadResult = 0;
    platform.clientLogInitResult = 0;

    platform.asynSendResult = -1;
    EXPECT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEvent), -1);
    EXPECT_EQ(proxy.threadId, 77U);
    EXPECT_FALSE(proxy.isInited.load());
    (void)platform.Take();
    platform.asynSendResult = 0;

    EXPECT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEventToo), 0);
    EXPECT_EQ(platform.TakeWithoutInfo(), (joined + Lines{"error <CreatePthread> The thread has been created.",
                                                          "asyn 0x60000F ai_v_task_m len=36"}));
    EXPECT_EQ(AiSrvServiceProxy::gOrviAiVisionCallBackFun.load(), &OnEventToo);
}

TEST_F(Lifecycle, MessageThreadSubscribesNamesItselfAndRunsTheLoop) {
    Init();
    platform.taskRoutineResult = 3;
    EXPECT_EQ(AiSrvServiceProxy::AiVisionProxyThread(nullptr), nullptr);
    EXPECT_EQ(platform.Take(), (Lines{"OsMsgSubscribeEvent 4", "OsPthreadSetName ai_vpt4711",
                                      "OsMsgTaskRoutineByName ai_vpt4711", "info OsMsgTaskRoutineByName ret: 3 \r\n"}));
    const uint32_t ids[] = {0x200002, 0x200003, 0x200002, 0x200003};
    const char* const names[] = {"AI_VISION", "AI_VISION", "omlog", "omlog"};
    ASSERT_EQ(platform.subscriptions.size(), 4U);
    for (size_t i = 0; i < 4; ++i) {
        const OsMsgSubscribeEntry& entry = platform.subscriptions[i];
        EXPECT_EQ(entry.eventId, ids[i]);
        EXPECT_EQ(entry.reserved, 0U);
        EXPECT_STREQ(entry.procName, names[i]);
        EXPECT_STREQ(entry.procNameAgain, names[i]);
        EXPECT_STREQ(entry.taskName, "ai_vpt4711");
    }
}

// Copies of an announcement: own process name, own task name, receiver process, receiver task.
TEST_F(Lifecycle, ACopyThatFailsEndsTheMessageWithALinePerCaller) {
    Init();
    const std::string builder = "error <SetDefaultMsgBlockToMaster> failed: call memcpy_s failed.";
    const std::string found[] = {"error <SetStAiTaskBasicInfo> memcpy_s proc name failed.",
                                 "error <SetStAiTaskBasicInfo> memcpy_s task name failed.", builder, builder};
    for (int nth = 1; nth <= 4; ++nth) {
        SCOPED_TRACE(nth);
        const bool filling = nth <= 2;
        platform.FailCopy(nth);
        EXPECT_EQ(proxy.AiSrvSendInitMsgToVision(), -1);
        platform.FailCopy(nth);
        EXPECT_EQ(proxy.AiSrvSendUninitMsgToVision(), -1);
        const std::string reason = filling ? "call SetStAiTaskBasicInfo failed." : "call SetMsgBlock failed.";
        EXPECT_EQ(platform.Take(),
                  (Lines{found[nth - 1], "error <AiSrvSendInitMsgToVision> " + reason, found[nth - 1],
                         "error <AiSrvSendUninitMsgToVision> " + (filling ? "failed: " + reason : reason)}));
    }
}

// The application's static objects go between the handlers that are younger than the connection and those that are older.
TEST_F(Lifecycle, NoCallbackBeginsOnceTheStaticObjectsGo) {
    const auto end = [] {
        (void)std::atexit([] {
            TagMsgBlock block = {};
            block.msgId = 0x60002D;
            _exit(FakePlatform::Get().handler(&block) == -1 ? 0 : 1);
        });
        (void)OrviAiSrvApiInit(tagOrviAppInfo{}, [](OrviAiEventId, void*) { _exit(2); });
        std::exit(3);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0), "");
}

}  // namespace
