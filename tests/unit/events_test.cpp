#include <atomic>
#include <cstring>
#include <pthread.h>
#include <stdexcept>
#include <thread>

#include "face_registry.h"
#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

// What a callback is told becomes a line of the transcript: "main 4 its payload".
void NoteCall(const char* callback, int event, const void* payload) {
    const char* const what = payload == nullptr                     ? " null"
                             : payload == FakePlatform::Get().given ? " its payload"
                                                                    : " a stranger";
    FakePlatform::Get().Note(callback + std::to_string(event) + what);
}
void OnMain(OrviAiEventId event, void* payload) {
    if (event == ORVI_AI_EVENT_STATUS) {
        const auto* const status = static_cast<tagOrviAiServiceStatusEvent*>(payload);
        FakePlatform::Get().Note("main 2 type " + std::to_string(status->type) + " status " +
                                 std::to_string(status->status));
        return;
    }
    NoteCall("main ", event, payload);
}
void OnCaption(OrviAiCaptionEventId event, void* payload) {
    NoteCall("caption ", event, payload);
}
void OnFace(tagOrviAiSrvFaceDetEvent* event) {
    NoteCall("face ", event->sourceId, event);
}

const std::string SUCCEED = "info <AiSrvServiceProxy::AiVisionAPICallBack> succeed.";
const std::string ANNOUNCED = "info <AiVisionExecResProcess> call AiVisionAPICallBack event:";
const std::string HANDLER = "<AiSrvServiceProxy::AiVisionProxyMsgHandler> ";

class Events : public PlatformTest {
 protected:
    void SetUp() override { AiSrvServiceProxy::gOrviAiVisionCallBackFun = OnMain; }

    void ExpectInvalid(uint32_t msgId, const Bytes& payload) {
        char id[16];
        snprintf(id, sizeof(id), "%x", msgId);
        EXPECT_EQ(Give(msgId, payload), -1);
        EXPECT_EQ(platform.Take(), Lines{"info " + HANDLER + "invalid msgId:" + id + "."});
    }
};

TEST_F(Events, StatusMessages) {
    const struct {
        uint32_t msgId;
        int32_t n;
        int type;
        int status;
    } rows[] = {
        {0x600015, 0, 1, 1},
        {0x600015, 5, 1, 0},
        {0x600016, 0, 1, 0},
        {0x600016, -1, 1, 1},
        {0x60001C, 0, 2, 1},
        {0x60001C, 1, 2, 0},
        {0x60001D, 0, 2, 0},
        {0x60001D, 9, 2, 1},
        {0x60002B, -7, 3, -7},
        {0x600037, 12, 4, 12},
        {0x600037, INT32_MIN, 4, INT32_MIN},
        {0x60003B, 0, 5, 1},
        {0x60003B, 256, 5, 0},
        {0x600012, -3, 0, -3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << row.msgId << " " << std::dec << row.n);
        const std::string type = std::to_string(row.type);
        const std::string status = std::to_string(row.status);
        EXPECT_EQ(Give(row.msgId, BytesOf(row.n)), 0);
        EXPECT_EQ(platform.Take(), (Lines{ANNOUNCED + "2, type:" + type + ", status:" + status,
                                          "main 2 type " + type + " status " + status, SUCCEED}));
    }
}

TEST_F(Events, NoticesWithoutPayload) {
    EXPECT_EQ(Give(0x600029, BytesOf(1)), 0);
    EXPECT_EQ(Give(0x60002F, BytesOf(0)), 0);
    EXPECT_EQ(Give(0x600033, BytesOf(2)), 0);
    EXPECT_EQ(Give(0x600033, BytesOf(0)), 0);
    EXPECT_EQ(platform.Take(), (Lines{ANNOUNCED + "5", "main 5 null", SUCCEED, "main 3 null", SUCCEED, ANNOUNCED + "1",
                                      "main 1 null", SUCCEED, ANNOUNCED + "0", "main 0 null", SUCCEED}));
    EXPECT_TRUE(AiSrvServiceProxy::isVisionOK.load()) << "0x600033 tells the application only";
}

