#include <atomic>
#include <climits>
#include <cstring>
#include <thread>

#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

std::atomic<int> g_first{0};
std::atomic<int> g_second{0};

void OnFirst(tagOrviAiSrvFaceDetEvent*) {
    ++g_first;
}
void OnSecond(tagOrviAiSrvFaceDetEvent*) {
    ++g_second;
}

// Hands the library a face event, as its message thread does.
void GiveFaceEvent(int32_t sourceId = 0) {
    tagOrviAiSrvFaceDetEvent event = {};
    event.sourceId = sourceId;
    TagMsgBlock block = {};
    block.msgId = 0x60000C;
    block.data = &event;
    block.dataLen = sizeof(event);
    EXPECT_EQ(AiSrvServiceProxy::AiVisionProxyMsgHandler(&block), 0);
}

tagAiDetClientInfo Detector(int32_t sourceId = 0) {
    return {{"AI_VISION", "face", 0x1F}, -3, 0x40404040, sourceId, 0x48484848};
}

// Texts that fill their fields and have no NUL.
tagAiDetClientInfo DetectorWithFullTexts() {
    tagAiDetClientInfo info = Detector();
    memset(info.address.proc, 'p', sizeof(info.address.proc));
    memset(info.address.task, 't', sizeof(info.address.task));
    return info;
}

const Lines SENT_CREATE = {
    "info <AiSrvServiceProxy::SendSynMsgToVision> send msg: recvProc=AI_VISION. recvTask=ai_v_task_i.",
    "syn 0x600002 ai_v_task_i len=48 wait=0"};
const std::string CREATE_FAILED =
    "error <OrviAiSrvCreateFaceDetector> create face detector failed: call CreateDetectTrackProxy failed.";

class Face : public PlatformTest {
 protected:
    // A detector that exists, without a transcript.
    void* Create(OrviAiSrvFaceCallback callback, const tagAiDetClientInfo& reply = Detector()) {
        void* handle = nullptr;
        platform.QueueReply(BytesOf(reply));
        EXPECT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 5, 0, callback), 0);
        (void)platform.Take();
        return handle;
    }
    int Destroy(void* handle, const Bytes& reply = BytesOf(Detector())) {
        platform.QueueReply(reply);
        return OrviAiSrvDestroyFaceDetector(handle);
    }
    std::pair<int, int> CallsOfAnEvent() {
        g_first = 0;
        g_second = 0;
        GiveFaceEvent();
        return {g_first, g_second};
    }

    AiSrvServiceProxy& proxy = AiSrvServiceProxy::GetInstance();
};

TEST_F(Face, CreateSendsTheRequestAndHandsTheDetectorOver) {
    Init();
    void* handle = nullptr;
    platform.QueueReply(BytesOf(DetectorWithFullTexts()));
    ASSERT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 25, 2, OnFirst), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"info <OrviAiSrvCreateFaceDetector> create face detector request begin: sourceId=0, "
                     "frameRate=25, neeedReID=2.",
                     SENT_CREATE[0], SENT_CREATE[1],
                     "info <AiSrvServiceProxy::SendSynMsgToVision> SendSynMsg 600002 to Vision> Success!", "free reply",
                     "info <AiSrvServiceProxy::CreateDetectTrackProxy> succeed: client info, "
                     "proc=pppppppppppppppp, task=tttttttttttttttt, cpu=1f.",
                     "info <OrviAiSrvCreateFaceDetector> succeed: client info, proc=pppppppppppppppp, "
                     "task=tttttttttttttttt, cpu=1f.",
                     "info <OrviAiSrvCreateFaceDetector> create face detector request succeed."}));
    EXPECT_EQ(platform.LastPayload(),
              BytesOf(tagAiCreateDetTrack{{"ai_vpp4711", "ai_vpt4711", 1}, 0, 25, 1, {0, 0, 0}}));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(memcmp(handle, BytesOf(DetectorWithFullTexts()).data(), 52), 0);
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(1, 0));
    EXPECT_EQ(Destroy(handle), 0);
}

TEST_F(Face, FrameRatesAreClampedWithALine) {
    Init();
    struct Row {
        int asked;
        int sent;
        const char* line;
    };
    const char* const min = "info <OrviAiSrvCreateFaceDetector> the min frameRate is 1";
    const char* const max = "info <OrviAiSrvCreateFaceDetector> the max frameRate is 30";
    for (const Row& row : {Row{INT_MIN, 1, min}, Row{-1, 1, min}, Row{0, 1, min}, Row{1, 1, ""}, Row{30, 30, ""},
                           Row{31, 30, max}, Row{INT_MAX, 30, max}}) {
        SCOPED_TRACE(row.asked);
        void* handle = nullptr;
        platform.QueueReply(BytesOf(Detector()));
        ASSERT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, row.asked, 0, OnFirst), 0);
        const Lines lines = platform.Take();
        EXPECT_EQ(lines[1], *row.line == '\0' ? SENT_CREATE[0] : row.line);
        EXPECT_EQ(platform.LastPayload(),
                  BytesOf(tagAiCreateDetTrack{{"ai_vpp4711", "ai_vpt4711", 1}, 0, row.sent, 0, {0, 0, 0}}));
        EXPECT_EQ(Destroy(handle), 0);
        (void)platform.Take();
    }
}

