// Init and deinit as the service sees them, and what they cost the process.
#include <dirent.h>
#include <fstream>
#include <sched.h>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>

#include "vision_test.h"

namespace orvi_test {
namespace {

class ConnectionTest : public VisionTest {};

std::multiset<std::string> ThreadNames() {
    std::multiset<std::string> names;
    DIR* tasks = opendir("/proc/self/task");
    for (const dirent* entry = readdir(tasks); entry != nullptr; entry = readdir(tasks)) {
        if (entry->d_name[0] != '.') {
            std::ifstream file(std::string("/proc/self/task/") + entry->d_name + "/comm");
            std::string name;
            std::getline(file, name);
            names.insert(name);
        }
    }
    closedir(tasks);
    return names;
}

TEST_F(ConnectionTest, ServiceSeesTheClientComeAndGo) {
    Connect();
    EXPECT_NE(simulator_.Command("clients").find("1 " + ProcessName() + "/" + TaskName() + " "), std::string::npos);

    ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
    simulator_.Command("await clients 0");

    // The message thread and the callback stay, so the client may come back.
    ASSERT_EQ(Init(), 0);
    simulator_.Command("await clients 1");
    simulator_.Command("push 0x60002b 5");
    EXPECT_EQ(EventRecorder::Next(), (Event{2, true, {3, 5}}));
}

TEST_F(ConnectionTest, SecondInitAnnouncesAgainAndKeepsTheFirstCallback) {
    Connect();
    ASSERT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, [](OrviAiEventId, void*) { ADD_FAILURE() << "wrong callback"; }), 0);
    simulator_.Command("await request 0x60000f 2");
    EXPECT_EQ(simulator_.Command("clients").substr(0, 2), "1 ");
    simulator_.Command("push 0x60002b 6");
    EXPECT_EQ(EventRecorder::Next(), (Event{2, true, {3, 6}}));
}

TEST_F(ConnectionTest, InitWithoutServiceFailsAndSucceedsOnceItRuns) {
    EXPECT_EQ(Init(), -1);
    EXPECT_EQ(OrviAiSrvApiDeinit(), -1);
    simulator_.Start();
    // No event is promised here: the subscription may come after the start.
    EXPECT_EQ(Init(), 0);
    simulator_.Command("await clients 1");
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
    simulator_.Start();
    const size_t before = Resources::Now().threads;
    ASSERT_EQ(Init(), 0);
    simulator_.Command("await clients 1");
    simulator_.Command("push 0x60002b 1");
    EventRecorder::ExpectIds({2});
    EXPECT_EQ(Resources::Now().threads, before + 1);
    EXPECT_EQ(ThreadNames().count(TaskName()), 1U);
    ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(Resources::Now().threads, before + 1);
}

TEST_F(ConnectionTest, LeaveAndComeBackWithoutRest) {
    Connect();
    const Resources baseline = Resources::Now();
    constexpr int ROUNDS = 200;
    for (int i = 0; i < ROUNDS; ++i) {
        ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
        ASSERT_EQ(Init(), 0);
    }
    simulator_.Command("await request 0x60000f " + std::to_string(ROUNDS + 1));
    EXPECT_EQ(simulator_.Command("clients").substr(0, 2), "1 ");
    simulator_.Command("push 0x60002b 1");  // over the one connection that the service has to this process
    EventRecorder::ExpectIds({2});
    ExpectBackAt(baseline);
}

}  // namespace
}  // namespace orvi_test
