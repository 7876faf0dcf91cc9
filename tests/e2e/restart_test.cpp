// The service and the log service exit and start; the application is told.
#include <atomic>
#include <chrono>
#include <functional>
#include <sched.h>
#include <signal.h>

#include "ai_common/orvi_host_common.h"
#include "orvi_ai_srv_proxy.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

using OrviAiService::AiSrvServiceProxy;

class RestartTest : public VisionTest {};

TEST_F(RestartTest, CallbackConnectsAgain) {
    Connect();
    std::atomic<int> connected{0};
    EventRecorder::SetHook([&](OrviAiEventId event) {
        if (event == ORVI_AI_EVENT_SERVICE_START) {
            connected += Init() == 0 ? 1 : 0;
        }
    });
    simulator_.Kill();
    EventRecorder::ExpectIds({0});
    simulator_.Start();
    EventRecorder::ExpectIds({1});
    EXPECT_EQ(connected, 1);
    simulator_.Command("await clients 1");
    simulator_.Command("push 0x60002b 3");
    EXPECT_EQ(EventRecorder::Next(), (Event{2, true, {3, 3}}));
    EventRecorder::SetHook(nullptr);
}

TEST_F(RestartTest, ReadyFlagFollows) {
    Connect();
    EXPECT_TRUE(AiSrvServiceProxy::isVisionOK);
    // Each flag is set after the callback of its event, on the same thread; the next event comes later.
    std::atomic<int> seenAtStart{-1};
    EventRecorder::SetHook([&](OrviAiEventId event) {
        if (event == ORVI_AI_EVENT_SERVICE_START) {
            seenAtStart = AiSrvServiceProxy::isVisionOK ? 1 : 0;
        }
    });
    RestartSimulator();
    EXPECT_EQ(seenAtStart, 0) << "down between the events";
    ASSERT_EQ(Init(), 0);
    simulator_.Command("await clients 1");
    simulator_.Command("push 0x60002b 1");
    EventRecorder::ExpectIds({2});
    EXPECT_TRUE(AiSrvServiceProxy::isVisionOK);
    EventRecorder::SetHook(nullptr);
}

TEST_F(RestartTest, CleanEndIsAnExitToo) {
    Connect();
    EXPECT_EQ(simulator_.Stop(), 0);
    EventRecorder::ExpectIds({0});
    simulator_.Start();
    EventRecorder::ExpectIds({1});
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
    ASSERT_EQ(Init(), 0);
    simulator_.Command("await clients 1");
    // No event more than these: the next one is the one asked for.
    simulator_.Command("push 0x60002b 100");
    EXPECT_EQ(EventRecorder::Next(), (Event{2, true, {3, 100}}));
    ExpectBackAt(baseline);
}

// The message behind a start event must not overtake it.
TEST_F(RestartTest, EventsOfTheNewServiceFollowItsStart) {
    Connect();
    EventRecorder::SetHook([](OrviAiEventId event) {
        if (event == ORVI_AI_EVENT_SERVICE_START) {
            EXPECT_EQ(Init(), 0);
        }
    });
    simulator_.Kill();
    simulator_.Start({"--push", "0x60002b:21@0", "--push", "0x60002b:22@1"});
    EventRecorder::ExpectIds({0, 1});
    EXPECT_EQ(EventRecorder::Next(), (Event{2, true, {3, 21}}));
    EXPECT_EQ(EventRecorder::Next(), (Event{2, true, {3, 22}}));
    EventRecorder::SetHook(nullptr);
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
    for (int round = 0; round < 3; ++round) {
        const uint32_t attached = OrviHostLogAttachCount();
        const uint32_t detached = OrviHostLogDetachCount();
        ChildProcess omlog("bus_process", {"omlog", "log_task"}, sandbox_.Path("omlog.log"));
        ASSERT_TRUE(omlog.ReadUntil("running"));
        EXPECT_TRUE(Await([&] { return OrviHostLogAttachCount() == attached + 1; }));
        EXPECT_EQ(OrviHostLogDetachCount(), detached);
        if (round % 2 == 0) {
            omlog.Signal(SIGKILL);
        } else {
            omlog.CloseInput();
        }
        EXPECT_EQ(omlog.Wait(), round % 2 == 0 ? -SIGKILL : 0);
        EXPECT_TRUE(Await([&] { return OrviHostLogDetachCount() == detached + 1; }));
        EXPECT_EQ(OrviHostLogIsAttached(), 0);
    }
    // None of that is the application's business.
    simulator_.Command("push 0x60002b 4");
    EXPECT_EQ(EventRecorder::Next(), (Event{2, true, {3, 4}}));
}

}  // namespace
}  // namespace orvi_test
