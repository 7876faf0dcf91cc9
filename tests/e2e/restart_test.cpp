// The service and the log service exit and start; the application is told.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <dlfcn.h>
#include <functional>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include "ai_common/orvi_host_common.h"
#include "orvi_ai_srv_proxy.h"
#include "vision_test.h"

namespace {

std::atomic<int> g_readByOthers{0};

}  // namespace

// In front of the C library's: what a thread reads here, an application's setenv() on another takes away from under it.
extern "C" __attribute__((visibility("default"))) char* getenv(const char* name) noexcept {
    static const auto next = reinterpret_cast<char* (*)(const char*)>(dlsym(RTLD_NEXT, "getenv"));
    g_readByOthers += gettid() != getpid() ? 1 : 0;
    return next(name);
}

namespace orvi_test {
namespace {

using OrviAiService::AiSrvServiceProxy;

class RestartTest : public VisionTest {
 protected:
    // The callback announces this process again whenever the service has started.
    void AnnounceAtEachStart() {
        connectionsOfOthers_ = 1;  // the message thread's
        EventRecorder::SetHook([](OrviAiEventId event) {
            if (event == ORVI_AI_EVENT_SERVICE_START) {
                EXPECT_FALSE(AiSrvServiceProxy::isVisionOK) << "set behind the callback";
                EXPECT_EQ(Init(), 0);
            }
        });
    }
};

TEST_F(RestartTest, CallbackConnectsAgainAndTheReadyFlagFollows) {
    Connect();
    EXPECT_TRUE(AiSrvServiceProxy::isVisionOK);
    AnnounceAtEachStart();
    EXPECT_EQ(simulator_.Stop(), 0);  // a clean end is an exit too
    EventRecorder::ExpectIds({0});
    simulator_.Start();
    EventRecorder::ExpectIds({1});
    simulator_.Await("clients 1");
    ExpectPushArrives();  // behind the start on the same thread
    EXPECT_TRUE(AiSrvServiceProxy::isVisionOK);
}

// Connect() has proved that the subscriptions are in place, so no event of the first cycle can be missed, and each cycle
// waits for both of its events, so none can be merged with the next.
TEST_F(RestartTest, HundredTimes) {
    Connect();
    const Resources baseline = Resources::Now();
    for (int cycle = 0; cycle < 100; ++cycle) {
        RestartSimulator();
        ASSERT_FALSE(HasFailure()) << "cycle " << cycle;
    }
    Announce();
    ExpectPushArrives();  // and no event before it
    ExpectBackAt(baseline);
}

// Records, traces, lines of the bus and the first of each included.
TEST_F(RestartTest, TheMessageThreadReadsNoEnvironment) {
    Connect();
    RestartSimulator();
    Announce();
    simulator_.Command("push 0x7fffff --raw");  // which the library does not know
    ExpectPushArrives();
    EXPECT_EQ(g_readByOthers, 0);
}

// The message behind a start event must not overtake it.
TEST_F(RestartTest, EventsOfTheNewServiceFollowItsStart) {
    Connect();
    AnnounceAtEachStart();
    simulator_.Kill();
    simulator_.Start({"--push", "0x60002b:21@0", "--push", "0x60002b:22@1"});
    EventRecorder::ExpectIds({0, 1});
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_2B, 21);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_2B, 22);
}

// Nothing tells when the library has reacted to the log service, so this looks until it has.
bool Await(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        sched_yield();
    }
    return true;
}

TEST_F(RestartTest, LogServiceDetachesAndAttaches) {
    Connect();
    EXPECT_EQ(OrviHostLogIsAttached(), 1);
    for (const bool isKilled : {true, false, true}) {
        const uint32_t attached = OrviHostLogAttachCount();
        const uint32_t detached = OrviHostLogDetachCount();
        ChildProcess omlog("orvi-test-bus-peer", {}, sandbox_.Path("omlog.log"));
        for (const char* command : {"join omlog", "task log_task", "run log_task"}) {
            omlog.WriteLine(command);
        }
        EXPECT_TRUE(Await([&] { return OrviHostLogAttachCount() == attached + 1; }));
        EXPECT_EQ(OrviHostLogDetachCount(), detached);
        if (isKilled) {
            omlog.Signal(SIGKILL);
        } else {
            omlog.CloseInput();
        }
        EXPECT_EQ(omlog.Wait(), isKilled ? -SIGKILL : 0);
        EXPECT_TRUE(Await([&] { return OrviHostLogDetachCount() == detached + 1; }));
        EXPECT_EQ(OrviHostLogIsAttached(), 0);
    }
    ExpectPushArrives();  // none of that is the application's business
}

}  // namespace
}  // namespace orvi_test
