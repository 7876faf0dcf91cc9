// Init and deinit as the service sees them, and what they cost the process.
#include <filesystem>
#include <sched.h>
#include <thread>

#include "vision_test.h"

namespace orvi_test {
namespace {

class ConnectionTest : public VisionTest {};

TEST_F(ConnectionTest, ServiceSeesTheClientComeAndGo) {
    Connect();
    EXPECT_NE(simulator_.Command("clients").find("1 " + ProcessName() + "/" + TaskName() + " "), std::string::npos);
    ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
    simulator_.Await("clients 0");
    // The message thread and the callback stay, so the client may come back.
    Announce();
    ExpectPushArrives();
}

TEST_F(ConnectionTest, SecondInitAnnouncesAgainAndKeepsTheFirstCallback) {
    Connect();
    ASSERT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, [](OrviAiEventId, void*) { ADD_FAILURE() << "wrong callback"; }), 0);
    simulator_.Await("request 0x60000f 2");
    ExpectPushArrives();
}

TEST_F(ConnectionTest, InitWithoutServiceFailsAndSucceedsOnceItRuns) {
    EXPECT_EQ(Init(), -1);
    EXPECT_EQ(OrviAiSrvApiDeinit(), -1);
    simulator_.Start();
    Announce();  // no event is promised here: the subscription may come after the start
}

// A sanitizer starts a thread of its own beside the first one of the program. Returns when only that is left.
void StartTheFirstThread() {
    pid_t thread = 0;
    std::thread([&] { thread = gettid(); }).join();
    while (access(("/proc/self/task/" + std::to_string(thread)).c_str(), F_OK) == 0) {
        sched_yield();
    }
}

TEST_F(ConnectionTest, OneThreadMoreNamedAfterTheTask) {
    StartTheFirstThread();
    const size_t before = Resources::Now().threads;
    Connect();
    ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(Resources::Now().threads, before + 1);
    size_t named = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        named += ReadFile(thread.path() / "comm") == TaskName() + "\n" ? 1 : 0;
    }
    EXPECT_EQ(named, 1U);
}

TEST_F(ConnectionTest, LeaveAndComeBackWithoutRest) {
    Connect();
    const Resources baseline = Resources::Now();
    constexpr int ROUNDS = 200;
    for (int i = 0; i < ROUNDS; ++i) {
        ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
        ASSERT_EQ(Init(), 0);
    }
    simulator_.Await("request 0x60000f " + std::to_string(ROUNDS + 1));
    ExpectPushArrives();  // over the one connection that the service has to this process
    ExpectBackAt(baseline);
}

}  // namespace
}  // namespace orvi_test
