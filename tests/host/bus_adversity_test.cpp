// What honest members keep while the machine, the directory or another process is against them.
#include <fcntl.h>
#include <fstream>
#include <sched.h>
#include <sys/stat.h>

#include "bus_peer.h"
#include "bus_peer_ids.h"
#include "membership/presence_record.h"
#include "raw_socket.h"

namespace {

using orvi_bus::FrameKind;
const std::string kUid = std::to_string(geteuid());

// Whole messages that wait for a slow handler are no frame that is stuck, however long they wait.
TEST_F(BusTest, MessagesThatWaitForAHandlerAreNotTimedOut) {
    Peer& server = StartTask("server", "t", {{"ORVI_BUS_FRAME_WAIT_MS", "500"}});
    const Socket socket(directory + "/server:t");
    Bytes all = Greeting("raw", 1);
    for (int i = 0; i < 130; ++i) {
        all =
            all + (i == 40 ? Frame(FrameKind::kOneWay, 0, kSlow, Bytes(700)) : Frame(FrameKind::kOneWay, 0, kNote, {}));
    }
    socket.Send(all);
    for (int i = 0; i < 130; ++i) {
        ASSERT_NE(server.Next(), "(ended)") << i << ": " << server.Errors();
    }
    EXPECT_EQ(server.Errors(), "");
}

// A child that a member has forked is off the bus, and what it opens is its own: also its children keep that.
TEST_F(BusTest, AForkedChildsChildrenInheritWhatItOpened) {
    Peer& server = StartTask("server", "t");
    EXPECT_EQ(server.Ask("grandchild"), "0");
    EXPECT_EQ(server.Ask("call server t 3 1 0"), "reply 1 uid " + kUid);
}

// The record of a name may be unreadable for good: its sender is unknown then, and its messages arrive all the same.
TEST_F(BusTest, ASenderThatCannotBeLookedAtIsUnknownInTheEnd) {
    constexpr gid_t kGroup = 4711;
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs another user";
    }
    ASSERT_EQ(chown(directory.c_str(), 0, kGroup), 0);
    ASSERT_EQ(chmod(directory.c_str(), 02770), 0);
    const std::string record = directory + "/raw.lock";
    std::ofstream(record).close();
    ASSERT_EQ(chmod(record.c_str(), 0), 0);
    Peer server({{"ORVI_BUS_DIR", directory}, {"ORVI_BUS_FRAME_WAIT_MS", "100"}}, 1234, kGroup);
    Run(&server, "server", "t");
    const Socket socket(directory + "/server:t");
    socket.Send(Greeting("raw", 1) + Frame(FrameKind::kOneWay, 0, kTellSender, {}));
    EXPECT_EQ(server.Next(), "message t 18 0 0");
    EXPECT_EQ(server.Next(), "sender 0 '' " + std::to_string(getpid()) + " 0");
}

// A record that was deleted while it cannot be put back: without descriptors, or while somebody who joins is stopped. The
// loop goes on, and puts it back when that is over.
TEST_F(BusTest, WhatCannotBePutBackNowIsPutBackLater) {
    Peer& server = StartTask("server", "t");
    ASSERT_EQ(server.Ask("watch t other"), "0");
    Peer& client = StartTask("client", "c");
    const std::string record = directory + "/server.lock";
    const std::string echoed = "reply 3 uid " + kUid;
    ASSERT_EQ(client.Ask("call server t 3 3 0"), echoed);
    for (const bool descriptors : {true, false}) {
        const int joining = open((directory + "/.lock").c_str(), O_RDWR | O_CLOEXEC);
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        if (descriptors) {
            ASSERT_EQ(server.Ask("descriptors full"), "0");
        } else {
            ASSERT_EQ(fcntl(joining, F_SETLK, &lock), 0);
        }
        ASSERT_EQ(unlink(record.c_str()), 0);
        EXPECT_EQ(client.Ask("call server t 3 3 0"), echoed) << server.Errors();
        if (descriptors) {
            ASSERT_EQ(server.Ask("descriptors free"), "0");
        }
        close(joining);
        while (access(record.c_str(), F_OK) != 0 && server.Errors().find("loop") == std::string::npos) {
            (void)sched_yield();
        }
        EXPECT_EQ(client.Ask("call server t 3 3 0"), echoed) << server.Errors();
    }
}

