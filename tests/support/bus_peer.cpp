#include "bus_peer.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string MakeFile() {
    char path[] = "/tmp/orvi-peer-XXXXXX";
    close(mkostemp(path, O_CLOEXEC));
    return path;
}

std::vector<std::string> Wrapper(const Environment& environment, std::vector<std::string> words) {
    words.insert(words.end(), {"/usr/bin/env", "--unset=ORVI_BUS_DIR"});
    for (const auto& [name, value] : environment) {
        words.push_back(name + "=" + value);
    }
    return words;
}

}  // namespace

mode_t ModeOf(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

Peer::Peer(const Environment& environment, const std::vector<std::string>& wrapper)
    : errorPath_(MakeFile()), process_("orvi-test-bus-peer", {}, errorPath_, Wrapper(environment, wrapper)) {}

Peer::Peer(const Environment& environment, uid_t uid, gid_t gid) : Peer(environment) {
    EXPECT_EQ(Ask("become " + std::to_string(uid) + " " + std::to_string(gid)), "0");
}

Peer::~Peer() {
    unlink(errorPath_.c_str());
}

std::string Peer::Answer() {
    std::string line;
    while (process_.ReadLine(line)) {
        if (line.compare(0, 2, "= ") == 0) {
            return line.substr(2);
        }
        lines_.push_back(line);
    }
    return "(ended) " + Errors();
}

std::string Peer::Ask(const std::string& command) {
    Tell(command);
    return Answer();
}

std::string Peer::Next() {
    if (!lines_.empty()) {
        std::string line = lines_.front();
        lines_.pop_front();
        return line;
    }
    std::string line;
    return process_.ReadLine(line) ? line : "(ended)";
}

std::vector<std::string> Peer::Seen() {
    (void)Ask("name");
    std::vector<std::string> seen(lines_.begin(), lines_.end());
    lines_.clear();
    return seen;
}

void Peer::Kill() {
    KillWithoutWait();
    (void)WaitForExit();
}

void AwaitStat(Peer* peer, const std::string& before) {
    const auto deadline = std::chrono::steady_clock::now() + orvi_test::PATIENCE;
    std::string now = peer->Ask("stat");
    while (now != before && now.rfind("fds ", 0) == 0 && std::chrono::steady_clock::now() < deadline) {
        now = peer->Ask("stat");
    }
    EXPECT_EQ(now, before);
}

void BusTest::SetUp() {
    char name[] = "/tmp/orvi-bus-XXXXXX";
    directory = mkdtemp(name);
}

void BusTest::TearDown() {
    for (const auto& peer : peers_) {
        if (peer->IsAlive()) {
            const std::string stat = peer->Ask("stat");
            EXPECT_NE(stat.find("replies 0"), std::string::npos) << stat;
        }
    }
    peers_.clear();
    EXPECT_EQ(std::system(("rm -rf " + directory).c_str()), 0);
}

std::unique_ptr<Peer> BusTest::StartAlone(Environment more) const {
    more.insert(more.begin(),
                {{"ORVI_BUS_DIR", directory},
                 {"ORVI_BUS_SLOW_MS", "0"},
                 {"ORVI_BUS_SEND_WAIT_MS", std::to_string(std::chrono::milliseconds(orvi_test::PATIENCE).count())}});
    return std::make_unique<Peer>(more);
}

Peer& BusTest::Start(Environment more) {
    peers_.push_back(StartAlone(std::move(more)));
    return *peers_.back();
}

Peer& BusTest::StartTask(const std::string& proc, const std::string& task, const Environment& more) {
    Peer& peer = Start(more);
    Run(&peer, proc, task);
    EXPECT_EQ(peer.Ask("call " + proc + " " + task + " 3 0 0").substr(0, 7), "reply 0");  // the loop runs
    return peer;
}

void BusTest::Run(Peer* peer, const std::string& proc, const std::string& task) {
    EXPECT_EQ(peer->Ask("join " + proc), "0") << peer->Errors();
    RunTask(peer, task);
}

void BusTest::RunTask(Peer* peer, const std::string& task) {
    EXPECT_EQ(peer->Ask("task " + task), "0") << peer->Errors();
    EXPECT_EQ(peer->Ask("run " + task), "0");
}

void BusTest::HoldUp(Peer* peer, const std::string& proc, const std::string& task) {
    constexpr int kBlock = 8;  // tests/host/bus_peer_ids.h
    ASSERT_EQ(peer->Ask("send " + proc + " " + task + " " + std::to_string(kBlock) + " 0"), "0");
    ASSERT_EQ(peer->Next(), "message " + task + " 8 0 " + std::to_string(geteuid()));
}

void BusTest::LetGo(Peer* peer) {
    EXPECT_EQ(peer->Ask("release 1"), "0");
    EXPECT_EQ(peer->Next(), "unblocked");
}

Peer& BusTest::StartWatcher() {
    Peer& watcher = Start();
    EXPECT_EQ(watcher.Ask("join watcher"), "0");
    EXPECT_EQ(watcher.Ask("task w"), "0");
    EXPECT_EQ(watcher.Ask("watch w server"), "0") << watcher.Errors();
    EXPECT_EQ(watcher.Ask("run w"), "0");
    return watcher;
}

void BusPair::SetUp() {
    BusTest::SetUp();
    server = &StartTask("server", "t");
    client = &StartTask("client", "c");
}
