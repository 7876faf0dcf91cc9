#include <chrono>

#include "dispatch_scope.h"
#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_meeting.h"

using OrviAiService::AiSrvServiceProxy;
using OrviAiService::DispatchScope;

namespace {

std::string FaceTaskSuccess(const char* id) {
    return std::string("info <SendSynMsgToVisionFaceTask> SendSynMsg ") + id + " to Vision FaceTask> Success!";
}

class Meeting : public PlatformTest {
 protected:
    void TearDown() override {
        AiSrvServiceProxy::isVisionOK = true;
        platform.onPause = nullptr;
        PlatformTest::TearDown();
    }

    AiSrvServiceProxy& proxy = AiSrvServiceProxy::GetInstance();
};

// --- Nameplates ---

struct NameplateCall {
    int (*exported)();
    int (*method)(AiSrvServiceProxy& proxy);
    const char* id;    // as the log prints it
    const char* sent;  // as the bus sees it
    Lines begin;
    const char* failed;
    const char* succeeded;
};

const NameplateCall NAMEPLATE_CALLS[] = {
    {OrviAiSrvNamePlateInit,
     [](AiSrvServiceProxy& proxy) { return proxy.NameplateInit(); },
     "60001a",
     "syn 0x60001A ai_face_task len=0 wait=3000",
     {"info <OrviAiSrvNamePlateInit> init request begin.",
      "info <AiSrvServiceProxy::NameplateInit> enter NameplateInit"},
     "error <OrviAiSrvNamePlateInit> init request failed.",
     "info <OrviAiSrvNamePlateInit> succeed."},
    {OrviAiSrvNamePlateDeInit,
     [](AiSrvServiceProxy& proxy) { return proxy.NameplateDeinit(); },
     "60001b",
     "syn 0x60001B ai_face_task len=0 wait=3000",
     {"info <OrviAiSrvNamePlateDeInit> deinit request begin.",
      "info <AiSrvServiceProxy::NameplateDeinit> enter NameplateDeinit"},
     "error <OrviAiSrvNamePlateDeInit> deinit request failed.",
     "info <OrviAiSrvNamePlateDeInit> succeed."},
    {OrviAiSrvNamePlateStart,
     [](AiSrvServiceProxy& proxy) { return proxy.StartNameplateProxy(); },
     "60001c",
     "syn 0x60001C ai_face_task len=36 wait=3000",
     {"info <OrviAiSrvNamePlateStart> start nameplate request begin."},
     "error <OrviAiSrvNamePlateStart> start nameplate failed: call StartNameplateProxy failed.",
     "info <OrviAiSrvNamePlateStart> start nameplate request succeed."},
    {OrviAiSrvNamePlateStop,
     [](AiSrvServiceProxy& proxy) { return proxy.StopNameplateProxy(); },
     "60001d",
     "syn 0x60001D ai_face_task len=36 wait=3000",
     {"info <OrviAiSrvNamePlateStop> stop nameplate request begin."},
     "error <OrviAiSrvNamePlateStop> stop nameplate failed: call StopNameplateProxy failed.",
     "info <OrviAiSrvNamePlateStop> stop nameplate request succeed."},
};

TEST_F(Meeting, NameplateRequests) {
    Init();
    for (const NameplateCall& call : NAMEPLATE_CALLS) {
        SCOPED_TRACE(call.sent);
        const bool withAddress = std::string(call.sent).find("len=36") != std::string::npos;

        platform.QueueReply({0});
        EXPECT_EQ(call.exported(), 0);
        Lines expected = call.begin;
        expected.insert(expected.end(), {call.sent, FaceTaskSuccess(call.id), "free reply", call.succeeded});
        EXPECT_EQ(platform.Take(), expected);
        EXPECT_EQ(platform.LastPayloadWasNull(), !withAddress);
        EXPECT_EQ(platform.LastPayload(),
                  withAddress ? BytesOf(tagAiTaskBasicInfo{"ai_vpp4711", "ai_vpt4711", 1}) : Bytes());

        platform.QueueReply({5});
        platform.QueueReply({5});
        EXPECT_EQ(call.method(proxy), 5);
        (void)platform.Take();
        EXPECT_EQ(call.exported(), -1);
        const std::string refused = std::string("error <SendSynMsgToFaceReturnInt> msgId=") + call.id;
        EXPECT_EQ(platform.TakeWithoutInfo(),
                  (Lines{call.sent, "free reply", refused + " response VOS_ERROR.", call.failed}));

        platform.QueueSendFailure(9);
        EXPECT_EQ(call.exported(), -1);
        EXPECT_EQ(platform.Take().back(), call.failed);
    }
}

TEST_F(Meeting, ANameplateSwitchWhoseAddressDoesNotFitIsNotSent) {
    platform.pid = 1234567890;  // a name of 16 characters
    (void)OrviAiSrvApiInit(tagOrviAppInfo{}, [](OrviAiEventId, void*) {});
    (void)platform.Take();
    EXPECT_EQ(OrviAiSrvNamePlateStart(), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(),
              (Lines{"error <SetProxyInfo> memcpy_s proc name failed.",
                     "error <StartNameplateProxy> call SetProxyInfo failed.", NAMEPLATE_CALLS[2].failed}));
    EXPECT_EQ(proxy.StopNameplateProxy(), -1);
    EXPECT_EQ(platform.Take().back(), "error <StopNameplateProxy> call SetProxyInfo failed.");
}

// --- Director and lock state ---

TEST_F(Meeting, TheDirectorHasNoInitialisation) {
    EXPECT_EQ(OrviAiSrvDirectorInit(), -1);
    EXPECT_EQ(OrviAiSrvDirectorDeInit(), -1);
    EXPECT_EQ(platform.Take(), (Lines{"info <OrviAiSrvDirectorInit> The director is turned on by default.",
                                      "info <OrviAiSrvDirectorDeInit> Director does not deinitialize."}));
}

int ChangeLockState() {
    return OrviAiLockStateChange(-7);
}
int CreateDirector() {
    return AiSrvServiceProxy::GetInstance().CreateDirectorTrackProxy();
}
int RemoveDirector() {
    return AiSrvServiceProxy::GetInstance().RemoveDirectorTrackProxy();
}

struct DirectorCall {
    int (*call)();
    const char* id;
    const char* sent;
    const char* sender;   // the name under which the sender logs
    const char* sending;  // what its line before the send says
    int32_t number;
    Lines begin;
    Lines failed;
    Lines succeeded;
};

constexpr const char* TO_DIRECTOR = "DirectorSendMsgToVision";
constexpr const char* SENDING = "send create-director-client msg";
const DirectorCall DIRECTOR_CALLS[] = {
    {CreateDirector,
     "600007",
     "syn 0x600007 VDirector len=4 wait=0",
     TO_DIRECTOR,
     SENDING,
     0,
     {"info <AiSrvServiceProxy::CreateDirectorTrackProxy> send create director msg"},
     {"error <AiSrvServiceProxy::CreateDirectorTrackProxy> DirectorSendMsgToVision failed."},
     {}},
    {RemoveDirector,
     "600008",
     "syn 0x600008 VDirector len=4 wait=0",
     TO_DIRECTOR,
     SENDING,
     0,
     {"info <AiSrvServiceProxy::RemoveDirectorTrackProxy> send  remove director msg."},
     {"error <AiSrvServiceProxy::RemoveDirectorTrackProxy> DirectorSendMsgToVision failed."},
     {}},
    {OrviAiSrvDirectorStart,
     "600009",
     "syn 0x600009 VDirector len=4 wait=0",
     TO_DIRECTOR,
     SENDING,
     0,
     {"info <OrviAiSrvDirectorStart> start director request begin.",
      "info <AiSrvServiceProxy::StartDirectorTrackProxy> send start director msg."},
     {"error <AiSrvServiceProxy::StartDirectorTrackProxy> DirectorSendMsgToVision failed.",
      "error <OrviAiSrvDirectorStart> StartDirectorTrackProxy failed."},
     {"info <OrviAiSrvDirectorStart> start director request succeed."}},
    {OrviAiSrvDirectorStop,
     "60000a",
     "syn 0x60000A VDirector len=4 wait=0",
     TO_DIRECTOR,
     SENDING,
     0,
     {"info <OrviAiSrvDirectorStop> stop director request begin.",
      "info <AiSrvServiceProxy::StopDirectorTrackProxy> send stop director msg."},
     {"error <AiSrvServiceProxy::StopDirectorTrackProxy> DirectorSendMsgToVision failed.",
      "error <OrviAiSrvDirectorStop> StopDirectorTrackProxy failed."},
     {"info <OrviAiSrvDirectorStop> stop director request succeed."}},
    {ChangeLockState,
     "60006f",
     "syn 0x60006F VDirector len=4 wait=0",
     "AiLockStateChange",
     "send lock-state msg",
     -7,
     {"info <OrviAiLockStateChange> begin.", "info <AiSrvServiceProxy::AiLockStateChange> send msg."},
     {"error <OrviAiLockStateChange> AiLockStateChange failed."},
     {"info <OrviAiLockStateChange> succeed."}},
};

class DirectorRequests : public Meeting {
 protected:
    // Makes the call and compares its whole transcript: the begin lines, `middle`, the end lines.
    void Expect(const DirectorCall& call, int result, const Lines& middle) {
        EXPECT_EQ(call.call(), result);
        Lines expected = call.begin;
        expected.insert(expected.end(), middle.begin(), middle.end());
        const Lines& end = result == 0 ? call.succeeded : call.failed;
        expected.insert(expected.end(), end.begin(), end.end());
        EXPECT_EQ(platform.Take(), expected);
    }
};

TEST_F(DirectorRequests, Transcripts) {
    Init();
    for (const DirectorCall& call : DIRECTOR_CALLS) {
        SCOPED_TRACE(call.sent);
        const std::string sender = std::string("<") + call.sender + ">";
        const std::string id = std::string("msgId=") + call.id;
        const std::string sending = "info " + sender + " AiSrvServiceProxy " + call.sending + ": " + id +
                                    ", recvProc=AI_VISION. recvTask=VDirector, recvCpu=0.";
        const std::string answered = "info " + sender + " " + id + ", get msg response.";

        platform.QueueReply({9, 9});  // not read
        Expect(call, 0, {sending, call.sent, answered, "free reply"});
        EXPECT_EQ(platform.LastPayload(), BytesOf(call.number));
        platform.QueueReplyWithoutData();
        Expect(call, 0, {sending, call.sent, answered, "free reply"});

        platform.QueueNoReply();
        Expect(call, -1, {sending, call.sent, "error " + sender + " " + id + ", can not get msg response."});
        platform.QueueSendFailure(-12);
        Expect(call, -1, {sending, call.sent, "error " + sender + " OsMsgSynSend failed. " + id + ", ret = -12"});
        platform.FailCopy(1);
        Expect(call, -1, {"error " + sender + " failed: call memcpy_s set recvProcName failed."});
        platform.FailCopy(2);
        Expect(call, -1, {"error " + sender + " failed: call memcpy_s set recvTaskName failed."});
    }
}

// --- The wait for the service ---

TEST_F(Meeting, OnlyTheCreationNeedsInitialisation) {
    EXPECT_EQ(proxy.CreateDirectorTrackProxy(), -1);
    EXPECT_EQ(platform.Take(),
              Lines{"error <AiSrvServiceProxy::CreateDirectorTrackProxy> failed: need call init first."});
}

TEST_F(Meeting, OnlyTheCreationWaitsUntilTheServiceRuns) {
    Init();
    AiSrvServiceProxy::isVisionOK = false;
    platform.QueueReply({0});
    EXPECT_EQ(proxy.StartDirectorTrackProxy(), 0);
    (void)platform.Take();

    static int pauses = 0;
    platform.onPause = [] {
        if (++pauses == 3) {
            AiSrvServiceProxy::isVisionOK = true;
        }
    };
    platform.QueueReply({0});
    EXPECT_EQ(proxy.CreateDirectorTrackProxy(), 0);
    EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{"OsUSleep 50", "OsUSleep 50", "OsUSleep 50",
                                                 "syn 0x600007 VDirector len=4 wait=0", "free reply"}));
}