TEST_F(Face, CreateRefusesArgumentsInOrder) {
    Init();
    int live = 0;
    struct Row {
        bool slot;
        bool taken;
        int sourceId;
        OrviAiSrvFaceCallback callback;
        const char* line;
    };
    const char* const noCallback = "error <OrviAiSrvCreateFaceDetector> callback is nullptr";
    const char* const source = "error <OrviAiSrvCreateFaceDetector> sourceId must be 0";
    const char* const handleLine =
        "error <OrviAiSrvCreateFaceDetector> create face detector failed: handle is null or handle value is not "
        "empty pointer.";
    for (const Row& row : {Row{false, false, 5, nullptr, noCallback}, Row{true, false, 0, nullptr, noCallback},
                           Row{false, false, 1, OnFirst, source}, Row{true, true, -1, OnFirst, source},
                           Row{false, false, 0, OnFirst, handleLine}, Row{true, true, 0, OnFirst, handleLine}}) {
        void* handle = row.taken ? &live : nullptr;
        EXPECT_EQ(OrviAiSrvCreateFaceDetector(row.slot ? &handle : nullptr, row.sourceId, 0, 0, row.callback), -1);
        EXPECT_EQ(platform.TakeWithoutInfo(), Lines{row.line});
        EXPECT_EQ(handle, row.taken ? &live : nullptr);
    }
}

TEST_F(Face, CreateBeforeInitialisationSendsNothing) {
    void* handle = nullptr;
    EXPECT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 1, 0, OnFirst), -1);
    EXPECT_EQ(
        platform.TakeWithoutInfo(),
        (Lines{"error <AiSrvServiceProxy::CreateDetectTrackProxy> failed: need call init first.", CREATE_FAILED}));
    EXPECT_EQ(handle, nullptr);
}

TEST_F(Face, CreatePausesOnceWhileTheServiceIsDown) {
    Init();
    AiSrvServiceProxy::isVisionOK = false;
    void* handle = nullptr;
    EXPECT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 1, 0, OnFirst), -1);
    EXPECT_EQ(
        platform.TakeWithoutInfo(),
        (Lines{"OsUSleep 50", SENT_CREATE[1],
               "error <AiSrvServiceProxy::SendSynMsgToVision> failed: msg 600002 call OsMsgSynSend failed -99, "
               "waitTime 0.",
               "error <AiSrvServiceProxy::CreateDetectTrackProxy> call SendSynMsgToVision failed.", CREATE_FAILED}));
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(0, 0));
}

TEST_F(Face, CreateFailuresLeaveTheFormerCallbackInPlace) {
    Init();
    void* const former = Create(OnFirst);
    const auto create = [this] {
        void* handle = nullptr;
        EXPECT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 1, 0, OnSecond), -1);
        EXPECT_EQ(handle, nullptr);
        return platform.TakeWithoutInfo();
    };
    // Copies of a create: own process name, own task name, receiver process, receiver task, reply.
    const Lines noRequest = {"error <SetStCreateDetTrack> call memcpy_s failed.",
                             "error <AiSrvServiceProxy::CreateDetectTrackProxy> call SetStCreateDetTrack failed.",
                             CREATE_FAILED};
    platform.FailCopy(1);
    EXPECT_EQ(create(), noRequest);
    platform.FailCopy(2);
    EXPECT_EQ(create(), noRequest);

    const Lines tooLong = {SENT_CREATE[1],
                           "error <AiSrvServiceProxy::CreateDetectTrackProxy> failed: call memcpy_s failed.",
                           "free reply", CREATE_FAILED};
    platform.QueueReply(Bytes(53, 1));
    EXPECT_EQ(create(), tooLong);
    platform.QueueReply(Bytes(100000, 1));
    EXPECT_EQ(create(), tooLong);

    platform.QueueReplyWithoutData(52);
    EXPECT_EQ(create(), (Lines{SENT_CREATE[1], "free reply",
                               "error <AiSrvServiceProxy::SendSynMsgToVision> failed: can not get msg 600002 response",
                               "error <AiSrvServiceProxy::CreateDetectTrackProxy> call SendSynMsgToVision failed.",
                               CREATE_FAILED}));
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(1, 0));
    EXPECT_EQ(Destroy(former), 0);
}

