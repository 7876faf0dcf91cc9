#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"

namespace {

tagOrviAiMinutesConfInfo Conference() {
    tagOrviAiMinutesConfInfo info;
    for (size_t i = 0; i < sizeof(info.conference); ++i) {
        info.conference[i] = static_cast<uint8_t>(i * 7 + 1);
    }
    return info;
}

int Start() {
    return OrviAiSrvSignatureStart(Conference());
}

struct Call {
    int (*exported)();
    std::string method;
    const char* sent;
    const char* id;
    Lines begin;
};
const Call CALLS[] = {
    {Start,
     "AiSrvMinutesStart",
     "syn 0x600035 ai_v_task_i len=1196 wait=3000",
     "600035",
     {"info <OrviAiSrvMinutesStart> MinutesStart begin.", "info <AiSrvMinutesStart> enter AiSrvMinutesStart"}},
    {OrviAiSrvSignatureStop,
     "AiSrvMinutesStop",
     "syn 0x600036 ai_v_task_i len=0 wait=3000",
     "600036",
     {"info <OrviAiSrvMinutesStop> MinutesStop begin.", "info <AiSrvMinutesStop> enter AiSrvMinutesStop"}},
};

class Minutes : public PlatformTest {};

TEST_F(Minutes, NothingIsSentBeforeInitialisation) {
    for (const Call& call : CALLS) {
        EXPECT_EQ(call.exported(), -1);
        Lines expected = call.begin;
        expected.push_back("error <" + call.method + "> ai srv has not inited.");
        EXPECT_EQ(platform.Take(), expected);
    }
}

TEST_F(Minutes, Transcripts) {
    Init();
    for (const Call& call : CALLS) {
        SCOPED_TRACE(call.method);
        const std::string name = "error <" + call.method + ">";
        platform.QueueReply({0, 5, 6});  // what follows the verdict is ignored
        EXPECT_EQ(call.exported(), 0);
        Lines expected = call.begin;
        expected.insert(
            expected.end(),
            {"info <AiSrvServiceProxy::SendSynMsgToVision> send msg: recvProc=AI_VISION. recvTask=ai_v_task_i.",
             call.sent,
             std::string("info <AiSrvServiceProxy::SendSynMsgToVision> SendSynMsg ") + call.id + " to Vision> Success!",
             "free reply"});
        EXPECT_EQ(platform.Take(), expected);

        for (const Bytes& refusal : {Bytes{3}, Bytes{}}) {
            platform.QueueReply(refusal);
            EXPECT_EQ(call.exported(), -1);
            EXPECT_EQ(platform.TakeWithoutInfo(),
                      (Lines{call.sent, name + " failed: response ret is error.", "free reply"}));
        }

        platform.QueueReplyWithoutData();
        EXPECT_EQ(call.exported(), -1);
        EXPECT_EQ(platform.TakeWithoutInfo(),
                  (Lines{call.sent, "free reply",
                         std::string("error <AiSrvServiceProxy::SendSynMsgToVision> failed: can not get msg ") +
                             call.id + " response",
                         name + " call SendSynMsgToVision failed."}));
    }
}

TEST_F(Minutes, TheStartCarriesTheClientAndTheConference) {
    Init();
    platform.QueueReply({0});
    EXPECT_EQ(Start(), 0);
    Bytes expected = BytesOf(tagAiTaskBasicInfo{"ai_vpp4711", "ai_vpt4711", 1});
    const Bytes conference = BytesOf(Conference());
    expected.insert(expected.end(), conference.begin(), conference.end());
    EXPECT_EQ(platform.LastPayload(), expected);

    platform.QueueReply({0});
    EXPECT_EQ(OrviAiSrvSignatureStop(), 0);
    EXPECT_TRUE(platform.LastPayloadWasNull());
}

// Copies 1 and 2 fill the client's address, 3 and 4 the payload.
TEST_F(Minutes, CopiesThatFail) {
    Init();
    const std::string address = "error <AiSrvMinutesStart> failed: call SetStAiTaskBasicInfo failed.";
    const Lines expected[] = {
        {"error <SetStAiTaskBasicInfo> memcpy_s proc name failed.", address},
        {"error <SetStAiTaskBasicInfo> memcpy_s task name failed.", address},
        {"error <AiSrvMinutesStart> memcpy_s failed: err1:34, err2:0"},
        {"error <AiSrvMinutesStart> memcpy_s failed: err1:0, err2:34"},
    };
    for (int nth = 1; nth <= 4; ++nth) {
        platform.FailCopy(nth);
        EXPECT_EQ(Start(), -1);
        EXPECT_EQ(platform.TakeWithoutInfo(), expected[nth - 1]);
    }
}

}  // namespace
