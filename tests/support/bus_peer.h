// Starts and leads the processes of the bus tests.
#ifndef ORVI_TESTS_BUS_PEER_H
#define ORVI_TESTS_BUS_PEER_H

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

using Environment = std::vector<std::pair<std::string, std::string>>;

// One process that runs tests/host/bus_peer.cpp. Ends with its forked children when the object does.
class Peer {
 public:
    // `uid` other than -1: the process gives up root for that uid, with `gid` as its only group.
    explicit Peer(const Environment& environment, uid_t uid = static_cast<uid_t>(-1), gid_t gid = 0);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // Sends a command; its answer, without the "= ".
    std::string Ask(const std::string& command);
    void Tell(const std::string& command);
    std::string Answer();
    // The next line that is no answer, whenever it comes; "(ended)" after the end of the process, "(nothing)" after a
    // time that only a hang exceeds.
    std::string Next();
    // Lines that have come up to the answer of a command that is sent now.
    std::vector<std::string> Seen();
    // What it has written to standard error so far.
    std::string Errors() const;

    void Kill();        // SIGKILL, and waits for the end
    int WaitForExit();  // exit code, or -1 after a signal
    void KillWithoutWait();
    pid_t Pid() const { return pid_; }
    bool IsAlive() const;

 private:
    bool ReadLine(std::string* line);

    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string errorPath_;
    std::string received_;
    std::deque<std::string> lines_;
};

// A bus directory of the test's own, and the peers in it. Checks at the end that the test process has the descriptors
// that it had at the beginning, and that no living peer has kept a reply block.
class BusTest : public testing::Test {
 protected:
    void SetUp() override;
    void TearDown() override;

    // A peer in the test's directory, in shared mode. It waits patiently where `more` sets no wait: a sanitizer on a
    // busy machine takes seconds for a large message.
    Peer& Start(Environment more = {});
    // The same, joined under `proc` with a running task.
    Peer& StartTask(const std::string& proc, const std::string& task, const Environment& more = {});

    std::string directory;

 private:
    std::vector<std::unique_ptr<Peer>> peers_;
    size_t descriptors_ = 0;
};

size_t OpenDescriptors();

#endif
