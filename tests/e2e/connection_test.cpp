// Init and deinit as the service sees them, and what they cost the process.
#include <filesystem>

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
    simulator_.Await("request app.init 2");
    ExpectPushArrives();
}

TEST_F(ConnectionTest, InitWithoutServiceFailsAndSucceedsOnceItRuns) {
    EXPECT_EQ(Init(), -1);
    EXPECT_EQ(OrviAiSrvApiDeinit(), -1);
    simulator_.Start();
    Announce();  // no event is promised here: the subscription may come after the start
}

TEST_F(ConnectionTest, LeaveAndComeBackWithoutRest) {
    Connect();
    const Resources baseline = Resources::Now();
    constexpr int ROUNDS = 200;
    for (int i = 0; i < ROUNDS; ++i) {
        ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
        ASSERT_EQ(Init(), 0);
    }
    simulator_.Await("request app.init " + std::to_string(ROUNDS + 1));
    ExpectPushArrives();  // over the one connection that the service has to this process
    ExpectBackAt(baseline);
    size_t messageThreads = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        messageThreads += ReadFile(thread.path() / "comm") == TaskName() + "\n" ? 1 : 0;
    }
    EXPECT_EQ(messageThreads, 1U);
}

}  // namespace
}  // namespace orvi_test
