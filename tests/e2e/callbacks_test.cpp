// What the library bears at the same time: every request from every kind of callback, and 64 threads from the first
// initialisation on, while events come.
#include <atomic>
#include <cstdlib>
#include <dlfcn.h>
#include <thread>
#include <vector>

#include "orvi_ai_srv.h"
#include "orvi_os_msg.h"
#include "requests.h"
#include "vision_test.h"

// In front of the bus's own: what 64 threads ask at once may take a loaded machine longer than the library's limits, so
// that only what is never answered ends by one here.
extern "C" __attribute__((visibility("default"))) int OsMsgSynSend(TagMsgBlock* block, TagMsgBlock** reply, uint32_t) {
    static auto* const next = reinterpret_cast<decltype(&OsMsgSynSend)>(dlsym(RTLD_NEXT, "OsMsgSynSend"));
    return next(block, reply, orvi_test::LONG_WAIT_MS);
}

namespace orvi_test {
namespace {

// The callback that is to ask for everything, once; and that it has.
enum class Kind { NONE, MAIN, CAPTION, FACE };
std::atomic<Kind> g_asking{Kind::NONE};
std::atomic<int> g_answered{0};

// How many requests were answered: what they have been told depends on what has been asked before.
void AskForEverything(Kind kind) {
    if (!g_asking.compare_exchange_strong(kind, Kind::NONE)) {
        return;
    }
    for (const Request& request : REQUESTS) {
        (void)request.call();
        ++g_answered;
    }
}

void OnCaption(OrviAiCaptionEventId, void*) {
    AskForEverything(Kind::CAPTION);
}
void OnFaces(tagOrviAiSrvFaceDetEvent*) {
    AskForEverything(Kind::FACE);
}

class CallbacksTest : public VisionTest {
 protected:
    CallbacksTest() {
        for (const char* wait : {"ORVI_BUS_SEND_WAIT_MS", "ORVI_BUS_FRAME_WAIT_MS"}) {
            (void)setenv(wait, std::to_string(LONG_WAIT_MS).c_str(), 1);
        }
    }

    // No request has been left without its answer.
    void ExpectNoTimeout() {
        EXPECT_EQ(ReadFile(sandbox_.Path("library.log")).find("call OsMsgSynSend failed"), std::string::npos);
    }
};

TEST_F(CallbacksTest, MayAskForEverything) {
    Connect();
    EventRecorder::SetHook([](OrviAiEventId) { AskForEverything(Kind::MAIN); });
    void* detector = nullptr;
    ASSERT_EQ(OrviAiSrvCreateFaceDetector(&detector, 0, 30, 0, OnFaces), 0);
    const struct {
        Kind kind;
        const char* push;  // null: the service tells by itself
    } kinds[] = {{Kind::FACE, nullptr}, {Kind::MAIN, "push checkin.count 1"}, {Kind::CAPTION, "push caption.switch"}};
    for (const auto& row : kinds) {
        SCOPED_TRACE(static_cast<int>(row.kind));
        ASSERT_EQ(OrviAiSrvCaptionInit(OnCaption), 0);
        g_answered = 0;
        g_asking = row.kind;
        if (row.push != nullptr) {
            simulator_.Command(row.push);
        } else {
            ASSERT_EQ(OrviAiSrvStartFaceDetector(detector), 0);
        }
        const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
        while (g_answered != static_cast<int>(REQUESTS.size())) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << g_answered << " answered";
            (void)sched_yield();
        }
    }
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
    EventRecorder::SetHook(nullptr);
    ExpectNoTimeout();
    connectionsOfOthers_ = 7;  // the message thread has asked each task but the first
}

TEST_F(CallbacksTest, SixtyFourThreadsInitialiseAndAsk) {
    constexpr int THREADS = 64;
    simulator_.Start();
    std::atomic<int> ready{0};
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            ++ready;
            while (ready < THREADS) {
                (void)sched_yield();
            }
            failed += Init() != 0 ? 1 : 0;
            for (const Request& request : REQUESTS) {
                (void)request.call();
            }
        });
    }
    for (int i = 0; i < 100; ++i) {
        simulator_.Ask("push checkin.count " + std::to_string(i));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(simulator_.Command("clients").substr(0, 2), "1 ");
    ExpectNoTimeout();
}

}  // namespace
}  // namespace orvi_test