TEST_F(Face, AShortCreateReplyLeavesNoRubbish) {
    Init();
    for (const size_t length : {size_t{0}, size_t{1}, size_t{51}, size_t{52}}) {
        tagAiDetClientInfo info;
        memset(&info, 0xA5, sizeof(info));
        platform.QueueReply(Bytes(length, 7));
        EXPECT_EQ(proxy.CreateDetectTrackProxy(info, 0, 1, false, OnFirst), 0);
        Bytes expected(length, 7);
        expected.resize(sizeof(info));
        EXPECT_EQ(BytesOf(info), expected);
    }
}

// A request on an existing detector.
struct Request {
    const char* function;
    const char* verb;
    const char* failing;
    const char* method;
    const char* msgId;
    int (*call)(void* handle);
    int (*proxyCall)(AiSrvServiceProxy& proxy, tagAiDetClientInfo& info);
};
const Request REQUESTS[] = {
    {"OrviAiSrvDestroyFaceDetector", "destroy", "destory", "RemoveDetectTrackProxy", "600003",
     OrviAiSrvDestroyFaceDetector,
     [](AiSrvServiceProxy& proxy, tagAiDetClientInfo& info) { return proxy.RemoveDetectTrackProxy(info); }},
    {"OrviAiSrvStartFaceDetector", "start", "start", "StartDetectTrackProxy", "600004", OrviAiSrvStartFaceDetector,
     [](AiSrvServiceProxy& proxy, tagAiDetClientInfo& info) { return proxy.StartDetectTrackProxy(info); }},
    {"OrviAiSrvStopFaceDetector", "stop", "stop", "StopDetectTrackProxy", "600005", OrviAiSrvStopFaceDetector,
     [](AiSrvServiceProxy& proxy, tagAiDetClientInfo& info) { return proxy.StopDetectTrackProxy(info); }},
};

TEST_F(Face, RequestsOnADetector) {
    Init();
    for (const Request& r : REQUESTS) {
        SCOPED_TRACE(r.function);
        const std::string front = std::string("<") + r.function + "> ";
        const std::string inner = std::string("<AiSrvServiceProxy::") + r.method + "> ";
        const std::string begin = "info " + front + r.verb + " face detector request begin.";
        const bool starts = r.call == OrviAiSrvStartFaceDetector;

        EXPECT_EQ(r.call(nullptr), -1);
        EXPECT_EQ(platform.Take(), (Lines{begin, "error " + front + "failed: handle is null pointer."}));

        void* handle = Create(OnFirst, DetectorWithFullTexts());
        platform.QueueReply(BytesOf(Detector(0)));
        EXPECT_EQ(r.call(handle), 0);
        Lines expected = {begin};
        if (starts) {
            expected.push_back("info " + front +
                               "succeed: client info, proc=pppppppppppppppp, task=tttttttttttttttt, "
                               "cpu=31, sourceId=0, status=-3");
        }
        expected.push_back("info " + inner + "send " + r.verb + " detecttrack msg.");
        expected.push_back(std::string("syn 0x") + r.msgId + " ai_v_task_i len=52 wait=0");
        expected.push_back("info " + inner + "get msg response: " + r.msgId + ".");
        expected.emplace_back("free reply");
        expected.push_back("info " + front + r.verb + " face detector request succeed.");
        EXPECT_EQ(platform.Take(), expected);
        EXPECT_EQ(platform.LastPayload(), BytesOf(DetectorWithFullTexts()));
        if (r.call == OrviAiSrvDestroyFaceDetector) {
            handle = Create(OnFirst);
        } else {
            EXPECT_EQ(memcmp(handle, BytesOf(Detector(0)).data(), 52), 0) << "the reply becomes the record";
        }

        platform.QueueReply(Bytes(53, 1));
        EXPECT_EQ(r.call(handle), -1);
        EXPECT_EQ(
            platform.TakeWithoutInfo(),
            (Lines{expected[expected.size() - 4], "error " + inner + "failed: call memcpy_s failed.", "free reply",
                   "error " + front + r.failing + " face detector failed: call " + r.method + " failed."}));
        EXPECT_EQ(CallsOfAnEvent(), std::make_pair(1, 0)) << "only a destroy that succeeds removes the callback";
        if (r.call != OrviAiSrvDestroyFaceDetector) {
            EXPECT_EQ(memcmp(handle, Bytes(52, 0).data(), 52), 0);
            EXPECT_EQ(Destroy(handle), 0);
        }
        (void)platform.Take();
    }
}