// A sender's record tells that it has started when it is held against the hello, and is gone when the start is to be
// announced: the message waits for nothing that never comes.
TEST_F(BusTest, ARecordThatVanishesInBetweenHoldsNoMessageBack) {
    Peer& server = StartTask("server", "t");
    ASSERT_EQ(server.Ask("watch t raw"), "0");
    const std::string record = directory + "/raw.lock";
    orvi_bus::Record content;
    content.latest = {orvi_bus::NumberOfNow(), getpid(), true};
    uint8_t bytes[orvi_bus::kRecordSize];
    EncodeRecord(content, "raw", {}, bytes);
    Peer& client = StartTask("client", "c");
    const Socket first(directory + "/server:t");
    const Socket second(directory + "/server:t");
    ASSERT_EQ(client.Ask("call server t 3 1 0"), "reply 1 uid " + kUid);  // both have been accepted
    const std::string block = std::to_string(kBlock);
    ASSERT_EQ(client.Ask("send server t " + block + " 0"), "0");
    ASSERT_EQ(server.Next(), "message t 8 0 " + kUid);
    second.Send(Greeting("raw", 7, content.latest.number) + Frame(FrameKind::kOneWay, 0, kTellSender, {}));
    first.Send(Greeting("unknown", 7) + Frame(FrameKind::kOneWay, 0, kBlock, {}));
    std::ofstream(record + "~").write(reinterpret_cast<const char*>(bytes), sizeof(bytes));
    ASSERT_EQ(rename((record + "~").c_str(), record.c_str()), 0);
    // The second's sender is identified, then the first's message comes before its own and takes its time.
    ASSERT_EQ(server.Ask("release 1"), "0");
    ASSERT_EQ(server.Next(), "unblocked");
    ASSERT_EQ(server.Next(), "message t 8 0 " + kUid);
    ASSERT_EQ(unlink(record.c_str()), 0);
    ASSERT_EQ(server.Ask("release 1"), "0");
    ASSERT_EQ(server.Next(), "unblocked");
    EXPECT_EQ(server.Next(), "message t 18 0 " + kUid) << server.Errors();
    EXPECT_EQ(server.Next(), "sender 0 '' " + std::to_string(getpid()) + " " + kUid);
}

// A record that is deleted and put back tells of no end, also where the watcher has seen that it was gone.
TEST_F(BusTest, ARecordThatIsBackTellsOfNoEnd) {
    Peer& watcher = StartWatcher();
    Peer& client = StartTask("client", "c");
    Peer& server = StartTask("server", "t");
    EXPECT_EQ(watcher.Next(), "start server " + kUid);
    const std::string record = directory + "/server.lock";
    ASSERT_EQ(rename(record.c_str(), (record + ".aside").c_str()), 0);
    ASSERT_EQ(client.Ask("call watcher w 3 1 0"), "reply 1 uid " + kUid);  // it has looked since
    ASSERT_EQ(rename((record + ".aside").c_str(), record.c_str()), 0);
    ASSERT_EQ(client.Ask("sendmany watcher w " + std::to_string(kSlow) + " 20"),
              "sent 20");  // longer than an end takes
    ASSERT_EQ(client.Ask("call watcher w 3 1 0"), "reply 1 uid " + kUid);
    for (const std::string& line : watcher.Seen()) {
        EXPECT_EQ(line.rfind("message w 17 ", 0), 0U) << line;
    }
    server.Kill();
    EXPECT_EQ(watcher.Next(), "exit server " + kUid);
    Run(&Start(), "server", "t");
    EXPECT_EQ(watcher.Next(), "start server " + kUid);
}

// A process that has lost its name to another takes nothing of that one's away when it ends.
TEST_F(BusTest, AnEndThatComesLateLeavesTheSuccessorAlone) {
    Peer& server = StartTask("server", "t");
    ASSERT_EQ(unlink((directory + "/server.lock").c_str()), 0);
    Peer& successor = StartTask("server", "t");
    server.Tell("return");
    EXPECT_EQ(server.WaitForExit(), 0);
    Peer& client = StartTask("client", "c");
    EXPECT_EQ(client.Ask("call server t 2 3 0"), "reply 3 uid " + kUid);
    EXPECT_EQ(successor.Next(), "message t 2 3 " + kUid);
}

}  // namespace
