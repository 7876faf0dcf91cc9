// Peers that are not this library, or not honest: raw sockets at both ends.
#include <fstream>
#include <memory>
#include <regex>
#include <sched.h>

#include "bus_peer.h"
#include "bus_peer_ids.h"
#include "raw_socket.h"

namespace {

using orvi_bus::FrameKind;
using orvi_test::ReadFile;
using Lines = std::vector<std::string>;
const std::string kUid = std::to_string(geteuid());

TEST_F(BusTest, LiesEndTheirConnectionWithOneLine) {
    Peer& server = StartTask("server", "t", {{"ORVI_BUS_FRAME_WAIT_MS", "86400000"}});
    Peer& client = StartTask("client", "c");
    const std::string path = directory + "/server:t";
    Bytes large = Frame(FrameKind::kOneWay, 0, 1, Bytes(orvi_bus::kMaxDataLen));
    large.resize(orvi_bus::kHeaderSize);  // its payload would still have to come
    Bytes tooLong = Frame(FrameKind::kOneWay, 0, 1, {});
    tooLong[19] = 0x7F;  // the high byte of the length
    Bytes tooShort = Frame(FrameKind::kOneWay, 0, 1, {});
    tooShort[16] = 23;
    const Bytes lies[] = {
        Bytes(100, 'x'),
        tooLong,
        Greeting("raw", 1) + tooLong,
        Greeting("raw", 1) + tooShort,
        Frame(FrameKind::kOneWay, 0, 1, {}),
        large,
        Greeting("raw", 1) + Greeting("raw", 1),
        Greeting("raw", 1) + Frame(FrameKind::kReply, 1, 1, {}),
        Frame(FrameKind::kHello, 0, 0, Bytes(orvi_bus::kHelloSize, 'x')),
    };
    for (const Bytes& lie : lies) {
        const std::string before = server.Errors();
        const Socket socket(path);
        socket.Send(lie);
        EXPECT_TRUE(socket.IsEnded());
        EXPECT_EQ(LinesOf(server.Errors()), LinesOf(before) + 1) << server.Errors();
    }
    {
        const Socket cut(path);
        cut.Send(Greeting("raw", 1) + Bytes(7, 0x4F));
    }
    // What came whole before the lie has been delivered; the others go on.
    const Socket socket(path);
    socket.Send(Greeting("raw", 1) + Frame(FrameKind::kOneWay, 0, kNote, Payload(3)) + Bytes(24, 'x'));
    EXPECT_TRUE(socket.IsEnded());
    EXPECT_EQ(client.Ask("call server t 2 5 0"), "reply 5 uid " + kUid);
    EXPECT_EQ(server.Seen(), (Lines{"message t 1 3 " + kUid, "message t 2 5 " + kUid}));
}

TEST_F(BusTest, OnlyMuteAndStuckConnectionsAreTimedOut) {
    Peer& server = StartTask("server", "t", {{"ORVI_BUS_FRAME_WAIT_MS", "100"}});
    const std::string path = directory + "/server:t";
    const Bytes note = Frame(FrameKind::kOneWay, 0, kNote, Payload(3));
    const Socket honest(path);
    honest.Send(Greeting("raw", 1) + note);
    const Socket silent(path);
    silent.Send(Greeting("raw", 2));  // has introduced itself, and may take its time
    EXPECT_EQ(server.Next(), "message t 1 3 " + kUid);
    const Socket mute(path);
    const Socket stuck(path);
    stuck.Send(Greeting("raw", 3) + Bytes(note.begin(), note.end() - 1));
    EXPECT_TRUE(mute.IsEnded());
    EXPECT_TRUE(stuck.IsEnded());
    const std::string errors = server.Errors();
    EXPECT_NE(errors.find("never sent its first frame"), std::string::npos) << errors;
    EXPECT_NE(errors.find("stopped inside a frame"), std::string::npos) << errors;
    honest.Send(note);
    EXPECT_EQ(server.Next(), "message t 1 3 " + kUid);
    silent.Send(note);
    EXPECT_EQ(server.Next(), "message t 1 3 " + kUid);
}

// One process sends more at once than it is lent memory for, to one task or to several: some of its connections wait,
// and all messages arrive.
TEST_F(BusTest, APeersMemoryIsLimitedAndNothingIsLost) {
    const Bytes frame = Frame(FrameKind::kOneWay, 0, kNote, Payload(orvi_bus::kMaxDataLen));
    Peer& server = StartTask("server", "t0");
    for (const std::string& task : {std::string("t1"), std::string("t2")}) {
        ASSERT_EQ(server.Ask("task " + task), "0");
        ASSERT_EQ(server.Ask("run " + task), "0");
    }
    for (const size_t tasks : {1U, 3U}) {
        std::vector<Socket> sockets;
        std::vector<size_t> sent(tasks == 1 ? 7 : 9, 0);
        for (size_t i = 0; i < sent.size(); ++i) {
            sockets.emplace_back(directory + "/server:t" + std::to_string(i % tasks));
            sockets[i].Send(Greeting("raw", i));
        }
        const auto push = [&](size_t most) {  // until the server takes no more
            for (bool more = true; more;) {
                more = false;
                std::vector<pollfd> entries;
                for (size_t i = 0; i < sockets.size(); ++i) {
                    const size_t part = sent[i] < most ? sockets[i].SendSome(&frame[sent[i]], most - sent[i]) : 0;
                    sent[i] += part;
                    more = more || part != 0;
                    entries.push_back({sent[i] < most ? sockets[i].Get() : -1, POLLOUT, 0});
                }
                more = more || poll(entries.data(), entries.size(), 300) > 0;
            }
        };
        push(frame.size() - 1);
        size_t total = 0;
        for (const size_t bytes : sent) {
            total += bytes;
        }
        EXPECT_LT(total, 6 * frame.size()) << tasks << " tasks";
        while (static_cast<size_t>(std::count(sent.begin(), sent.end(), frame.size())) < sent.size()) {
            push(frame.size());  // each that is completed makes room for another
        }
        for (size_t i = 0; i < sent.size(); ++i) {
            const std::string line = server.Next();
            ASSERT_EQ(line.substr(line.find(' ', 8)), " 1 16777216 " + kUid);
        }
    }
    EXPECT_EQ(server.Errors(), "");
}

// Connections are not all that a process may have: however many one peer opens and leaves idle, another gets in.
TEST_F(BusTest, IdleConnectionsKeepNobodyOut) {
    constexpr size_t kIdle = 2000;
    if (!AllowDescriptors(kIdle)) {
        GTEST_SKIP() << "needs a higher limit of descriptors";
    }
    Peer& server = Start();
    ASSERT_EQ(server.Ask("nofile 1024"), "0");
    Run(&server, "server", "t");
    std::vector<Socket> sockets;
    for (size_t i = 0; i < kIdle; ++i) {
        sockets.emplace_back(directory + "/server:t");
        (void)sockets.back().SendSome(Greeting("raw", i).data(), orvi_bus::kHeaderSize + orvi_bus::kHelloSize);
    }
    Peer& client = Start();
    ASSERT_EQ(client.Ask("join client"), "0");
    EXPECT_EQ(client.Ask("call server t 2 3 0"), "reply 3 uid " + kUid);
    const std::string errors = server.Errors();
    EXPECT_NE(errors.find("process " + std::to_string(getpid())), std::string::npos) << errors;
    sockets.clear();
    EXPECT_EQ(client.Ask("storm server t 8 10"), "80 good");
}

// Kilobytes of memory that a process has.
size_t MemoryOf(const Peer& peer) {
    std::ifstream status("/proc/" + std::to_string(peer.Pid()) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::stoul(line.substr(6));
        }
    }
    return 0;
}

