// Start and exit events.
#include "bus_peer.h"
#include "bus_peer_ids.h"

namespace {

const std::string kUid = " " + std::to_string(geteuid());

TEST_F(BusTest, EveryRestartIsOneExitAndOneStartInOrder) {
    Peer& watcher = Start();
    ASSERT_EQ(watcher.Ask("join watcher"), "0");
    ASSERT_EQ(watcher.Ask("task w"), "0");
    ASSERT_EQ(watcher.Ask("watch w server"), "0");
    ASSERT_EQ(watcher.Ask("run w"), "0");
    for (int cycle = 0; cycle < 100; ++cycle) {
        Peer& server = StartTask("server", "t");
        ASSERT_EQ(watcher.Next(), "start server" + kUid);
        server.Kill();
        ASSERT_EQ(watcher.Next(), "exit server" + kUid);
    }
    EXPECT_EQ(watcher.Seen(), std::vector<std::string>{});
}

}  // namespace