TEST_F(Events, WhatIsNoEventEndsInTheInvalidLine) {
    const uint32_t needAnInteger[] = {0x600012, 0x600015, 0x600016, 0x60001C, 0x60001D, 0x600029,
                                      0x60002B, 0x60002F, 0x600033, 0x600037, 0x60003B};
    for (const uint32_t msgId : needAnInteger) {
        ExpectInvalid(msgId, {});
        ExpectInvalid(msgId, {1, 2, 3});
    }
    const uint32_t unknown[] = {0,        0x600000, 0x60000F, 0x600014, 0x600017, 0x60003A,
                                0x60003C, 0x600049, 0x600056, 0x200001, 0x200004, 0xFFFFFFFF};
    for (const uint32_t msgId : unknown) {
        ExpectInvalid(msgId, Bytes(300, 1));
    }
}

TEST_F(Events, PayloadsGoToTheMainCallbackAsTheyCame) {
    const struct {
        uint32_t msgId;
        int event;
        std::string name;  // assistant events are logged by name
    } rows[] = {
        {0x60002D, 4, ""},
        {0x600039, 6, ""},
        {0x60003F, 7, ""},
        {0x60003E, 8, ""},
        {0x600040, 9, ""},
        {0x60004A, 100, "wake up"},
        {0x60004B, 101, "sleep"},
        {0x60004C, 102, "listen"},
        {0x60004D, 103, "no listen"},
        {0x60004E, 104, "intent notify"},
        {0x60004F, 105, "asr text"},
        {0x600050, 106, "tts replay text"},
        {0x600051, 108, "choose one"},
        {0x600052, 107, "display card"},
        {0x600053, 109, "notify server error"},
        {0x600054, 110, "mic event"},
        {0x600055, 111, "reset event"},
    };
    for (const auto& row : rows) {
        for (const Bytes& payload : {Bytes{}, Bytes{1}, Bytes{1, 2, 3, 4, 5}}) {
            Lines expected = {"main " + std::to_string(row.event) + (payload.empty() ? " null" : " its payload")};
            if (!row.name.empty()) {
                expected.insert(expected.begin(), "info client callback " + row.name);
            }
            EXPECT_EQ(Give(row.msgId, payload), 0);
            EXPECT_EQ(platform.Take(), expected);
        }
    }
}

TEST_F(Events, CaptionEvents) {
    for (const uint32_t msgId : {0x600018U, 0x600038U, 0x60001AU}) {
        EXPECT_EQ(Give(msgId, {1}), 0) << "dropped before a callback is set";
    }
    EXPECT_EQ(platform.Take(), Lines{});
    AiSrvServiceProxy::m_captionCallBackFun = OnCaption;
    EXPECT_EQ(Give(0x600018, {1}), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"caption 0 its payload", "error <AiSrvServiceProxy> send caption switch success!"}));
    EXPECT_EQ(Give(0x600038, {}), 0);
    EXPECT_EQ(Give(0x60001A, BytesOf(0)), 0);
    EXPECT_EQ(platform.Take(), (Lines{"caption 1 null", "caption 2 its payload"}));
}

TEST_F(Events, FaceEvents) {
    const Lines unknown = {"error " + HANDLER + "sourceId not in g_callBackFuncMap."};
    tagOrviAiSrvFaceDetEvent event = {};
    const auto give = [&](int32_t sourceId) {
        event.sourceId = sourceId;
        EXPECT_EQ(Give(0x60000C, BytesOf(event)), 0);
        return platform.Take();
    };
    EXPECT_EQ(give(-2), unknown);
    ASSERT_TRUE(OrviAiService::StoreFaceCallback(-2, OnFace));
    EXPECT_EQ(give(-2), Lines{"face -2 its payload"});
    EXPECT_EQ(give(2), unknown);
    OrviAiService::EraseFaceCallback(-2);
    EXPECT_EQ(give(-2), unknown);
    for (const Bytes& payload : {Bytes{}, Bytes(4, 0xFE), Bytes(287, 0xFE)}) {
        EXPECT_EQ(Give(0x60000C, payload), 0);
        EXPECT_EQ(platform.Take(), Lines{"error " + HANDLER + "detInfo is null"});
    }
}

