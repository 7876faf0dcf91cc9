// Start and exit events, and their place among the messages.
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include "bus_peer.h"
#include "bus_peer_ids.h"
#include "raw_socket.h"

namespace {

using Lines = std::vector<std::string>;
const std::string kUid = " " + std::to_string(geteuid());
const std::string kStart = "start server" + kUid;
const std::string kExit = "exit server" + kUid;

class BusEvents : public BusTest {
 protected:
    static std::string Note(uint32_t length) { return "message w 1 " + std::to_string(length) + kUid; }
    static void HoldUp(Peer* watcher) { BusTest::HoldUp(watcher, "watcher", "w"); }
};

TEST_F(BusEvents, OnlyTransitionsAreReported) {
    Peer& server = StartTask("server", "t");
    Peer& watcher = StartWatcher();
    ASSERT_EQ(watcher.Ask("watch w server"), "0");  // once more changes nothing
    EXPECT_EQ(server.Ask("call watcher w 2 1 0"), "reply 1 uid" + kUid);
    EXPECT_EQ(watcher.Seen(), Lines{"message w 2 1" + kUid});
    server.Kill();
    EXPECT_EQ(watcher.Next(), kExit);
    EXPECT_EQ(watcher.Ask("watch nobody server"), "3");
    EXPECT_EQ(watcher.Ask("watch w 0123456789abcdef"), "1");
}

TEST_F(BusEvents, AProcessMayWatchItself) {
    Peer& self = Start();
    ASSERT_EQ(self.Ask("join server"), "0");
    ASSERT_EQ(self.Ask("task w"), "0");
    ASSERT_EQ(self.Ask("watch w server"), "0");
    ASSERT_EQ(self.Ask("run w"), "0");
    EXPECT_EQ(self.Next(), kStart);
    EXPECT_EQ(Start().Ask("join server"), "4");  // the look did not cost the name
}

// The watcher sleeps through several incarnations. It may see fewer cycles than there were, but every message lies
// where it belongs: after a start, before the exit that follows, and in the order of sending.
TEST_F(BusEvents, AWatcherThatIsHeldUpMergesAndNeverReorders) {
    Peer& watcher = StartWatcher();
    for (int round = 0; round < 5; ++round) {
        Peer* server = &StartTask("server", "t");
        ASSERT_EQ(watcher.Next(), kStart);
        HoldUp(&watcher);
        for (uint32_t incarnation = 1; incarnation <= 4; ++incarnation) {
            ASSERT_EQ(server->Ask("send watcher w 1 " + std::to_string(incarnation)), "0");
            server->Kill();
            if (incarnation < 4) {
                server = &StartTask("server", "t");
            }
        }
        LetGo(&watcher);
        EXPECT_EQ(watcher.Next(), Note(1));
        EXPECT_EQ(watcher.Next(), kExit);
        bool running = false;
        uint32_t next = 2;
        while (next <= 4 || running) {
            const std::string line = watcher.Next();
            if (line == kStart || line == kExit) {
                ASSERT_EQ(running, line == kExit);
                running = !running;
            } else {
                ASSERT_EQ(line, Note(next));
                ASSERT_TRUE(running);
                ++next;
            }
        }
    }
    EXPECT_EQ(watcher.Seen(), Lines{});
}

// Nothing but its record tells of a process that came and went while nobody looked: whoever heard from it before it
// started waits for its end.
TEST_F(BusEvents, AProcessThatCameAndWentUnseenIsTold) {
    Peer& watcher = StartWatcher();
    Peer& other = StartTask("other", "o");
    for (const bool joinedBefore : {false, true}) {
        Peer& server = Start();
        if (joinedBefore) {
            ASSERT_EQ(server.Ask("join server"), "0");
            ASSERT_EQ(server.Ask("send watcher w 1 7"), "0");
            ASSERT_EQ(watcher.Next(), Note(7));
        }
        HoldUp(&watcher);
        if (!joinedBefore) {
            ASSERT_EQ(server.Ask("join server"), "0");
        }
        ASSERT_EQ(server.Ask("task t"), "0");
        ASSERT_EQ(server.Ask("run t"), "0");
        ASSERT_EQ(other.Ask("call server t 2 3 0"), "reply 3 uid" + kUid);  // its loop runs
        server.Kill();
        ASSERT_EQ(Start().Ask("join sweeper" + std::to_string(joinedBefore)), "0");
        LetGo(&watcher);
        EXPECT_EQ(watcher.Next(), kStart);
        EXPECT_EQ(watcher.Next(), kExit);
    }
    EXPECT_EQ(watcher.Seen(), Lines{});
}

TEST_F(BusEvents, WithoutTheKernelsNoticesItLooksAndSaysSoOnce) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to use up the inotify instances of a user who has no others";
    }
    constexpr uid_t kUser = 54321;
    ASSERT_EQ(chown(directory.c_str(), kUser, kUser), 0);
    const Environment environment{{"ORVI_BUS_DIR", directory}};
    Peer watcher(environment, kUser, kUser);
    ASSERT_EQ(watcher.Ask("join watcher"), "0") << watcher.Errors();
    ASSERT_EQ(watcher.Ask("task w"), "0");
    ASSERT_EQ(watcher.Ask("exhaust"), "0");
    ASSERT_EQ(watcher.Ask("watch w server"), "0");
    ASSERT_EQ(watcher.Ask("watch w another"), "0");
    ASSERT_EQ(watcher.Ask("run w"), "0");
    const std::string errors = watcher.Errors();
    EXPECT_NE(errors.find("looking at it from time to time"), std::string::npos) << errors;
    EXPECT_EQ(LinesOf(errors), 1) << errors;
    for (int cycle = 0; cycle < 3; ++cycle) {
        Peer server(environment, kUser, kUser);
        Run(&server, "server", "t");
        EXPECT_EQ(watcher.Next(), "start server 54321");
        server.Kill();
        EXPECT_EQ(watcher.Next(), "exit server 54321");
    }
    EXPECT_EQ(watcher.Errors(), errors);
}

