// Starts and leads the processes of the bus tests.
#ifndef ORVI_TESTS_BUS_PEER_H
#define ORVI_TESTS_BUS_PEER_H

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <signal.h>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "child_process.h"
#include "read_file.h"

using Environment = std::vector<std::pair<std::string, std::string>>;

// One process that runs tests/host/bus_peer.cpp. Ends when the object does.
class Peer {
 public:
    // `wrapper` is a command with an absolute path that runs the process with something changed.
    explicit Peer(const Environment& environment, const std::vector<std::string>& wrapper = {});
    // The process gives up root for `uid`, with `gid` as its only group, once it runs: the other user need not be able
    // to read the build tree.
    Peer(const Environment& environment, uid_t uid, gid_t gid);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // Sends a command; its answer, without the "= ".
    std::string Ask(const std::string& command);
    void Tell(const std::string& command) { process_.WriteLine(command); }
    std::string Answer();
    // The next line that is no answer, whenever it comes; "(ended)" when none comes any more.
    std::string Next();
    // Lines that have come up to the answer of a command that is sent now.
    std::vector<std::string> Seen();
    // What it has written to standard error so far.
    std::string Errors() const { return orvi_test::ReadFile(errorPath_); }

    void Kill();  // SIGKILL, and waits for the end
    void Signal(int signal) { process_.Signal(signal); }
    void KillWithoutWait() { process_.Signal(SIGKILL); }  // the end comes soon
    int WaitForExit() { return process_.Wait(); }         // exit code, or minus the signal that ended it
    pid_t Pid() const { return process_.Pid(); }
    bool IsAlive() const { return process_.IsAlive(); }

 private:
    const std::string errorPath_;
    orvi_test::ChildProcess process_;
    std::deque<std::string> lines_;
};

// A bus directory of the test's own, and the peers in it. Checks at the end that no living peer has kept a reply block.
class BusTest : public testing::Test {
 protected:
    void SetUp() override;
    void TearDown() override;

    // A peer in the test's directory, in shared mode. Where `more` does not ask for it, it waits patiently and does not
    // tell of slow handlers: a sanitizer on a busy machine takes seconds for a large message.
    Peer& Start(Environment more = {});
    // The same, joined under `proc` with a running task.
    Peer& StartTask(const std::string& proc, const std::string& task, const Environment& more = {});

    // The same as Start, and the caller's to end.
    std::unique_ptr<Peer> StartAlone(Environment more = {}) const;

    // Joins a peer under `proc` and runs a task of it.
    static void Run(Peer* peer, const std::string& proc, const std::string& task);
    static void RunTask(Peer* peer, const std::string& task);  // one that has joined

    // The handler of a task stands still from here to LetGo.
    static void HoldUp(Peer* peer, const std::string& proc, const std::string& task);
    static void LetGo(Peer* peer);

    // A process "watcher" whose task "w" watches "server".
    Peer& StartWatcher();

    std::string directory;

 private:
    std::vector<std::unique_ptr<Peer>> peers_;
};

// Permissions of a file; 0 when it is not there.
mode_t ModeOf(const std::string& path);

// With a process "server" that runs the task "t", and another, "client" with "c".
class BusPair : public BusTest {
 protected:
    void SetUp() override;

    Peer* server = nullptr;
    Peer* client = nullptr;
};

inline long LinesOf(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

// Waits until the peer has the descriptors and threads that it had when it answered "stat" with `before`.
void AwaitStat(Peer* peer, const std::string& before);

#endif
