#include <climits>
#include <cstring>
#include <functional>

#include "fake_platform.h"
#include "orvi_ai_srv.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

int g_first = 0;
int g_second = 0;

void OnFirst(tagOrviAiSrvFaceDetEvent*) {
    ++g_first;
}
void OnSecond(tagOrviAiSrvFaceDetEvent*) {
    ++g_second;
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
        EXPECT_EQ(Give(0x60000C, Bytes(sizeof(tagOrviAiSrvFaceDetEvent), 0)), 0);
        return {g_first, g_second};
    }
};

TEST_F(Face, CreateHandsTheDetectorOver) {
    Init();
    void* handle = nullptr;
    platform.QueueReply(BytesOf(DetectorWithFullTexts()));
    ASSERT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 25, 2, OnFirst), 0);
    const std::string client = "succeed: client info, proc=pppppppppppppppp, task=tttttttttttttttt, cpu=1f.";
    const Lines lines = platform.Take();
    EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
              (Lines{"info <AiSrvServiceProxy::CreateDetectTrackProxy> " + client,
                     "info <OrviAiSrvCreateFaceDetector> " + client,
                     "info <OrviAiSrvCreateFaceDetector> create face detector request succeed."}));
    EXPECT_EQ(platform.LastPayload(), BytesOf(tagAiCreateDetTrack{OWN_ADDRESS, 0, 25, 1, {0, 0, 0}}));
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
        EXPECT_EQ(lines[1].find("Rate is") != std::string::npos ? lines[1] : "", row.line);
        EXPECT_EQ(platform.LastPayload(), BytesOf(tagAiCreateDetTrack{OWN_ADDRESS, 0, row.sent, 0, {0, 0, 0}}));
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

TEST_F(Face, CreateFailuresLeaveTheFormerCallbackInPlace) {
    Init();
    void* const former = Create(OnFirst);
    const auto create = [] {
        void* handle = nullptr;
        EXPECT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 1, 0, OnSecond), -1);
        EXPECT_EQ(handle, nullptr);
    };
    for (int nth = 1; nth <= 2; ++nth) {  // the own names
        platform.FailCopy(nth);
        create();
        EXPECT_EQ(platform.TakeWithoutInfo(),
                  (Lines{"error <SetStCreateDetTrack> call memcpy_s failed.",
                         "error <AiSrvServiceProxy::CreateDetectTrackProxy> call SetStCreateDetTrack failed.",
                         "error <OrviAiSrvCreateFaceDetector> create face detector failed: call CreateDetectTrackProxy "
                         "failed."}));
    }
    platform.QueueSendFailure(1);
    create();
    platform.QueueReply(Bytes(100000, 1));
    create();
    platform.QueueReplyWithoutData(52);
    create();
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

TEST_F(Face, AnEmptyCallbackTakesTheEventsAndDropsThem) {
    Init();
    tagAiDetClientInfo info;
    platform.QueueReply(BytesOf(Detector()));
    EXPECT_EQ(proxy.CreateDetectTrackProxy(info, 0, 1, false, nullptr), 0);
    (void)platform.Take();
    EXPECT_EQ(Give(0x60000C, Bytes(sizeof(tagOrviAiSrvFaceDetEvent), 0)), 0);
    EXPECT_EQ(platform.Take(), Lines{});
}

TEST_F(Face, RequestsNeedAHandle) {
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(nullptr), -1);
    EXPECT_EQ(OrviAiSrvStartFaceDetector(nullptr), -1);
    EXPECT_EQ(OrviAiSrvStopFaceDetector(nullptr), -1);
    EXPECT_EQ(platform.Take(), (Lines{"info <OrviAiSrvDestroyFaceDetector> destroy face detector request begin.",
                                      "error <OrviAiSrvDestroyFaceDetector> failed: handle is null pointer.",
                                      "info <OrviAiSrvStartFaceDetector> start face detector request begin.",
                                      "error <OrviAiSrvStartFaceDetector> failed: handle is null pointer.",
                                      "info <OrviAiSrvStopFaceDetector> stop face detector request begin.",
                                      "error <OrviAiSrvStopFaceDetector> failed: handle is null pointer."}));
}

TEST_F(Face, TheStartLogsTextsWithoutANul) {
    tagAiDetClientInfo info = DetectorWithFullTexts();
    EXPECT_EQ(OrviAiSrvStartFaceDetector(&info), -1);
    EXPECT_EQ(platform.Take()[1],
              "info <OrviAiSrvStartFaceDetector> succeed: client info, proc=pppppppppppppppp, task=tttttttttttttttt, "
              "cpu=31, sourceId=0, status=-3");
}

TEST_F(Face, ARequestSendsTheRecordAndTheReplyReplacesItsStart) {
    using Method = int (AiSrvServiceProxy::*)(tagAiDetClientInfo&);
    const Bytes sent = BytesOf(DetectorWithFullTexts());
    for (const Method method : {&AiSrvServiceProxy::RemoveDetectTrackProxy, &AiSrvServiceProxy::StartDetectTrackProxy,
                                &AiSrvServiceProxy::StopDetectTrackProxy}) {
        tagAiDetClientInfo info;
        const auto request = [&] {
            info = DetectorWithFullTexts();
            const int result = std::invoke(method, proxy, info);
            EXPECT_EQ(platform.LastPayload(), sent);
            return result;
        };
        for (const size_t length : {size_t{0}, size_t{1}, size_t{52}}) {
            platform.QueueReply(Bytes(length, 'X'));
            EXPECT_EQ(request(), 0);
            Bytes expected = sent;
            std::fill_n(expected.begin(), length, 'X');
            EXPECT_EQ(BytesOf(info), expected);
        }
        platform.QueueReplyWithoutData(0);
        EXPECT_EQ(request(), 0);
        EXPECT_EQ(BytesOf(info), sent);
        platform.QueueNoReply();
        EXPECT_EQ(request(), -1);
        EXPECT_EQ(BytesOf(info), sent);
        platform.QueueReply(Bytes(53, 'X'));
        EXPECT_EQ(request(), -1);
        EXPECT_EQ(BytesOf(info), Bytes(52, 0));
        platform.QueueReplyWithoutData(1);
        EXPECT_EQ(request(), -1);
        EXPECT_EQ(BytesOf(info), Bytes(52, 0));
    }
}

TEST_F(Face, OnlyADestroyThatSucceedsRemovesTheCallback) {
    Init();
    void* const handle = Create(OnFirst);
    void* const other = Create(OnFirst);
    EXPECT_EQ(Destroy(other, Bytes(53, 1)), -1);
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(1, 0));
    EXPECT_EQ(Destroy(handle), 0);
    EXPECT_EQ(CallsOfAnEvent(), std::make_pair(0, 0));
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

}  // namespace