// Whoever claims a name is a sender whom only the kernel knows: nothing is announced, and the name goes on.
TEST_F(BusEvents, AClaimedNameAnnouncesAndSilencesNothing) {
    using orvi_bus::FrameKind;
    Peer& watcher = StartWatcher();
    const auto claim = [&] {
        for (const uint64_t incarnation : {uint64_t{1}, uint64_t{1} << 61, UINT64_MAX - 1, UINT64_MAX}) {
            for (const uint16_t flags : {uint16_t{0}, orvi_bus::kFlagStarted}) {
                const Socket socket(directory + "/watcher:w");
                socket.Send(Greeting("server", 1, incarnation) +
                            Frame(FrameKind::kOneWay, 0, kNote, Payload(3), flags));
                ASSERT_EQ(watcher.Next(), Note(3)) << incarnation;
            }
        }
    };
    for (int cycle = 0; cycle < 2; ++cycle) {
        claim();
        Peer& server = StartTask("server", "t");
        ASSERT_EQ(watcher.Next(), kStart);
        claim();
        ASSERT_EQ(server.Ask("send watcher w 1 5"), "0");
        ASSERT_EQ(watcher.Next(), Note(5));
        server.Kill();
        ASSERT_EQ(watcher.Next(), kExit);
    }
    EXPECT_EQ(watcher.Seen(), Lines{});
}

// The library compares an event's uid with OsGetUId's number, the real one.
TEST_F(BusEvents, EventsCarryTheRealUid) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to take on another user";
    }
    ASSERT_EQ(chmod(directory.c_str(), 02770), 0);
    Peer& watcher = StartWatcher();
    ASSERT_EQ(watcher.Ask("seteuid 1000"), "0");
    Peer& server = StartTask("server", "t");
    EXPECT_EQ(watcher.Next(), "start server 0");
    server.Kill();
    EXPECT_EQ(watcher.Next(), "exit server 0");
}

// What cannot be looked at is not gone: whoever has no descriptor left keeps what it knows, and its peers, and goes on
// when it has some again.
TEST_F(BusEvents, WithoutDescriptorsNothingIsLost) {
    Peer& watcher = StartWatcher();
    ASSERT_EQ(watcher.Ask("watch w second"), "0");
    Peer& server = StartTask("server", "t");
    ASSERT_EQ(watcher.Next(), kStart);
    ASSERT_EQ(server.Ask("call watcher w 3 1 0"), "reply 1 uid" + kUid);
    ASSERT_EQ(watcher.Ask("descriptors full"), "0");
    for (int i = 0; i < 5; ++i) {  // each has the watcher look
        const int record = open((directory + "/server.lock").c_str(), O_RDWR | O_CLOEXEC);
        ASSERT_GE(record, 0);
        close(record);
        ASSERT_EQ(Start().Ask("join other" + std::to_string(i)), "0");
        ASSERT_EQ(server.Ask("call watcher w 3 1 0"), "reply 1 uid" + kUid);
    }
    EXPECT_EQ(watcher.Seen(), Lines{});
    Peer& second = StartTask("second", "t");
    ASSERT_EQ(watcher.Ask("descriptors free"), "0");
    EXPECT_EQ(watcher.Next(), "start second" + kUid);
    ASSERT_EQ(watcher.Ask("descriptors full"), "0");
    server.Kill();
    ASSERT_EQ(watcher.Ask("descriptors free"), "0");
    EXPECT_EQ(watcher.Next(), kExit);
    StartTask("server", "t");
    EXPECT_EQ(watcher.Next(), kStart);
    second.Kill();
    EXPECT_EQ(watcher.Next(), "exit second" + kUid);
}

}  // namespace
