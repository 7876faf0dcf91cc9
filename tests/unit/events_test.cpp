#include <atomic>
#include <cstring>
#include <optional>
#include <pthread.h>
#include <stdexcept>
#include <thread>

#include "face_registry.h"
#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

// What a callback was told.
struct Told {
    int event;
    const void* payload;
    std::optional<std::pair<int, int>> status;

    bool operator==(const Told& other) const {
        return event == other.event && payload == other.payload && status == other.status;
    }
};
std::vector<Told> g_main;
std::vector<Told> g_caption;
std::vector<const void*> g_face;

void OnMain(OrviAiEventId event, void* payload) {
    Told told = {event, payload, std::nullopt};
    if (event == ORVI_AI_EVENT_STATUS) {
        const auto* const status = static_cast<tagOrviAiServiceStatusEvent*>(payload);
        told.status = {status->type, status->status};
        told.payload = nullptr;
    }
    g_main.push_back(told);
}
void OnCaption(OrviAiCaptionEventId event, void* payload) {
    g_caption.push_back({event, payload, std::nullopt});
}
void OnFace(tagOrviAiSrvFaceDetEvent* event) {
    g_face.push_back(event);
}

Bytes Integer(int32_t value) {
    return BytesOf(value);
}

class Events : public PlatformTest {
 protected:
    void SetUp() override { AiSrvServiceProxy::gOrviAiVisionCallBackFun = OnMain; }

    // Gives the handler a message whose payload is an exact allocation, so that no read past it goes unseen.
    int Give(uint32_t msgId, const Bytes& payload, const char* process = "", uint32_t senderUid = 0) {
        g_main.clear();
        g_caption.clear();
        g_face.clear();
        TagMsgBlock block = {};
        block.msgId = msgId;
        block.senderUid = senderUid;
        memcpy(block.procName, process, strnlen(process, sizeof(block.procName)));
        data = payload.empty() ? nullptr : malloc(payload.size());
        if (data != nullptr) {
            memcpy(data, payload.data(), payload.size());
        }
        block.data = data;
        block.dataLen = static_cast<uint32_t>(payload.size());
        const int result = AiSrvServiceProxy::AiVisionProxyMsgHandler(&block);
        free(data);
        return result;
    }

    Lines invalid(uint32_t msgId) {
        char line[100];
        snprintf(line, sizeof(line), "info <AiSrvServiceProxy::AiVisionProxyMsgHandler> invalid msgId:%x.", msgId);
        return {line};
    }

    void* data = nullptr;
};

TEST_F(Events, StatusMessages) {
    struct Row {
        uint32_t msgId;
        int32_t n;
        int type;
        int status;
    };
    const Row rows[] = {
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
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << row.msgId << " " << std::dec << row.n);
        EXPECT_EQ(Give(row.msgId, Integer(row.n)), 0);
        EXPECT_EQ(g_main, (std::vector<Told>{{2, nullptr, {{row.type, row.status}}}}));
        EXPECT_EQ(platform.Take(), (Lines{"info <AiVisionExecResProcess> call AiVisionAPICallBack event:2, type:" +
                                              std::to_string(row.type) + ", status:" + std::to_string(row.status),
                                          "info <AiSrvServiceProxy::AiVisionAPICallBack> succeed."}));
    }
}

TEST_F(Events, NoticesWithoutPayload) {
    struct Row {
        uint32_t msgId;
        int32_t n;
        int event;
        bool announced;
    };
    for (const Row& row : {Row{0x600029, 1, 5, true}, Row{0x60002F, 0, 3, false}, Row{0x600033, 2, 1, true},
                           Row{0x600033, 0, 0, true}}) {
        EXPECT_EQ(Give(row.msgId, Integer(row.n)), 0);
        EXPECT_EQ(g_main, (std::vector<Told>{{row.event, nullptr, std::nullopt}}));
        Lines expected = {"info <AiSrvServiceProxy::AiVisionAPICallBack> succeed."};
        if (row.announced) {
            expected.insert(expected.begin(), "info <AiVisionExecResProcess> call AiVisionAPICallBack event:" +
                                                  std::to_string(row.event));
        }
        EXPECT_EQ(platform.Take(), expected);
    }
    EXPECT_TRUE(AiSrvServiceProxy::isVisionOK.load()) << "0x600033 tells the application only";
}