// All at once: who says nothing, lies, stops inside a frame, says to be somebody else, floods, and reads no answer.
TEST_F(BusTest, ACrowdOfBadPeersChangesNothingForAnHonestOne) {
    constexpr size_t kCrowd = 2000;
    constexpr size_t kMostKilobytes = 64 << 10;
    if (!AllowDescriptors(kCrowd)) {
        GTEST_SKIP() << "needs a higher limit of descriptors";
    }
    Peer& server = StartTask("server", "t");
    Peer& client = StartTask("client", "c");
    ASSERT_EQ(client.Ask("storm server t 8 10"), "80 good");
    const size_t before = MemoryOf(server);
    Bytes flood = Greeting("raw", 1);
    Bytes unread = Greeting("raw", 2);
    for (uint32_t i = 1; i <= 50; ++i) {
        flood = flood + Frame(FrameKind::kOneWay, 0, kEchoQuietly, Payload(100));
        unread = unread + Frame(FrameKind::kRequest, i, kEchoQuietly, Payload(1000));
    }
    const Bytes frame = Frame(FrameKind::kOneWay, 0, kTellSender, {});
    const Bytes sayings[] = {{},
                             Bytes(500, 'x'),
                             Greeting("raw", 3) + Bytes(frame.begin(), frame.end() - 1),
                             Greeting("client", 4) + frame,
                             flood,
                             unread};
    std::vector<Socket> crowd;
    for (size_t i = 0; i < kCrowd; ++i) {
        crowd.emplace_back(directory + "/server:t");
        const Bytes& saying = sayings[i % std::size(sayings)];
        (void)crowd.back().SendSome(saying.data(), saying.size());
        if (i % 200 == 0) {
            EXPECT_EQ(client.Ask("storm server t 4 5"), "20 good");
        }
    }
    EXPECT_EQ(client.Ask("storm server t 8 50"), "400 good");
    EXPECT_LT(MemoryOf(server), before + kMostKilobytes);
    for (const std::string& line : server.Seen()) {
        if (line.rfind("sender ", 0) == 0) {
            EXPECT_EQ(line, "sender 0 '' " + std::to_string(getpid()) + " " + kUid);
        }
    }
    crowd.clear();
    EXPECT_EQ(client.Ask("storm server t 8 10"), "80 good");
}

