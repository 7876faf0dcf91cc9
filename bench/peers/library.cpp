// The library: its exported functions, a service that answers at once from the bus's service side, the workstation's bus
// between them.
#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "message_ids.h"
#include "orvi_ai_srv.h"
#include "orvi_host_bus.h"
#include "peer.h"
#include "wire_records.h"

namespace bench {

namespace {

using namespace OrviAiService;

// --- Service ---

constexpr const char* kTasks[] = {"ai_v_task_m", "ai_v_task_i", "ai_face_task", "ai_assist_task"};

// The applications that have told their addresses.
std::mutex g_clientsMutex;
std::vector<tagAiTaskBasicInfo> g_clients;
constexpr uint32_t kMostPushed = 16;  // at once

// `count` events to each.
void Push(uint32_t count) {
    static uint8_t event[kEventSize];
    const std::lock_guard<std::mutex> lock(g_clientsMutex);
    TagMsgBlock blocks[kMostPushed] = {};
    for (TagMsgBlock& block : blocks) {
        block.msgId = AI_EVT_FACE;
        block.data = event;
        block.dataLen = sizeof(event);
    }
    for (const tagAiTaskBasicInfo& client : g_clients) {
        for (TagMsgBlock& block : blocks) {
            std::memcpy(block.recvProcName, client.proc, sizeof(block.recvProcName));
            std::memcpy(block.recvTaskName, client.task, sizeof(block.recvTaskName));
        }
        for (uint32_t left = count; left != 0;) {
            uint32_t taken = 0;
            const int result = OrviHostMsgTrySendSeveral(blocks, std::min(left, kMostPushed), &taken);
            left -= taken;
            Check(result == 0 || result == ORVI_BUS_E_WOULD_BLOCK, "an event was refused");
            if (result != 0) {
                (void)OrviHostMsgAwaitRoom(-1, 1000);
            }
        }
    }
}

int Handle(TagMsgBlock* message) {
    static const tagCheckinTotalData page = {};
    uint32_t answer = 0;
    switch (message->msgId) {
        case AI_MSG_INIT: {
            const std::lock_guard<std::mutex> lock(g_clientsMutex);
            g_clients.emplace_back();
            std::memcpy(&g_clients.back(), message->data, sizeof(tagAiTaskBasicInfo));
            return 0;
        }
        case AI_MSG_ASSISTANT_WAKE_UP: {
            uint32_t count = 0;
            std::memcpy(&count, message->data, sizeof(count));
            Push(count);
            return 0;
        }
        case AI_MSG_CHECKIN_QUERY_DATA:
            return OrviHostMsgReply(message, &page, sizeof(page));
        case AI_MSG_ASSISTANT_GET_STATUS:
            return OrviHostMsgReply(message, &answer, sizeof(answer));
        case AI_MSG_DETECT_TRACK_CREATE:
            return OrviHostMsgReply(message, &page, sizeof(tagAiDetClientInfo));
        default:
            return OrviHostMsgWantsReply(message) != 0 ? OrviHostMsgReply(message, &answer, 1) : 0;
    }
}

void Serve(const Place& place, const std::function<void()>& ready) {
    (void)setenv("ORVI_BUS_DIR", place.directory.c_str(), 1);
    Check(OsMsgInit("AI_VISION") == 0, "the service cannot join the bus");
    std::vector<std::thread> loops;
    for (const char* task : kTasks) {
        Check(OsMsgRegTask(task, 64, Handle) == 0, "a task was refused");
        loops.emplace_back([task] { (void)OsMsgTaskRoutineByName(task); });
    }
    ready();
    for (std::thread& loop : loops) {
        loop.join();
    }
}

// --- Client ---

std::mutex g_mutex;
std::condition_variable g_allCame;
uint32_t g_wanted =
    0;  // events until the waiting thread is told; only while it waits, so the callback is alone with it

void OnFace(tagOrviAiSrvFaceDetEvent* event) {
    OnEvent(event);
    static uint32_t came = 0;
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (++came == g_wanted) {
        came = 0;
        g_wanted = 0;
        g_allCame.notify_one();
    }
}

class LibraryClient final : public Client {
 public:
    LibraryClient() {
        tagOrviAppInfo application = {};
        std::strcpy(application.appId, "bench");
        conference_.text1[0] = conference_.text2[0] = 'c';
        void* detector = nullptr;
        Check(OrviAiSrvApiInit(application, [](OrviAiEventId, void*) {}) == 0, "OrviAiSrvApiInit");
        Check(OrviAiSrvCaptionInit([](OrviAiCaptionEventId, void*) {}) == 0, "OrviAiSrvCaptionInit");
        Check(OrviAiSrvCreateFaceDetector(&detector, 0, 30, 0, OnFace) == 0, "OrviAiSrvCreateFaceDetector");
    }

    void Request(uint32_t size, uint32_t replySize) override {
        int result = -1;
        if (size == sizeof(tagAiTaskBasicInfo)) {
            result = OrviAiSrvCaptionStop();
        } else if (size == sizeof(tagAiCaptionStart)) {
            result = OrviAiSrvCaptionStart(&conference_, 1);
        } else if (size == sizeof(CheckinDataQuery) && replySize == sizeof(page_)) {
            result = OrviAiSrvGetCheckinData(&page_, ORVI_AI_CHECKIN_SHOW_0, 1);
        }
        Check(result == 0, "a request failed, or the library has none of that size");
    }
    void Send(uint32_t size, uint32_t count) override {
        Check(size == sizeof(AssistantCardRequest), "the library has no such message");
        for (uint32_t i = 0; i < count; ++i) {
            Check(OrviAiAssistantDisplayCard(i, card_) == 0, "OrviAiAssistantDisplayCard");
        }
        (void)OrviAiAssistantGetStatus();  // by the same task, so after the last card
    }
    void Events(uint32_t count) override {
        std::unique_lock<std::mutex> lock(g_mutex);
        g_wanted = count;
        lock.unlock();
        Check(OrviAiAssistantWakeUp(static_cast<OrviAiAssistantRunningMode>(count)) == 0, "OrviAiAssistantWakeUp");
        lock.lock();
        g_allCame.wait(lock, [] { return g_wanted == 0; });
    }

 private:
    tagOrviAiConfInfo conference_ = {};
    tagCheckinTotalData page_ = {};
    OrviAiAssistantCard card_ = {};
};

std::unique_ptr<Client> Connect(const Place& place) {
    (void)setenv("ORVI_BUS_DIR", place.directory.c_str(), 1);
    return std::make_unique<LibraryClient>();
}

}  // namespace

extern const Peer kLibrary;
const Peer kLibrary = {"library", Serve, Connect};

}  // namespace bench
