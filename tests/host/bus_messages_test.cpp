// One-way messages and requests between processes.
#include <sstream>

#include "bus_peer.h"
#include "bus_peer_ids.h"
#include "raw_socket.h"

namespace {

using Lines = std::vector<std::string>;
const std::string kUid = std::to_string(geteuid());

std::string Message(const char* task, int id, uint32_t length) {
    return std::string("message ") + task + " " + std::to_string(id) + " " + std::to_string(length) + " " + kUid;
}

std::string Call(int id, uint32_t length, uint32_t wait = 0) {
    return "call server t " + std::to_string(id) + " " + std::to_string(length) + " " + std::to_string(wait);
}

std::string Reply(uint32_t length) {
    return "reply " + std::to_string(length) + " uid " + kUid;
}

TEST_F(BusPair, RepliesTellNoDataFromLengthZero) {
    EXPECT_EQ(client->Ask(Call(kEcho, 36)), Reply(36));
    EXPECT_EQ(server->Next(), Message("t", kEcho, 36));
    EXPECT_EQ(client->Ask(Call(kEcho, 0)), Reply(0));
    EXPECT_EQ(client->Ask(Call(kAnswerNoData, 5)), "reply none uid " + kUid);
    EXPECT_EQ(client->Ask(Call(kEcho, 16 << 20)), Reply(16 << 20));
    EXPECT_EQ(client->Ask(Call(kAnswerLarge, 0)), Reply(16 << 20));
    EXPECT_EQ(client->Ask(Call(kEcho, (16 << 20) + 1)), "error 1");
    EXPECT_EQ(client->Ask("send server t 1 0"), "0");
    EXPECT_EQ(client->Ask("send server t 1 70000"), "0");
    EXPECT_EQ(client->Ask(Call(kAnswerTwice, 0)), Reply(0));
    for (const std::string& line :
         {Message("t", kEcho, 0), Message("t", kAnswerNoData, 5), Message("t", kEcho, 16 << 20),
          Message("t", kAnswerLarge, 0), Message("t", kNote, 0), Message("t", kNote, 70000),
          Message("t", kAnswerTwice, 0), std::string("second 3")}) {
        EXPECT_EQ(server->Next(), line);
    }
}

TEST_F(BusTest, NobodyThere) {
    Peer& client = Start();
    EXPECT_EQ(client.Ask("send server t 1 0"), "2");
    EXPECT_EQ(client.Ask(Call(kEcho, 0)), "error 2");
    EXPECT_EQ(client.Ask("task t"), "2");
    EXPECT_EQ(client.Ask("watch t server"), "2");
    EXPECT_EQ(client.Ask("name"), "none");
    const std::string errors = client.Errors();
    EXPECT_EQ(LinesOf(errors), 4) << errors;
    ASSERT_EQ(client.Ask("join client"), "0");
    EXPECT_EQ(client.Ask("name"), "client");
    EXPECT_EQ(client.Ask("join again"), "3");
    // Who, where, and what it was.
    for (const char* command : {"send server t 4660 0", "call server t 4660 0 0"}) {
        const std::string before = client.Errors();
        EXPECT_NE(client.Ask(command).find("6"), std::string::npos);
        const std::string told = client.Errors().substr(before.size());
        for (const std::string& part : {std::string("0x1234"), std::string("server"), std::string("t"), directory}) {
            EXPECT_NE(told.find(part), std::string::npos) << part << " in " << told;
        }
        EXPECT_EQ(LinesOf(told), 1) << told;
    }
    // There, and not to be reached: for other reasons, which are named.
    StartTask("server", "t");
    const std::string before = client.Errors();
    ASSERT_EQ(client.Ask("descriptors full"), "0");
    EXPECT_EQ(client.Ask("send server t 1 0"), "10");
    ASSERT_EQ(client.Ask("descriptors free"), "0");
    const std::string told = client.Errors().substr(before.size());
    EXPECT_NE(told.find("Too many open files"), std::string::npos) << told;
    EXPECT_EQ(told.find("nobody"), std::string::npos) << told;
    EXPECT_EQ(LinesOf(told), 1) << told;
}

TEST_F(BusTest, ADeadPeerEndsTheWaitAndLeavesNothingForItsSuccessor) {
    Peer& client = StartTask("client", "c");
    for (int i = 0; i < 3; ++i) {
        Peer& server = StartTask("server", "t");
        EXPECT_EQ(client.Ask(Call(kEcho, 1)), Reply(1));  // over a connection to the one before, from the second on
        EXPECT_EQ(server.Next(), Message("t", kEcho, 1));
        client.Tell(Call(kAnswerLater, 2));
        EXPECT_EQ(server.Next(), Message("t", kAnswerLater, 2));
        server.Kill();
        EXPECT_EQ(client.Answer(), "error 8");
        EXPECT_EQ(client.Ask(Call(kEcho, 1)), "error 6");
    }
}

TEST_F(BusTest, ALateAnswerIsRefusedAndMatchesNoLaterRequest) {
    Peer& server = StartTask("server", "t");
    Peer& client = StartTask("client", "c", {{"ORVI_BUS_DEFAULT_WAIT_MS", "200"}});  // enough to be sent under load
    EXPECT_EQ(client.Ask(Call(kAnswerLater, 2, 200)), "error 7");
    EXPECT_EQ(client.Ask(Call(kAnswerLater, 3)), "error 7");  // 0: the bus's own limit
    EXPECT_EQ(server.Next(), Message("t", kAnswerLater, 2));
    EXPECT_EQ(server.Next(), Message("t", kAnswerLater, 3));
    EXPECT_EQ(server.Ask("answer"), "8 8");
    EXPECT_EQ(client.Ask(Call(kEcho, 4, 20000)), Reply(4));
    client.Tell(Call(kAnswerLater, 5, 20000));
    EXPECT_EQ(server.Next(), Message("t", kEcho, 4));
    EXPECT_EQ(server.Next(), Message("t", kAnswerLater, 5));
    EXPECT_EQ(server.Ask("answer"), "0");
    EXPECT_EQ(client.Answer(), Reply(0));
}

// What was taken before the receiver got stuck arrives, in order and once; what was refused does not.
TEST_F(BusTest, AStuckReceiverFailsTheSendAfterABoundedWait) {
    Peer& server = StartTask("server", "t");
    Peer& client = StartTask("client", "c", {{"ORVI_BUS_SEND_WAIT_MS", "50"}});
    HoldUp(&server, "server", "t");
    const std::string told = client.Ask("sendmany server t 1 100000");
    ASSERT_EQ(told.rfind("error 7 after ", 0), 0U) << told;
    const auto taken = static_cast<uint32_t>(std::stoul(told.substr(14)));
    EXPECT_GT(taken, 10U);
    EXPECT_EQ(client.Ask(Call(kEcho, 0, 50)), "error 7");
    // This one is refused half-way, so its connection is given up; the next goes another way and may not overtake.
    EXPECT_EQ(client.Ask("send server t 1 4000000"), "7");
    EXPECT_EQ(client.Ask("callthread server t 3 4000000 50"), "error 7");
    LetGo(&server);
    for (uint32_t i = 1; i <= taken; ++i) {
        ASSERT_EQ(server.Next(), Message("t", kNote, i));
    }
    EXPECT_EQ(client.Ask(Call(kEcho, 3, 20000)), Reply(3));
    const Lines rest = server.Seen();
    EXPECT_EQ(rest.back(), Message("t", kEcho, 3));
    EXPECT_LE(rest.size(), 2U);  // the request whose wait ran out may have been taken
}

TEST_F(BusTest, AFreshConnectionDoesNotOvertakeTheOneItReplaces) {
    Peer& server = StartTask("server", "t");
    Peer& client = StartTask("client", "c", {{"ORVI_BUS_SEND_WAIT_MS", "50"}});
    HoldUp(&server, "server", "t");
    EXPECT_EQ(client.Ask("sendmany server t 1 20"), "sent 20");
    EXPECT_EQ(client.Ask("send server t 1 4000000"), "7");
    EXPECT_EQ(client.Ask("sendmany server t 1 20"), "sent 20");
    EXPECT_EQ(client.Ask("send server t 1 4000000"), "7");
    EXPECT_EQ(client.Ask("sendmany server t 1 20"), "sent 20");
    LetGo(&server);
    for (int round = 0; round < 3; ++round) {
        for (uint32_t i = 1; i <= 20; ++i) {
            ASSERT_EQ(server.Next(), Message("t", kNote, i));
        }
    }
    const std::string errors = server.Errors();
    EXPECT_EQ(LinesOf(errors), 2) << errors;
    EXPECT_NE(errors.find("closed inside a frame"), std::string::npos);
}

TEST_F(BusTest, AHandlerMayCallOthersButNotWaitForItself) {
    Peer& server = StartTask("server", "t");
    Peer& other = StartTask("other", "o");
    Peer& client = StartTask("client", "c");
    ASSERT_EQ(server.Ask("nested t other o"), "0");
    EXPECT_EQ(client.Ask(Call(kCallInside, 0)), "reply none uid " + kUid);
    EXPECT_EQ(other.Next(), Message("o", kEcho, 7));
    ASSERT_EQ(server.Ask("nested t server t"), "0");
    EXPECT_EQ(client.Ask(Call(kCallInside, 0)), "reply none uid " + kUid);
    EXPECT_EQ(server.Seen(), (Lines{Message("t", kCallInside, 0), "inside " + Reply(7), Message("t", kCallInside, 0),
                                    "inside error 3"}));
}

TEST_F(BusPair, ManyThreadsAndNothingStaysBehind) {
    EXPECT_EQ(client->Ask(Call(kEcho, 1)), Reply(1));
    EXPECT_EQ(server->Next(), Message("t", kEcho, 1));
    const std::string serverBefore = server->Ask("stat");
    const std::string clientBefore = client->Ask("stat");
    EXPECT_EQ(client->Ask("storm server t 32 40"), "1280 good");
    AwaitStat(client, clientBefore);  // a joined thread is listed a moment longer
    AwaitStat(server, serverBefore);
}

TEST_F(BusTest, AThreadKeepsNoConnectionsToReceiversThatHaveGone) {
    Peer& server = Start();
    ASSERT_EQ(server.Ask("join server"), "0");
    Peer& client = StartTask("client", "c");
    std::string before;
    for (int i = 0; i < 200; ++i) {
        const std::string task = "t" + std::to_string(i);
        ASSERT_EQ(server.Ask("task " + task), "0");
        ASSERT_EQ(client.Ask("send server " + task + " 1 5"), "0");
        ASSERT_EQ(server.Ask("unreg server " + task), "0");
        ASSERT_EQ(client.Ask("send server " + task + " 1 5"), "6");
        if (i == 1) {
            before = client.Ask("stat") + server.Ask("stat");
        }
    }
    EXPECT_EQ(client.Ask("stat") + server.Ask("stat"), before);
    EXPECT_EQ(server.Ask("unreg server t0"), "3");
    EXPECT_EQ(server.Ask("unreg other t0"), "1");
}

TEST_F(BusTest, MessagesWaitForTheLoopAndOutliveItsStop) {
    Peer& server = Start();
    ASSERT_EQ(server.Ask("join server"), "0");
    ASSERT_EQ(server.Ask("task t"), "0");
    Peer& client = StartTask("client", "c");
    EXPECT_EQ(client.Ask("sendmany server t 1 3"), "sent 3");
    client.Tell(Call(kEcho, 4));
    ASSERT_EQ(server.Ask("run t"), "0");
    EXPECT_EQ(client.Answer(), Reply(4));
    EXPECT_EQ(server.Seen(),
              (Lines{Message("t", kNote, 1), Message("t", kNote, 2), Message("t", kNote, 3), Message("t", kEcho, 4)}));
    // A second loop is refused; the first goes on.
    ASSERT_EQ(server.Ask("run t"), "0");
    EXPECT_EQ(server.Next(), "loop t 3");
    // Stopped from inside a handler: what came after waits for the next run.
    HoldUp(&server, "server", "t");
    ASSERT_EQ(client.Ask("send server t " + std::to_string(kStopInside) + " 0"), "0");
    ASSERT_EQ(client.Ask("sendmany server t 1 3"), "sent 3");
    LetGo(&server);
    EXPECT_EQ(server.Next(), Message("t", kStopInside, 0));
    EXPECT_EQ(server.Next(), "loop t 0");
    ASSERT_EQ(server.Ask("run t"), "0");
    EXPECT_EQ(client.Ask(Call(kEcho, 4)), Reply(4));
    EXPECT_EQ(server.Seen(),
              (Lines{Message("t", kNote, 1), Message("t", kNote, 2), Message("t", kNote, 3), Message("t", kEcho, 4)}));
    // Stopped from outside, and stopped before it runs.
    ASSERT_EQ(server.Ask("stop t"), "0");
    EXPECT_EQ(server.Next(), "loop t 0");
    ASSERT_EQ(server.Ask("stop t"), "0");
    ASSERT_EQ(server.Ask("run t"), "0");
    EXPECT_EQ(server.Next(), "loop t 0");
    ASSERT_EQ(server.Ask("run t"), "0");
    EXPECT_EQ(client.Ask(Call(kEcho, 4)), Reply(4));
}

TEST_F(BusPair, TakingATaskOffDropsWhatWaitsAndEndsTheWaits) {
    client->Tell(Call(kAnswerLater, 1));
    ASSERT_EQ(server->Next(), Message("t", kAnswerLater, 1));
    ASSERT_EQ(server->Ask("unreg server t"), "0");
    EXPECT_EQ(server->Next(), "loop t 0");
    EXPECT_EQ(client->Answer(), "error 8");
    EXPECT_EQ(server->Ask("answer"), "8");
    // Again from inside the handler, with more in the queue.
    ASSERT_EQ(server->Ask("task t"), "0");
    ASSERT_EQ(server->Ask("task t"), "3");
    ASSERT_EQ(client->Ask("send server t " + std::to_string(kUnregisterInside) + " 0"), "0");
    ASSERT_EQ(client->Ask("sendmany server t 1 3"), "sent 3");
    ASSERT_EQ(server->Ask("run t"), "0");
    EXPECT_EQ(server->Next(), Message("t", kUnregisterInside, 0));
    EXPECT_EQ(server->Next(), "loop t 0");
    RunTask(server, "t");
    EXPECT_EQ(client->Ask(Call(kEcho, 4)), Reply(4));
    EXPECT_EQ(server->Seen(), Lines{Message("t", kEcho, 4)});
}

TEST_F(BusTest, TasksOfOneProcessHaveLoopsOfTheirOwn) {
    Peer& server = StartTask("server", "t");
    RunTask(&server, "u");
    Peer& client = StartTask("client", "c");
    HoldUp(&server, "server", "t");
    EXPECT_EQ(client.Ask("call server u 2 6 0"), Reply(6));
    EXPECT_EQ(server.Ask("call server u 2 6 0"), Reply(6));  // from one's own process
    server.Ask("release 1");
    EXPECT_EQ(client.Ask(Call(kEcho, 6)), Reply(6));
}

TEST_F(BusPair, AHandlerThatThrowsOrEndsItsThreadLosesNothing) {
    EXPECT_EQ(client->Ask("send server t " + std::to_string(kThrow) + " 0"), "0");
    EXPECT_EQ(client->Ask(Call(kEcho, 4)), Reply(4));
    EXPECT_NE(server->Errors().find("thrown on purpose"), std::string::npos) << server->Errors();
    EXPECT_EQ(client->Ask("send server t " + std::to_string(kEndThread) + " 0"), "0");
    EXPECT_EQ(client->Ask("sendmany server t 1 2"), "sent 2");
    client->Tell(Call(kEcho, 5));
    EXPECT_EQ(server->Next(), Message("t", kThrow, 0));
    EXPECT_EQ(server->Next(), Message("t", kEcho, 4));
    EXPECT_EQ(server->Next(), Message("t", kEndThread, 0));
    // The old loop is over once its thread has unwound: until then a new one is refused.
    std::string line;
    do {
        ASSERT_EQ(server->Ask("run t"), "0");
        line = server->Next();
    } while (line == "loop t 3");
    EXPECT_EQ(line, Message("t", kNote, 1)) << server->Errors();
    EXPECT_EQ(server->Next(), Message("t", kNote, 2));
    EXPECT_EQ(client->Answer(), Reply(5));
}

// Waits go on for the time that is left, and only for that.
TEST_F(BusPair, SignalsEndNoWait) {
    Peer& hasty = StartTask("hasty", "h", {{"ORVI_BUS_SEND_WAIT_MS", "100"}});
    for (Peer* peer : {server, client, &hasty}) {
        ASSERT_EQ(peer->Ask("alarm"), "0");
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(client->Ask("storm server t 4 50"), "200 good");
        EXPECT_EQ(client->Ask(Call(kAnswerLater, 2, 30)), "error 7");
        client->Tell(Call(kBlockThenEcho, 1));
        EXPECT_EQ(server->Next(), Message("t", kAnswerLater, 2));
        EXPECT_EQ(server->Next(), Message("t", kBlockThenEcho, 1));
        ASSERT_EQ(server->Ask("release 1"), "0");
        EXPECT_EQ(client->Answer(), Reply(1));
        EXPECT_EQ(client->Ask("send server t 3 4000000"), "0");
    }
    ASSERT_EQ(client->Ask("send server t " + std::to_string(kBlock) + " 0"), "0");
    while (server->Next() != Message("t", kBlock, 0)) {
    }
    EXPECT_EQ(hasty.Ask("send server t 3 4000000"), "7");
    ASSERT_EQ(server->Ask("release 1"), "0");
}

// A handler that holds the message thread, or ends it, is told of, with the message that it was given.
TEST_F(BusTest, AHandlerThatTakesLongIsTold) {
    struct {
        const char* slowMs;
        int id;
        std::string told;
    } const cases[] = {{"5", kSlow, "0x11"}, {"0", kSlow, ""}, {"0", kEndThread, "0xc"}};
    for (const auto& slow : cases) {
        Peer& server = StartTask("server", "t", {{"ORVI_BUS_SLOW_MS", slow.slowMs}});
        Peer& client = StartTask("client", "c");
        EXPECT_EQ(client.Ask("send server t " + std::to_string(slow.id) + " 0"), "0");
        EXPECT_EQ(server.Next(), Message("t", slow.id, 0));
        client.Tell(Call(kEcho, 4));
        std::string line;
        do {  // the old loop is over once its thread has unwound: until then a new one is refused
            line = slow.id != kEndThread || server.Ask("run t") == "0" ? server.Next() : "";
        } while (line == "loop t 3");
        EXPECT_EQ(line, Message("t", kEcho, 4));
        EXPECT_EQ(client.Answer(), Reply(4));
        std::istringstream errors(server.Errors());
        int told = 0;
        for (std::string error; std::getline(errors, error);) {
            // On a busy machine other messages may take long as well.
            const bool ofThis = !slow.told.empty() && error.find("message " + slow.told) != std::string::npos;
            told += ofThis && error.find("'t'") != std::string::npos ? 1 : 0;
            EXPECT_TRUE(ofThis || slow.slowMs[0] == '5' || error.find("loop already") != std::string::npos) << error;
        }
        EXPECT_EQ(told, slow.told.empty() ? 0 : 1) << server.Errors();
        server.Kill();
        client.Kill();
    }
}

// The service's side: nothing waits but where it is asked to, and nothing is lost or overtaken.
TEST_F(BusPair, ASendThatNeverWaitsTellsWhenThereIsNoRoom) {
    EXPECT_EQ(client->Ask("awaitroom none 0"), "0");  // nothing to wait for
    EXPECT_EQ(client->Ask("try nobody t 1 0"), "6");
    ASSERT_EQ(client->Ask("try server t " + std::to_string(kBlock) + " 0"), "0");
    ASSERT_EQ(server->Next(), Message("t", kBlock, 0));
    for (const char* many : {"trymany server t 1 100000", "several server t 1 100000 t"}) {
        const std::string told = client->Ask(many);
        ASSERT_EQ(told.rfind("error 11 after ", 0), 0U) << told;
        const auto taken = static_cast<uint32_t>(std::stoul(told.substr(15)));
        EXPECT_GT(taken, 10U);
        EXPECT_EQ(client->Ask("try server t 1 5"), "11");
        EXPECT_EQ(client->Ask("awaitroom none 1"), "7");
        ASSERT_EQ(server->Ask("release 1"), "0");
        EXPECT_EQ(client->Ask("awaitroom none 60000"), "0");
        EXPECT_EQ(server->Next(), "unblocked");
        for (uint32_t i = 1; i <= taken; ++i) {
            ASSERT_EQ(server->Next(), Message("t", kNote, i));
        }
        ASSERT_EQ(client->Ask("try server t " + std::to_string(kBlock) + " 0"), "0");
        ASSERT_EQ(server->Next(), Message("t", kBlock, 0));
    }
    ASSERT_EQ(server->Ask("release 1"), "0");
    EXPECT_EQ(server->Next(), "unblocked");
    // Several go to one receiver, or none goes.
    EXPECT_EQ(client->Ask("several server t 1 50 u"), "error 1 after 0");
    EXPECT_EQ(client->Ask("several server nobody 1 50 nobody"), "error 6 after 0");
    // Of a large message the rest follows with whatever the thread does next, in its place.
    EXPECT_EQ(client->Ask("try server t 1 4000000"), "0");
    EXPECT_EQ(client->Ask(Call(kEcho, 7)), Reply(7));
    EXPECT_EQ(server->Next(), Message("t", kNote, 4000000));
    EXPECT_EQ(server->Next(), Message("t", kEcho, 7));
    // A receiver that has gone has no room to wait for.
    ASSERT_EQ(client->Ask("try server t " + std::to_string(kBlock) + " 0"), "0");
    EXPECT_EQ(client->Ask("trymany server t 1 100000").rfind("error 11 after ", 0), 0U);
    server->Kill();
    EXPECT_EQ(client->Ask("awaitroom none 60000"), "0");
    EXPECT_EQ(client->Ask("try server t 1 5"), "6");
}

// A name is told only where the kernel's facts back it.
TEST_F(BusTest, TheSenderIsWhoTheKernelSays) {
    Peer& server = StartTask("server", "t");
    Peer& client = Start();
    ASSERT_EQ(client.Ask("join client"), "0");
    const auto tells = [&](const std::string& name, pid_t pid) {
        EXPECT_EQ(server.Next(), Message("t", kTellSender, 0));
        EXPECT_EQ(server.Next(),
                  "sender 0 '" + name + "' " + std::to_string(pid) + " " + kUid + (name.empty() ? "" : " numbered"));
    };
    ASSERT_EQ(client.Ask("send server t " + std::to_string(kTellSender) + " 0"), "0");
    tells("client", client.Pid());
    for (const char* claimed : {"raw", "client", "server"}) {
        for (const uint64_t incarnation : {uint64_t{1}, uint64_t{1} << 61, UINT64_MAX}) {
            const Socket socket(directory + "/server:t");
            socket.Send(Greeting(claimed, 1, incarnation) + Frame(orvi_bus::FrameKind::kOneWay, 0, kTellSender, {}));
            tells("", getpid());
        }
    }
}

}  // namespace