TEST_F(Events, ProcessEvents) {
    AiSrvServiceProxy::gOrviAiVisionCallBackFun = [](OrviAiEventId event, void* payload) {
        EXPECT_EQ(AiSrvServiceProxy::isVisionOK.load(), event == ORVI_AI_EVENT_SERVICE_EXIT)
            << "the flag follows the callback";
        OnMain(event, payload);
    };
    const std::string restores = "info <AiSrvServiceProxy::AiVisionProxyRestoresMsgHandler> aivision ";
    EXPECT_EQ(Give(0x200003, {}, "AI_VISION"), 0);
    EXPECT_FALSE(AiSrvServiceProxy::isVisionOK.load());
    EXPECT_EQ(platform.Take(), (Lines{restores + "OS_MSG_PROC_EXITRESULT", ANNOUNCED + "0", "main 0 null", SUCCEED}));
    EXPECT_EQ(Give(0x200002, {}, "AI_VISION"), 0);
    EXPECT_TRUE(AiSrvServiceProxy::isVisionOK.load());
    EXPECT_EQ(platform.Take(), (Lines{restores + "OS_MSG_PROC_STARTRESULT", ANNOUNCED + "1", "main 1 null", SUCCEED}));

    EXPECT_EQ(Give(0x200003, {}, "omlog"), 0);
    EXPECT_EQ(Give(0x200002, {}, "omlog"), 0);
    platform.clientLogInitResult = 1;
    EXPECT_EQ(Give(0x200002, {}, "omlog"), 0);
    EXPECT_EQ(platform.Take(), (Lines{"OrviAiLogUinit", "OrviAiClientLogInit", "OrviAiClientLogInit",
                                      "error <AiVisionAPILogInit> OrviAiClientLogInit failed."}));

    for (const char* other : {"", "AI_VISIO", "AI_VISION2", "omlog2", "sixteen_chars_xy"}) {
        EXPECT_EQ(Give(0x200003, {}, other), 0);
        EXPECT_EQ(Give(0x200002, {}, other), 0);
    }
    EXPECT_EQ(platform.Take(), Lines{});
    EXPECT_TRUE(AiSrvServiceProxy::isVisionOK.load());
}

TEST_F(Events, SendersAreCheckedUnderTheDevicesUsersOnly) {
    const struct {
        uint32_t own;
        uint32_t sender;
        bool accepted;
    } rows[] = {
        {1000, 0, true},  {1000, 1000, true}, {1000, 500, false}, {0, 1000, true}, {0, 0, true},
        {0, 1001, false}, {500, 500, true},   {500, 31337, true}, {1001, 7, true},
    };
    for (const auto& row : rows) {
        platform.uid = row.own;
        EXPECT_EQ(Give(0x60002D, {1}, "", row.sender), row.accepted ? 0 : -1);
        const std::string refusal = "error " + HANDLER + "process uid " + std::to_string(row.sender) + ".";
        EXPECT_EQ(platform.Take(), Lines{row.accepted ? "main 4 its payload" : refusal});
    }
    EXPECT_EQ(AiSrvServiceProxy::AiVisionProxyMsgHandler(nullptr), -1);
    EXPECT_EQ(platform.Take(), Lines{"error " + HANDLER + "failed: msg is nullptr pointer."});
}

TEST_F(Events, AMissingMainCallbackDropsTheEvent) {
    AiSrvServiceProxy::gOrviAiVisionCallBackFun = nullptr;
    EXPECT_EQ(Give(0x600015, BytesOf(0)), 0);
    EXPECT_EQ(Give(0x60002D, {1}), 0);
    EXPECT_EQ(Give(0x60004A, {1}), 0);
    EXPECT_EQ(platform.Take(),
              (Lines{"info <AiSrvServiceProxy::AiVisionAPICallBack> gOrviAiVisionCallBackFun is nullptr",
                     "info client callback wake up"}));
}