TEST_F(Events, StatusMessagesWithoutAWholeIntegerAreInvalid) {
    for (const uint32_t msgId : {0x600012U, 0x600015U, 0x600016U, 0x60001CU, 0x60001DU, 0x600029U, 0x60002BU, 0x60002FU,
                                 0x600033U, 0x600037U, 0x60003BU}) {
        for (const Bytes& payload : {Bytes{}, Bytes{1, 2, 3}}) {
            EXPECT_EQ(Give(msgId, payload), -1);
            EXPECT_TRUE(g_main.empty());
            EXPECT_EQ(platform.Take(), invalid(msgId));
        }
    }
}

TEST_F(Events, PayloadsGoToTheMainCallbackAsTheyCame) {
    struct Row {
        uint32_t msgId;
        int event;
        const char* name;  // assistant events are logged by name
    };
    const Row rows[] = {
        {0x60002D, 4, nullptr},           {0x600039, 6, nullptr},          {0x60003F, 7, nullptr},
        {0x60003E, 8, nullptr},           {0x600040, 9, nullptr},          {0x60004A, 100, "wake up"},
        {0x60004B, 101, "sleep"},         {0x60004C, 102, "listen"},       {0x60004D, 103, "no listen"},
        {0x60004E, 104, "intent notify"}, {0x60004F, 105, "asr text"},     {0x600050, 106, "tts replay text"},
        {0x600051, 108, "choose one"},    {0x600052, 107, "display card"}, {0x600053, 109, "notify server error"},
        {0x600054, 110, "mic event"},     {0x600055, 111, "reset event"},
    };
    for (const Row& row : rows) {
        for (const Bytes& payload : {Bytes{}, Bytes{1}, Bytes{1, 2, 3, 4, 5}}) {
            EXPECT_EQ(Give(row.msgId, payload), 0);
            EXPECT_EQ(g_main, (std::vector<Told>{{row.event, data, std::nullopt}}));
            EXPECT_EQ(platform.Take(),
                      row.name == nullptr ? Lines{} : Lines{std::string("info client callback ") + row.name});
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
    EXPECT_EQ(g_caption, (std::vector<Told>{{0, data, std::nullopt}}));
    EXPECT_EQ(platform.Take(), Lines{"error <AiSrvServiceProxy> send caption switch success!"});
    EXPECT_EQ(Give(0x600038, {}), 0);
    EXPECT_EQ(g_caption, (std::vector<Told>{{1, nullptr, std::nullopt}}));
    EXPECT_EQ(Give(0x60001A, Integer(0)), 0);
    EXPECT_EQ(g_caption, (std::vector<Told>{{2, data, std::nullopt}}));
    EXPECT_TRUE(g_main.empty());
    EXPECT_EQ(platform.Take(), Lines{});
}

TEST_F(Events, FaceEvents) {
    const Lines unknown = {"error <AiSrvServiceProxy::AiVisionProxyMsgHandler> sourceId not in g_callBackFuncMap."};
    tagOrviAiSrvFaceDetEvent event = {};
    event.sourceId = -2;
    EXPECT_EQ(Give(0x60000C, BytesOf(event)), 0);
    EXPECT_EQ(platform.Take(), unknown);
    ASSERT_TRUE(OrviAiService::StoreFaceCallback(-2, OnFace));
    EXPECT_EQ(Give(0x60000C, BytesOf(event)), 0);
    EXPECT_EQ(g_face, std::vector<const void*>{data});
    EXPECT_EQ(platform.Take(), Lines{});
    event.sourceId = 2;
    EXPECT_EQ(Give(0x60000C, BytesOf(event)), 0);
    EXPECT_EQ(platform.Take(), unknown);
    for (const Bytes& payload : {Bytes{}, Bytes(4, 0xFE), Bytes(287, 0xFE)}) {
        EXPECT_EQ(Give(0x60000C, payload), 0);
        EXPECT_TRUE(g_face.empty());
        EXPECT_EQ(platform.Take(), Lines{"error <AiSrvServiceProxy::AiVisionProxyMsgHandler> detInfo is null"});
    }
    OrviAiService::EraseFaceCallback(-2);
    event.sourceId = -2;
    EXPECT_EQ(Give(0x60000C, BytesOf(event)), 0);
    EXPECT_EQ(platform.Take(), unknown);
}

TEST_F(Events, ProcessEvents) {
    static std::vector<bool> seen;
    AiSrvServiceProxy::gOrviAiVisionCallBackFun = [](OrviAiEventId event, void* payload) {
        EXPECT_EQ(payload, nullptr);
        EXPECT_EQ(AiSrvServiceProxy::isVisionOK.load(), event == ORVI_AI_EVENT_SERVICE_EXIT)
            << "the flag follows the callback";
        seen.push_back(event == ORVI_AI_EVENT_SERVICE_START);
    };
    EXPECT_EQ(Give(0x200003, {}, "AI_VISION"), 0);
    EXPECT_FALSE(AiSrvServiceProxy::isVisionOK.load());
    EXPECT_EQ(Give(0x200002, {}, "AI_VISION"), 0);
    EXPECT_TRUE(AiSrvServiceProxy::isVisionOK.load());
    EXPECT_EQ(seen, (std::vector<bool>{false, true}));
    EXPECT_EQ(platform.Take(),
              (Lines{"info <AiSrvServiceProxy::AiVisionProxyRestoresMsgHandler> aivision OS_MSG_PROC_EXITRESULT",
                     "info <AiVisionExecResProcess> call AiVisionAPICallBack event:0",
                     "info <AiSrvServiceProxy::AiVisionAPICallBack> succeed.",
                     "info <AiSrvServiceProxy::AiVisionProxyRestoresMsgHandler> aivision OS_MSG_PROC_STARTRESULT",
                     "info <AiVisionExecResProcess> call AiVisionAPICallBack event:1",
                     "info <AiSrvServiceProxy::AiVisionAPICallBack> succeed."}));

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

TEST_F(Events, UnknownIdsEndInTheInvalidLine) {
    for (const uint32_t msgId : {0U, 0x600000U, 0x60000FU, 0x600014U, 0x600017U, 0x60003AU, 0x60003CU, 0x600049U,
                                 0x600056U, 0x200001U, 0x200004U, 0xFFFFFFFFU}) {
        EXPECT_EQ(Give(msgId, Bytes(300, 1)), -1);
        EXPECT_EQ(platform.Take(), invalid(msgId));
    }
}

TEST_F(Events, SendersAreCheckedUnderTheDevicesUsersOnly) {
    struct Row {
        uint32_t own;
        uint32_t sender;
        bool accepted;
    };
    for (const Row& row :
         {Row{1000, 0, true}, Row{1000, 1000, true}, Row{1000, 500, false}, Row{0, 1000, true}, Row{0, 0, true},
          Row{0, 1001, false}, Row{500, 500, true}, Row{500, 31337, true}, Row{1001, 7, true}}) {
        platform.uid = row.own;
        EXPECT_EQ(Give(0x60002D, {1}, "", row.sender), row.accepted ? 0 : -1);
        EXPECT_EQ(g_main.size(), row.accepted ? 1U : 0U);
        EXPECT_EQ(platform.Take(), row.accepted
                                       ? Lines{}
                                       : Lines{"error <AiSrvServiceProxy::AiVisionProxyMsgHandler> process uid " +
                                               std::to_string(row.sender) + "."});
    }
    EXPECT_EQ(AiSrvServiceProxy::AiVisionProxyMsgHandler(nullptr), -1);
    EXPECT_EQ(platform.Take(),
              Lines{"error <AiSrvServiceProxy::AiVisionProxyMsgHandler> failed: msg is nullptr pointer."});
}

TEST_F(Events, AMissingMainCallbackDropsTheEvent) {
    AiSrvServiceProxy::gOrviAiVisionCallBackFun = nullptr;
    EXPECT_EQ(Give(0x600015, Integer(0)), 0);
    EXPECT_EQ(platform.Take(),
              Lines{"info <AiSrvServiceProxy::AiVisionAPICallBack> gOrviAiVisionCallBackFun is nullptr"});
    EXPECT_EQ(Give(0x60002D, {1}), 0);
    EXPECT_EQ(Give(0x60004A, {1}), 0);
    EXPECT_EQ(platform.Take(), Lines{"info client callback wake up"});
}

TEST_F(Events, ACallbackThatThrowsIsLoggedAndLeavesNothingHalfDone) {
    AiSrvServiceProxy::gOrviAiVisionCallBackFun = [](OrviAiEventId, void*) { throw std::runtime_error("no"); };
    AiSrvServiceProxy::m_captionCallBackFun = [](OrviAiCaptionEventId, void*) { throw 1; };
    ASSERT_TRUE(OrviAiService::StoreFaceCallback(0, [](tagOrviAiSrvFaceDetEvent*) { throw 2; }));
    EXPECT_EQ(Give(0x200003, {}, "AI_VISION"), 0);
    EXPECT_FALSE(AiSrvServiceProxy::isVisionOK.load());
    EXPECT_EQ(platform.TakeWithoutInfo(),
              Lines{"error <AiSrvServiceProxy::AiVisionProxyMsgHandler> the main callback threw an exception."});
    EXPECT_EQ(Give(0x600018, {1}), 0);
    EXPECT_EQ(platform.Take(),
              Lines{"error <AiSrvServiceProxy::AiVisionProxyMsgHandler> the caption callback threw an exception."});
    EXPECT_EQ(Give(0x60000C, Bytes(288, 0)), 0);
    EXPECT_EQ(platform.Take(),
              Lines{"error <AiSrvServiceProxy::AiVisionProxyMsgHandler> the face callback threw an exception."});
    OrviAiService::EraseFaceCallback(0);  // would wait for ever if the thrown callback still counted as running
}

TEST_F(Events, ACallbackMayEndItsThread) {
    AiSrvServiceProxy::gOrviAiVisionCallBackFun = [](OrviAiEventId, void*) { pthread_exit(nullptr); };
    std::thread ended([] {
        TagMsgBlock block = {};
        block.msgId = 0x60002D;
        (void)AiSrvServiceProxy::AiVisionProxyMsgHandler(&block);
        ADD_FAILURE() << "the thread goes on";
    });
    ended.join();
    EXPECT_EQ(platform.Take(), Lines{}) << "no exception, so no line";
}

TEST_F(Events, ErasingWaitsForTheRunningCallbackExceptInsideIt) {
    static std::atomic<int> entered{0};
    static std::atomic<bool> leave{false};
    static std::atomic<bool> left{false};
    ASSERT_TRUE(OrviAiService::StoreFaceCallback(0, [](tagOrviAiSrvFaceDetEvent*) {
        entered = 1;
        while (!leave) {
            std::this_thread::yield();
        }
        left = true;
    }));
    std::thread dispatcher([this] { EXPECT_EQ(Give(0x60000C, Bytes(288, 0)), 0); });
    while (entered == 0) {
        std::this_thread::yield();
    }
    std::thread eraser([] {
        OrviAiService::EraseFaceCallback(0);
        EXPECT_TRUE(left.load());
    });
    leave = true;
    eraser.join();
    dispatcher.join();

    // Inside its own callback a detector may be erased and replaced.
    ASSERT_TRUE(OrviAiService::StoreFaceCallback(0, [](tagOrviAiSrvFaceDetEvent*) {
        OrviAiService::EraseFaceCallback(0);
        EXPECT_TRUE(OrviAiService::StoreFaceCallback(0, OnFace));
    }));
    EXPECT_EQ(Give(0x60000C, Bytes(288, 0)), 0);
    EXPECT_EQ(Give(0x60000C, Bytes(288, 0)), 0);
    EXPECT_EQ(g_face.size(), 1U);
}

TEST_F(Events, TraceIsComposedUpToItsLimitAndNeverCut) {
    const std::string error = "trace AI_TRACE_ERROR: snprintf_s error!\n";
    platform.traceLevel = 2;
    (void)Give(0x60002D, {});
    EXPECT_EQ(platform.Take(), Lines{});
    platform.traceLevel = 3;
    (void)Give(0x60002D, {});
    const Lines lines = platform.Take();
    ASSERT_EQ(lines.size(), 1U);
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
        EXPECT_EQ(platform.Take(), Lines{error}) << length;
    }
}

}  // namespace