TEST_F(Meeting, TheWaitForTheServiceEnds) {
    using OrviAiService::WaitForDirector;
    const Lines tooLong = {"error <AiSrvServiceProxy::CreateDirectorTrackProxy> failed: the service is still down."};
    EXPECT_TRUE(WaitForDirector(std::chrono::seconds(0)));
    AiSrvServiceProxy::isVisionOK = false;
    EXPECT_FALSE(WaitForDirector(std::chrono::seconds(0)));
    EXPECT_EQ(platform.Take(), tooLong);

    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(WaitForDirector(std::chrono::milliseconds(2)));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2));
    EXPECT_EQ(platform.Take().back(), tooLong[0]);
}

TEST_F(Meeting, InsideACallbackTheCreationDoesNotWait) {
    Init();
    const DispatchScope callback;
    AiSrvServiceProxy::isVisionOK = false;
    EXPECT_EQ(proxy.CreateDirectorTrackProxy(), -1);
    EXPECT_EQ(platform.Take(),
              Lines{"error <AiSrvServiceProxy::CreateDirectorTrackProxy> failed: the service is down, cannot wait in a "
                    "callback."});
    AiSrvServiceProxy::isVisionOK = true;
    platform.QueueReply({0});
    EXPECT_EQ(proxy.CreateDirectorTrackProxy(), 0);
}

}  // namespace