TEST_F(Events, ACallbackThatThrowsIsLoggedAndLeavesNothingHalfDone) {
    AiSrvServiceProxy::gOrviAiVisionCallBackFun = [](OrviAiEventId, void*) { throw std::runtime_error("no"); };
    AiSrvServiceProxy::m_captionCallBackFun = [](OrviAiCaptionEventId, void*) { throw 1; };
    ASSERT_TRUE(OrviAiService::StoreFaceCallback(0, [](tagOrviAiSrvFaceDetEvent*) { throw 2; }));
    EXPECT_EQ(Give(0x200003, {}, "AI_VISION"), 0);
    EXPECT_FALSE(AiSrvServiceProxy::isVisionOK.load());
    EXPECT_EQ(platform.TakeWithoutInfo(), Lines{"error " + HANDLER + "the main callback threw an exception."});
    EXPECT_EQ(Give(0x600018, {1}), 0);
    EXPECT_EQ(Give(0x60000C, Bytes(288, 0)), 0);
    EXPECT_EQ(platform.Take(), (Lines{"error " + HANDLER + "the caption callback threw an exception.",
                                      "error " + HANDLER + "the face callback threw an exception."}));
    OrviAiService::EraseFaceCallback(0);  // would wait for ever if the thrown callback still counted as running
}

TEST_F(Events, ACallbackMayEndItsThread) {
    AiSrvServiceProxy::gOrviAiVisionCallBackFun = [](OrviAiEventId, void*) { pthread_exit(nullptr); };
    std::thread ended([] {
        (void)Give(0x60002D, {});
        ADD_FAILURE() << "the thread goes on";
    });
    ended.join();
    EXPECT_EQ(platform.Take(), Lines{}) << "no exception, so no line";
}

std::atomic<bool> g_entered{false};
std::atomic<bool> g_ending{false};
std::atomic<bool> g_ended{false};
std::atomic<bool> g_left{false};

// Stays until its end has begun on another thread, and then long enough for an end that does not wait.
void OnFaceWhileEnding(tagOrviAiSrvFaceDetEvent*) {
    g_entered = true;
    while (!g_ending) {
        std::this_thread::yield();
    }
    for (int turns = 0; turns < 2000 && !g_ended; ++turns) {
        std::this_thread::yield();
    }
    g_left = true;
}

TEST_F(Events, ErasingAndReplacingACallbackWaitUntilItHasReturned) {
    for (const bool erases : {true, false}) {
        g_entered = g_ending = g_ended = g_left = false;
        ASSERT_TRUE(OrviAiService::StoreFaceCallback(0, OnFaceWhileEnding));
        std::thread dispatcher([] { EXPECT_EQ(Give(0x60000C, Bytes(288, 0)), 0); });
        while (!g_entered) {
            std::this_thread::yield();
        }
        g_ending = true;
        if (erases) {
            OrviAiService::EraseFaceCallback(0);
        } else {
            EXPECT_TRUE(OrviAiService::StoreFaceCallback(0, OnFace));
        }
        EXPECT_TRUE(g_left.load());
        g_ended = true;
        dispatcher.join();
    }
}

TEST_F(Events, TraceIsComposedUpToItsLimitAndNeverCut) {
    const std::string error = "trace AI_TRACE_ERROR: snprintf_s error!\n";
    platform.traceLevel = 2;
    (void)Give(0, {});
    EXPECT_EQ(platform.TakeWithoutInfo(), Lines{});
    platform.traceLevel = 3;
    (void)Give(0x60002D, {});
    const Lines lines = platform.Take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].find("trace prefix [AiVisionProxyMsgHandler:"), 0U) << lines[0];
    const std::string text = "]:<AiSrvServiceProxy::AiVisionProxyMsgHandler> process msg 60002d.";
    EXPECT_EQ(lines[0].substr(lines[0].size() - text.size()), text);

    // Length of the composed format beside the prefix: the id stands as "%x" in it, four characters shorter.
    const size_t composed = lines[0].size() - std::string("trace prefix ").size() - 4;
    platform.tracePrefix = std::string(399 - composed, 'p');
    (void)Give(0x60002D, {});
    EXPECT_EQ(platform.Take()[0].find("trace ppp"), 0U) << "399 characters fit";
    for (const size_t length : {399 - composed + 1, size_t{398}, size_t{399}}) {
        platform.tracePrefix = std::string(length, 'p');
        (void)Give(0x60002D, {});
        EXPECT_EQ(platform.Take()[0], error) << length;
    }
}

}  // namespace