// Nobody reads the answers, which are more than the kernel takes: the peer loses its connection, when it makes no
// progress or when its queue is full, and nobody waits for it.
TEST_F(BusTest, UnreadAnswersHoldUpNobody) {
    struct {
        const char* sendWaitMs;
        int requests;  // each is answered with 16 MiB
    } const cases[] = {{"50", 1}, {"86400000", 40}};
    for (const auto& unread : cases) {
        Peer& server = StartTask("server", "t", {{"ORVI_BUS_SEND_WAIT_MS", unread.sendWaitMs}});
        Peer& client = StartTask("client", "c");
        const Socket socket(directory + "/server:t");
        Bytes all = Greeting("raw", 1);
        for (int i = 1; i <= unread.requests; ++i) {
            all = all + Frame(FrameKind::kRequest, static_cast<uint32_t>(i), kAnswerLarge, {});
        }
        socket.Send(all);
        EXPECT_EQ(client.Ask("call server t 2 5 0"), "reply 5 uid " + kUid);
        EXPECT_EQ(client.Ask("storm server t 4 20"), "80 good");
        EXPECT_TRUE(socket.IsEnded());
        EXPECT_EQ(LinesOf(server.Errors()), 1) << server.Errors();
        server.Kill();
        client.Kill();
    }
}

// Thousands of messages are held of one connection when another's comes: each gets its turn.
TEST_F(BusPair, AFloodStarvesNobody) {
    constexpr uint32_t kFlood = 2000;
    EXPECT_EQ(client->Ask("call server t 3 1 0"), "reply 1 uid " + kUid);
    const Socket socket(directory + "/server:t");
    socket.Send(Greeting("raw", 1) + Frame(FrameKind::kOneWay, 0, kNote, Payload(60000)));
    ASSERT_EQ(server->Next(), "message t 1 60000 " + kUid);  // the server has a large buffer for it
    HoldUp(server, "server", "t");
    const Bytes note = Frame(FrameKind::kOneWay, 0, kNote, {});
    Bytes flood;
    for (uint32_t i = 0; i < kFlood; ++i) {
        flood.insert(flood.end(), note.begin(), note.end());
    }
    socket.Send(flood);
    ASSERT_EQ(client->Ask("send server t 2 7"), "0");
    ASSERT_EQ(server->Ask("release 1"), "0");
    Lines seen;
    while (seen.size() <= kFlood + 1) {
        seen.push_back(server->Next());
        ASSERT_NE(seen.back(), "(ended)");
    }
    const auto honest = std::find(seen.begin(), seen.end(), "message t 2 7 " + kUid);
    EXPECT_LT(honest - seen.begin(), kFlood / 2);
}

// A receiver answers with what was never asked, or asked earlier: it is dropped, and the right answer matched.
TEST_F(BusTest, ForeignRepliesAreDropped) {
    Peer& client = StartTask("client", "c");
    const Socket listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = Socket::Address(directory + "/raw:t");
    ASSERT_EQ(bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(listener.Get(), 5), 0);
    client.Tell("call raw t 40 0 0");
    const Socket connection(accept(listener.Get(), nullptr, nullptr));
    Bytes received;
    ASSERT_TRUE(connection.ReadExactly(orvi_bus::kHeaderSize * 2 + orvi_bus::kHelloSize, &received));
    orvi_bus::FrameHeader request;
    ASSERT_EQ(DecodeHeader(&received[orvi_bus::kHeaderSize + orvi_bus::kHelloSize], &request), nullptr);
    EXPECT_EQ(request.kind, FrameKind::kRequest);
    connection.Send(
        Frame(FrameKind::kReply, request.sequence - 1U == 0 ? UINT32_MAX : request.sequence - 1, 40, Payload(1)) +
        Frame(FrameKind::kReply, request.sequence + 1, 40, Payload(2)) +
        Frame(FrameKind::kReply, request.sequence, 40, Payload(3)));
    EXPECT_EQ(client.Answer(), "reply 3 uid " + kUid);
    // The next request has its own number; an answer to the last one does not count, and a lie ends the wait.
    client.Tell("call raw t 41 0 0");
    ASSERT_TRUE(connection.ReadExactly(orvi_bus::kHeaderSize, &received));
    orvi_bus::FrameHeader second;
    ASSERT_EQ(DecodeHeader(received.data(), &second), nullptr);
    EXPECT_NE(second.sequence, request.sequence);
    connection.Send(Frame(FrameKind::kReply, request.sequence, 40, Payload(4)) + Bytes(24, 'x'));
    EXPECT_EQ(client.Answer(), "error 8");
}

