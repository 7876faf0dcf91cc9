#include <chrono>

#include "dispatch_scope.h"
#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy_director.h"

using OrviAiService::AiSrvServiceProxy;
using OrviAiService::DispatchScope;

namespace {

class Director : public PlatformTest {
 protected:
    void TearDown() override {
        AiSrvServiceProxy::isVisionOK = true;
        platform.onPause = nullptr;
        PlatformTest::TearDown();
    }
};

TEST_F(Director, TheDirectorHasNoInitialisation) {
    EXPECT_EQ(OrviAiSrvDirectorInit(), -1);
    EXPECT_EQ(OrviAiSrvDirectorDeInit(), -1);
    EXPECT_EQ(platform.Take(), (Lines{"info <OrviAiSrvDirectorInit> The director is turned on by default.",
                                      "info <OrviAiSrvDirectorDeInit> Director does not deinitialize."}));
}

// --- The wait for the service ---

TEST_F(Director, OnlyTheCreationWaitsUntilTheServiceRuns) {
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

TEST_F(Director, TheWaitForTheServiceEnds) {
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

TEST_F(Director, InsideACallbackTheCreationDoesNotWait) {
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