TEST_F(Face, RepliesToRequestsOnADetector) {
    const Bytes zeros(52, 0);
    const Bytes sent = BytesOf(Detector());
    for (const Request& r : REQUESTS) {
        SCOPED_TRACE(r.function);
        const std::string syn = std::string("syn 0x") + r.msgId + " ai_v_task_i len=52 wait=0";
        const std::string error = std::string("error <AiSrvServiceProxy::") + r.method + "> failed: ";
        tagAiDetClientInfo info;
        const auto request = [&] {
            info = Detector();
            return r.proxyCall(proxy, info);
        };
        platform.QueueReply({});
        EXPECT_EQ(request(), 0);
        EXPECT_EQ(BytesOf(info), sent);
        platform.QueueReplyWithoutData(0);
        EXPECT_EQ(request(), 0);
        EXPECT_EQ(BytesOf(info), sent);
        EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{syn, "free reply", syn, "free reply"}));

        Bytes patched = sent;
        patched[0] = 'X';
        platform.QueueReply({'X'});
        EXPECT_EQ(request(), 0);
        EXPECT_EQ(BytesOf(info), patched) << "a short reply replaces what it has";
        (void)platform.Take();

        platform.QueueReplyWithoutData(1);
        EXPECT_EQ(request(), -1);
        EXPECT_EQ(BytesOf(info), zeros);
        EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{syn, error + "call memcpy_s failed.", "free reply"}));

        platform.QueueNoReply();
        EXPECT_EQ(request(), -1);
        platform.QueueSendFailure(3);
        EXPECT_EQ(request(), -1);
        EXPECT_EQ(BytesOf(info), sent);
        EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{syn, error + "can not get msg response " + r.msgId + ".", syn,
                                                     error + "call OsMsgSynSend failed."}));
        for (int nth = 1; nth <= 2; ++nth) {
            platform.FailCopy(nth);
            EXPECT_EQ(request(), -1);
            EXPECT_EQ(platform.Take(), (Lines{"error <SetDefaultIntefMsgBlockToMaster> failed: call memcpy_s failed.",
                                              error + "call SetDefaultMsgBlockToMaster failed."}));
        }
    }
}

TEST_F(Face, DetectorsOfASourceShareOneCallback) {
    Init();
    void* const first = Create(OnFirst);
    void* const second = Create(OnSecond);
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(0, 1));
    EXPECT_EQ(Destroy(first), 0);
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(0, 0)) << "either detector's destroy removes it";
    EXPECT_EQ(Destroy(second), 0);

    void* const other = Create(OnFirst);
    EXPECT_EQ(Destroy(other, BytesOf(Detector(9))), 0);
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(1, 0)) << "the reply's source counts";
    EXPECT_EQ(Destroy(Create(OnSecond), {}), 0);
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(0, 0)) << "after an empty reply the record's";
}

TEST_F(Face, ACallbackMayDestroyItsDetectorAndCreateAnother) {
    Init();
    static void* own = nullptr;
    static void* another = nullptr;
    static int result;
    own = Create([](tagOrviAiSrvFaceDetEvent*) {
        FakePlatform::Get().QueueReply(BytesOf(Detector()));
        result = OrviAiSrvDestroyFaceDetector(own);
        FakePlatform::Get().QueueReply(BytesOf(Detector()));
        result += OrviAiSrvCreateFaceDetector(&another, 0, 30, 1, OnSecond);
    });
    result = -1;
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(0, 0));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(0, 1));
    EXPECT_EQ(Destroy(another), 0);
}

// Detectors come and go on one thread while face events arrive on another: after a destroy, and after a create that
// replaces, the old callback neither runs nor is called again.
TEST_F(Face, DetectorsComeAndGoAgainstAStreamOfEvents) {
    Init();
    static std::atomic<int> inside[2];
    static std::atomic<int> calls[2];
    const OrviAiSrvFaceCallback callbacks[2] = {
        [](tagOrviAiSrvFaceDetEvent*) {
            ++inside[0];
            ++calls[0];
            std::this_thread::yield();
            --inside[0];
        },
        [](tagOrviAiSrvFaceDetEvent*) {
            ++inside[1];
            ++calls[1];
            std::this_thread::yield();
            --inside[1];
        },
    };
    const auto waitForACall = [](int which) {
        const int before = calls[which];
        while (calls[which] == before) {
            std::this_thread::yield();
        }
    };
    std::atomic<bool> stop{false};
    std::thread events([&stop] {
        while (!stop) {
            GiveFaceEvent();
        }
    });
    for (int round = 0; round < 200; ++round) {
        void* const first = Create(callbacks[0]);
        waitForACall(0);
        void* const second = Create(callbacks[1]);
        EXPECT_EQ(inside[0], 0);
        const int replaced = calls[0];
        waitForACall(1);
        EXPECT_EQ(Destroy(first), 0);
        EXPECT_EQ(inside[1], 0);
        const int destroyed = calls[1];
        EXPECT_EQ(Destroy(second), 0);
        EXPECT_EQ(calls[0], replaced);
        EXPECT_EQ(calls[1], destroyed);
        (void)platform.Take();
    }
    stop = true;
    events.join();
}

}  // namespace