// More connections than the receiver has room and descriptors for: connecting waits a bounded time, and the receiver
// recovers.
TEST_F(BusTest, AFullBacklogFailsInBoundedTime) {
    long most = 0;
    std::ifstream("/proc/sys/net/core/somaxconn") >> most;
    most = std::min<long>(most, SOMAXCONN) + 1;
    Peer& server = StartTask("server", "t");  // with the limit as it was
    Peer& client = StartTask("client", "c", {{"ORVI_BUS_SEND_WAIT_MS", "50"}});
    if (!AllowDescriptors(static_cast<size_t>(most))) {
        GTEST_SKIP() << "needs a higher limit of descriptors";
    }
    HoldUp(&server, "server", "t");
    {
        std::vector<Socket> sockets;
        for (long i = 0; i < most; ++i) {
            sockets.emplace_back(directory + "/server:t");
        }
        EXPECT_EQ(client.Ask("send server t 1 0"), "7");
        EXPECT_EQ(client.Ask("call server t 2 0 50"), "error 7");
        LetGo(&server);
        for (long i = 0; i < most / 2; ++i) {
            sockets.pop_back();  // the rest goes while the server is at work
        }
    }
    EXPECT_EQ(client.Ask("call server t 2 3 20000"), "reply 3 uid " + kUid);
    const std::string errors = server.Errors();
    EXPECT_TRUE(errors.empty() || errors.find("cannot accept connections for now") != std::string::npos) << errors;
    EXPECT_LE(LinesOf(errors), 1);
}

// Four programs may watch, and nobody waits for one of them.
TEST_F(BusTest, WatchersAreNeverWaitedFor) {
    StartTask("server", "t");
    Peer& client = Start({{"ORVI_BUS_TRACE", "1"}});
    ASSERT_EQ(client.Ask("join client"), "0");
    EXPECT_EQ(client.Ask("send server t 1 5"), "0");  // nobody listens
    const std::string errors = directory + "/errors";
    const std::vector<std::string> inDirectory{"/usr/bin/env", "ORVI_BUS_DIR=" + directory};
    const auto watch = [&] {
        (void)unlink(errors.c_str());
        auto started = std::make_unique<orvi_test::ChildProcess>(
            "orvi-bus", std::vector<std::string>{"monitor", "--json"}, errors, inDirectory);
        while (started->IsAlive() && ReadFile(errors).find('\n') == std::string::npos) {
            (void)sched_yield();
        }
        return started;
    };
    std::vector<std::unique_ptr<orvi_test::ChildProcess>> watchers;
    for (int i = 0; i < 4; ++i) {
        watchers.push_back(watch());
        ASSERT_NE(ReadFile(errors).find("listening at " + directory + "/monitor." + std::to_string(i)),
                  std::string::npos);
    }
    EXPECT_EQ(watch()->Wait(), 1);
    EXPECT_NE(ReadFile(errors).find("is watched by 4 programs already"), std::string::npos) << ReadFile(errors);
    watchers[2].reset();  // is killed
    watchers[2] = watch();
    EXPECT_NE(ReadFile(errors).find("/monitor.2+"), std::string::npos) << ReadFile(errors);
    EXPECT_EQ(client.Ask("call server t 2 36 0"), "reply 36 uid " + kUid);
    for (const auto& watcher : watchers) {
        std::string line;
        ASSERT_TRUE(watcher->ReadLine(line));
        const std::regex expected(R"(\{"seconds":0.000000,"kind":"request","from":"client","to":"server","task":"t",)"
                                  R"("name":"0x2","id":2,"size":36,"verdict":"ok","ms":[0-9.]+.*)");
        EXPECT_TRUE(std::regex_match(line, expected)) << line;
    }
    watchers[0]->Signal(SIGSTOP);
    EXPECT_EQ(client.Ask("sendmany server t 3 3000"), "sent 3000");  // more than a watcher's queue holds
    for (const auto& watcher : watchers) {
        watcher->Signal(SIGTERM);
    }
    watchers[0]->Signal(SIGCONT);
    EXPECT_EQ(client.Ask("call server t 2 36 0"), "reply 36 uid " + kUid);
    for (const auto& watcher : watchers) {
        EXPECT_EQ(watcher->Wait(), 0);
    }
    EXPECT_NE(access((directory + "/monitor.0+").c_str(), F_OK), 0);
    EXPECT_EQ(client.Ask("call server t 2 36 0"), "reply 36 uid " + kUid);
}

}  // namespace
