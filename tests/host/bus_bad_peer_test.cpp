// Peers that are not this library, or not honest: raw sockets at both ends.
#include <fstream>
#include <poll.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "bus_peer.h"
#include "bus_peer_ids.h"
#include "frames.h"

namespace {

using orvi_bus::FrameKind;
using orvi_test::ReadFile;
using Lines = std::vector<std::string>;
const std::string kUid = std::to_string(geteuid());

// What tests/host/bus_peer.cpp takes for an undamaged payload.
Bytes Payload(uint32_t length) {
    Bytes payload(length);
    for (uint32_t i = 0; i < length; ++i) {
        payload[i] = static_cast<uint8_t>((i * 31 + length) & 0xFF);
    }
    return payload;
}

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

class Socket {
 public:
    explicit Socket(int fd) : fd_(fd) {}
    explicit Socket(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = Address(path);
        EXPECT_EQ(connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0) << path;
    }
    Socket(Socket&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    ~Socket() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    static sockaddr_un Address(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        return address;
    }

    void Send(const Bytes& bytes) const {
        EXPECT_EQ(send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    // As much as the kernel takes now.
    size_t SendSome(const uint8_t* bytes, size_t size) const {
        const ssize_t sent = send(fd_, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        return sent > 0 ? static_cast<size_t>(sent) : 0;
    }
    // True when the other end closes the connection, which has sent nothing.
    bool IsEnded() const {
        pollfd entry{fd_, POLLIN, 0};
        char byte = 0;
        return poll(&entry, 1, 60000) == 1 && recv(fd_, &byte, 1, 0) <= 0;
    }
    bool ReadExactly(size_t size, Bytes* bytes) const {
        bytes->resize(size);
        return recv(fd_, bytes->data(), size, MSG_WAITALL) == static_cast<ssize_t>(size);
    }
    int Get() const { return fd_; }

 private:
    int fd_;
};

long LinesOf(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

TEST_F(BusTest, LiesEndTheirConnectionWithOneLine) {
    Peer& server = StartTask("server", "t");
    Peer& client = StartTask("client", "c");
    const std::string path = directory + "/server:t";
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

TEST_F(BusTest, PeersThatComeAndGoLeaveNothing) {
    Peer& server = StartTask("server", "t");
    const std::string path = directory + "/server:t";
    const std::string before = server.Ask("stat");
    for (uint32_t i = 0; i < 1000; ++i) {
        const Socket socket(path);
        socket.Send(Greeting("raw", i) + Frame(FrameKind::kOneWay, 0, kNote, Payload(i % 50)));
    }
    for (uint32_t i = 0; i < 1000; ++i) {
        EXPECT_NE(server.Next(), "(ended)");
    }
    std::string now;
    for (int look = 0; look < 20000 && now != before; ++look) {
        now = server.Ask("stat");
    }
    EXPECT_EQ(now, before);
}

// One process sends more at once than it is lent memory for: some of its connections wait, and all arrive.
TEST_F(BusTest, APeersMemoryIsLimitedAndNothingIsLost) {
    Peer& server = StartTask("server", "t");
    const Bytes frame = Frame(FrameKind::kOneWay, 0, kNote, Payload(orvi_bus::kMaxDataLen));
    std::vector<Socket> sockets;
    std::vector<size_t> sent(7, 0);
    for (size_t i = 0; i < sent.size(); ++i) {
        sockets.emplace_back(directory + "/server:t");
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
    EXPECT_LT(total, 6 * frame.size());
    while (std::count(sent.begin(), sent.end(), frame.size()) < 7) {
        push(frame.size());  // each that is completed makes room for another
    }
    for (size_t i = 0; i < sent.size(); ++i) {
        ASSERT_EQ(server.Next(), "message t 1 16777216 " + kUid);
    }
    EXPECT_EQ(server.Errors(), "");
}

// Nobody reads the answer, which is larger than what the kernel takes: it fails in bounded time, and the task goes on.
TEST_F(BusTest, AnUnreadAnswerDoesNotHoldUpTheTask) {
    StartTask("server", "t", {{"ORVI_BUS_SEND_WAIT_MS", "50"}});
    Peer& client = StartTask("client", "c");
    const Socket socket(directory + "/server:t");
    socket.Send(Greeting("raw", 1) + Frame(FrameKind::kRequest, 1, kAnswerLarge, {}));
    client.Tell("call server t 2 5 0");
    EXPECT_EQ(client.Answer(), "reply 5 uid " + kUid);
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
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::max(limit.rlim_cur, static_cast<rlim_t>(most) + 100);
    limit.rlim_max = std::max(limit.rlim_max, limit.rlim_cur);
    Peer& server = StartTask("server", "t");  // with the limit as it was
    Peer& client = StartTask("client", "c", {{"ORVI_BUS_SEND_WAIT_MS", "50"}});
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        GTEST_SKIP() << "needs a higher limit of descriptors";
    }
    ASSERT_EQ(server.Ask("send server t " + std::to_string(kBlock) + " 0"), "0");
    ASSERT_EQ(server.Next(), "message t 8 0 " + kUid);
    {
        std::vector<Socket> sockets;
        for (long i = 0; i < most; ++i) {
            sockets.emplace_back(directory + "/server:t");
        }
        EXPECT_EQ(client.Ask("send server t 1 0"), "7");
        EXPECT_EQ(client.Ask("call server t 2 0 50"), "error 7");
        ASSERT_EQ(server.Ask("release 1"), "0");
        EXPECT_EQ(server.Next(), "unblocked");
        for (long i = 0; i < most / 2; ++i) {
            sockets.pop_back();  // the rest goes while the server is at work
        }
    }
    EXPECT_EQ(client.Ask("call server t 2 3 20000"), "reply 3 uid " + kUid);
    const std::string errors = server.Errors();
    EXPECT_TRUE(errors.empty() || errors.find("cannot accept connections for now") != std::string::npos) << errors;
    EXPECT_LE(LinesOf(errors), 1);
}

// The monitor hears of every message without its payload; nobody waits for it.
TEST_F(BusTest, TracingTellsAMonitorAndNeverWaits) {
    StartTask("server", "t");
    Peer& client = Start({{"ORVI_BUS_TRACE", "1"}});
    ASSERT_EQ(client.Ask("join client"), "0");
    EXPECT_EQ(client.Ask("send server t 1 5"), "0");  // nobody listens: lost
    const std::string errors = directory + "/errors";
    const std::vector<std::string> inDirectory{"/usr/bin/env", "ORVI_BUS_DIR=" + directory};
    const auto isListening = [&](const orvi_test::ChildProcess& started) {
        while (started.IsAlive() && ReadFile(errors).find("listening") == std::string::npos) {
            (void)sched_yield();
        }
        return started.IsAlive() && unlink(errors.c_str()) == 0;
    };
    {
        orvi_test::ChildProcess killed("orvi-bus-monitor", {}, errors, inDirectory);
        ASSERT_TRUE(isListening(killed));
        EXPECT_EQ(orvi_test::ChildProcess("orvi-bus-monitor", {}, errors, inDirectory).Wait(), 1);
        EXPECT_NE(ReadFile(errors).find("another monitor"), std::string::npos) << ReadFile(errors);
    }
    orvi_test::ChildProcess monitor("orvi-bus-monitor", {}, errors, inDirectory);
    ASSERT_TRUE(isListening(monitor)) << ReadFile(errors);
    EXPECT_EQ(client.Ask("call server t 2 36 0"), "reply 36 uid " + kUid);
    std::string line;
    ASSERT_TRUE(monitor.ReadLine(line));
    EXPECT_EQ(line, "    0.000000 request client server/t id=0x2 seq=1 len=36 result=0 lost=1");
    monitor.Signal(SIGSTOP);
    EXPECT_EQ(client.Ask("sendmany server t 3 3000"), "sent 3000");  // more than a monitor's queue holds
    monitor.Signal(SIGTERM);
    monitor.Signal(SIGCONT);
    EXPECT_EQ(monitor.Wait(), 0);
    EXPECT_NE(access((directory + "/monitor").c_str(), F_OK), 0);
}

}  // namespace
