// Names, the bus directory, and what happens to a process: forks, exits, other users.
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <signal.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "bus_peer.h"
#include "bus_peer_ids.h"

namespace {

using Lines = std::vector<std::string>;
const std::string kUid = std::to_string(geteuid());

bool Exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

// One line that names the reason.
void ExpectRefused(const Environment& environment, const std::string& reason) {
    Peer peer(environment);
    EXPECT_EQ(peer.Ask("join x"), "5") << reason;
    const std::string errors = peer.Errors();
    EXPECT_NE(errors.find(reason), std::string::npos) << errors;
    EXPECT_EQ(LinesOf(errors), 1) << errors;
}

TEST_F(BusTest, DirectoriesThatAreNotToBeTrustedAreRefused) {
    const auto shared = [](const std::string& path) { return Environment{{"ORVI_BUS_DIR", path}}; };
    ExpectRefused(shared(directory + "/missing"), "No such file or directory");
    ExpectRefused(shared("relative"), "not an absolute path");
    ExpectRefused(shared("/tmp/" + std::string(80, 'x')), "too long for a socket's address");
    std::ofstream(directory + "/file") << "x";
    ExpectRefused(shared(directory + "/file"), "not a directory");
    ASSERT_EQ(mkdir((directory + "/open").c_str(), 0700), 0);
    ASSERT_EQ(chmod((directory + "/open").c_str(), 0777), 0);
    ExpectRefused(shared(directory + "/open"), "everybody may write to it (mode 0777)");
    ASSERT_EQ(symlink(directory.c_str(), (directory + "/link").c_str()), 0);
    ExpectRefused(shared(directory + "/link"), "a symbolic link");
    ExpectRefused(shared(directory + "/link/"), "a symbolic link");
    if (geteuid() == 0) {
        ASSERT_EQ(mkdir((directory + "/foreign").c_str(), 0700), 0);
        ASSERT_EQ(chown((directory + "/foreign").c_str(), 12345, 0), 0);
        ExpectRefused(shared(directory + "/foreign"), "owned by uid 12345");
    }
    ASSERT_EQ(mkdir((directory + "/orvi-bus").c_str(), 0755), 0);
    ASSERT_EQ(chmod((directory + "/orvi-bus").c_str(), 0755), 0);
    ExpectRefused({{"XDG_RUNTIME_DIR", directory}}, "its mode is 0755, not 0700");
    const auto temporary = [&](const std::string& file) {
        return Environment{{"TMPDIR", directory + file}, {"XDG_RUNTIME_DIR", ""}};
    };
    ExpectRefused(temporary("/file"), "Not a directory");
    ExpectRefused(temporary("/missing"), "it cannot be made: No such file or directory");
}

TEST_F(BusTest, ThePrivateDirectoryIsMadeAndKeptPrivate) {
    Peer first({{"XDG_RUNTIME_DIR", directory}});
    ASSERT_EQ(first.Ask("umask 0"), "0");
    ASSERT_EQ(first.Ask("join a"), "0");
    ASSERT_EQ(first.Ask("task t"), "0");
    EXPECT_EQ(ModeOf(directory + "/orvi-bus"), 0700U);
    EXPECT_EQ(ModeOf(directory + "/orvi-bus/a:t"), 0600U);
    EXPECT_EQ(ModeOf(directory + "/orvi-bus/a.lock"), 0600U);
    // Without a runtime directory of one's own: the temporary directory.
    const Environment environment{{"XDG_RUNTIME_DIR", directory + "/missing"}, {"TMPDIR", directory}};
    Peer second(environment);
    ASSERT_EQ(second.Ask("umask 277"), "0");  // takes away what the owner needs
    Run(&second, "a", "t");
    EXPECT_EQ(ModeOf(directory + "/orvi-bus-" + kUid), 0700U);
    EXPECT_EQ(ModeOf(directory + "/orvi-bus-" + kUid + "/a:t"), 0600U);
    Peer third(environment);
    ASSERT_EQ(third.Ask("join b"), "0");
    EXPECT_EQ(third.Ask("call a t 2 3 0"), "reply 3 uid " + kUid);
}

TEST_F(BusTest, NamesAreUniqueAndLeftoversAreTakenOver) {
    Peer& holder = StartTask("server", "t");
    Peer& second = Start();
    EXPECT_EQ(second.Ask("join server"), "4");
    EXPECT_NE(second.Errors().find("process " + std::to_string(holder.Pid()) + " has that name"), std::string::npos)
        << second.Errors();
    // Killed, and not waited for: the name may be held for a moment longer.
    holder.KillWithoutWait();
    EXPECT_EQ(second.Ask("join server"), "0") << second.Errors();
    EXPECT_FALSE(Exists(directory + "/server:t"));
    ASSERT_EQ(second.Ask("task other"), "0");
    Peer& client = StartTask("client", "c");
    EXPECT_EQ(client.Ask("send server t 1 0"), "6");
    EXPECT_EQ(client.Ask("send server other 1 0"), "0");
}

TEST_F(BusTest, AnyFifteenBytesMakeAName) {
    Peer& server = Start();
    EXPECT_EQ(server.Ask("join 0123456789abcdef"), "1");
    EXPECT_EQ(server.Ask("join"), "1");
    ASSERT_EQ(server.Ask("join ../a:b%.lock~\x01\xff"), "0");
    ASSERT_EQ(server.Ask("task .0123456789/:%~"), "0");
    ASSERT_EQ(server.Ask("task t"), "0");
    ASSERT_EQ(server.Ask("run .0123456789/:%~"), "0");
    Peer& client = StartTask("client", "c");
    EXPECT_EQ(client.Ask("call ../a:b%.lock~\x01\xff .0123456789/:%~ 2 3 0"), "reply 3 uid " + kUid);
    EXPECT_TRUE(Exists(directory + "/%2E.%2Fa%3Ab%25.lock%7E%01%FF:t"));
    EXPECT_EQ(server.Ask("task 0123456789abcdef"), "1");
}

TEST_F(BusTest, JoiningTogetherGivesEveryNameOnce) {
    std::vector<Peer*> peers;
    for (int i = 0; i < 12; ++i) {
        peers.push_back(&Start());
    }
    for (size_t i = 0; i < peers.size(); ++i) {
        peers[i]->Tell("join name" + std::to_string(i % 4));
    }
    int joined = 0;
    for (Peer* peer : peers) {
        const std::string answer = peer->Answer();
        joined += answer == "0" ? 1 : 0;
        EXPECT_TRUE(answer == "0" || answer == "4") << answer << peer->Errors();
    }
    EXPECT_EQ(joined, 4);
}

// The file that serialises joining is held by a process that does not let go.
TEST_F(BusTest, JoiningWaitsABoundedTime) {
    const int file = open((directory + "/.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(file, F_SETLK, &lock), 0);
    Peer& peer = Start();
    EXPECT_EQ(peer.Ask("join a"), "10");
    EXPECT_NE(peer.Errors().find("no lock on " + directory), std::string::npos) << peer.Errors();
    close(file);
    EXPECT_EQ(peer.Ask("join a"), "0");
}

TEST_F(BusTest, SettingsAreCheckedAndTheTerminalIsNotFlooded) {
    Peer& quiet = Start();
    ASSERT_EQ(quiet.Ask("level 3"), "0");
    ASSERT_EQ(quiet.Ask("join quiet"), "0");
    EXPECT_EQ(quiet.Errors(), "");
    EXPECT_EQ(quiet.Ask("send nobody t 1 0"), "6");
    EXPECT_EQ(quiet.Errors(), "orvi bus error: message 0x1: nobody receives as nobody/t in " + directory +
                                  "; does that process run, and with the same bus directory (ORVI_BUS_DIR, user)?\n");
    Peer& talkative = Start({{"ORVI_BUS_LOG", "3"}});
    ASSERT_EQ(talkative.Ask("level 3"), "0");
    ASSERT_EQ(talkative.Ask("join talkative"), "0");
    EXPECT_NE(talkative.Errors().find("joined as 'talkative' in " + directory), std::string::npos);
    for (const char* value : {"0", "86400001", "12x", "-1", " 5", "99999999999999999999"}) {
        Peer& wrong = Start({{"ORVI_BUS_SEND_WAIT_MS", value}});
        ASSERT_EQ(wrong.Ask("join wrong"), "0");
        const std::string expected = "orvi bus error: ORVI_BUS_SEND_WAIT_MS='" + std::string(value) +
                                     "' is no number from 1 to 86400000; taking 1000\n";
        EXPECT_EQ(wrong.Errors(), expected);
        wrong.Kill();
    }
}

TEST_F(BusTest, NoDescriptorReachesAProgramThatIsStarted) {
    Peer& server = Start();
    const std::string before = server.Ask("inherited");
    ASSERT_EQ(server.Ask("join server"), "0");
    ASSERT_EQ(server.Ask("task t"), "0");
    ASSERT_EQ(server.Ask("watch t client"), "0");
    ASSERT_EQ(server.Ask("run t"), "0");
    Peer& client = StartTask("client", "c");
    EXPECT_EQ(client.Ask("call server t 3 3 0"), "reply 3 uid " + kUid);
    EXPECT_EQ(server.Ask("call client c 3 3 0"), "reply 3 uid " + kUid);
    EXPECT_EQ(server.Ask("inherited"), before);
}

TEST_F(BusTest, AForkedChildDoesNotKeepItsParentAlive) {
    Peer& watcher = StartWatcher();
    Peer& server = StartTask("server", "t");
    EXPECT_EQ(watcher.Next(), "start server " + kUid);
    Peer& client = StartTask("client", "c");
    EXPECT_EQ(client.Ask("call server t 2 3 0"), "reply 3 uid " + kUid);
    EXPECT_EQ(server.Ask("call watcher w 2 3 0"), "reply 3 uid " + kUid);
    const pid_t child = std::stoi(server.Ask("fork"));
    // The parent goes on undisturbed.
    EXPECT_EQ(client.Ask("call server t 2 3 0"), "reply 3 uid " + kUid);
    EXPECT_EQ(server.Ask("call watcher w 2 3 0"), "reply 3 uid " + kUid);
    client.Tell("call server t " + std::to_string(kAnswerLater) + " 0 0");
    while (server.Next() != "message t 7 0 " + kUid) {
    }
    server.Kill();
    EXPECT_EQ(client.Answer(), "error 8");
    EXPECT_EQ(client.Ask("call server t 2 3 0"), "error 6");
    EXPECT_EQ(watcher.Next(), "message w 2 3 " + kUid);
    EXPECT_EQ(watcher.Next(), "message w 2 3 " + kUid);
    EXPECT_EQ(watcher.Next(), "exit server " + kUid);
    StartTask("server", "t");
    EXPECT_EQ(watcher.Next(), "start server " + kUid);
    EXPECT_EQ(kill(child, SIGKILL), 0);
}

TEST_F(BusPair, AChildForkedInsideAHandlerIsOffTheBus) {
    ASSERT_EQ(client->Ask("send server t " + std::to_string(kForkInside) + " 0"), "0");
    Lines told{server->Next(), server->Next(), server->Next()};
    EXPECT_EQ(told, (Lines{"message t 16 0 " + kUid, "child 9 9 9", "loop t 9"}));
    EXPECT_EQ(client->Ask("call server t 2 3 0"), "reply 3 uid " + kUid);
}

// Exit handlers run while messages arrive and other threads are inside the bus.
TEST_F(BusTest, ExitIsCleanWheneverItComes) {
    for (const std::string& how : {std::string("handler"), std::string("main")}) {
        Peer& server = StartTask("server", "t");
        Peer& first = StartTask("first", "c", {{"ORVI_BUS_SEND_WAIT_MS", "50"}});
        Peer& second = StartTask("second", "c");
        EXPECT_EQ(server.Ask("call second c 2 3 0"), "reply 3 uid " + kUid);
        first.Tell("sendmany server t 1 100000");
        second.Tell("call server t " + std::to_string(kAnswerLater) + " 3 0");
        EXPECT_NE(server.Next(), "(ended)");
        if (how == "main") {
            server.Tell("return");
        } else {
            EXPECT_EQ(server.Ask("send server t " + std::to_string(kExitInside) + " 0"), "0");
        }
        while (server.Next() != "(ended)") {
        }
        EXPECT_EQ(server.WaitForExit(), 0) << server.Errors();
        EXPECT_EQ(server.Errors(), "");
        EXPECT_EQ(second.Answer().substr(0, 5), "error");
        EXPECT_EQ(first.Answer().substr(0, 5), "error");
        first.Kill();
        second.Kill();
    }
}

TEST_F(BusTest, UsersMeetInASharedDirectory) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to be several users";
    }
    constexpr gid_t kGroup = 4711;
    ASSERT_EQ(chown(directory.c_str(), 0, kGroup), 0);
    ASSERT_EQ(chmod(directory.c_str(), 02770), 0);
    const Environment environment{{"ORVI_BUS_DIR", directory}};
    Peer service(environment);
    ASSERT_EQ(service.Ask("umask 077"), "0");
    ASSERT_EQ(service.Ask("join service"), "0") << service.Errors();
    ASSERT_EQ(service.Ask("task s"), "0");
    ASSERT_EQ(service.Ask("watch s application"), "0");
    ASSERT_EQ(service.Ask("run s"), "0");
    EXPECT_EQ(ModeOf(directory + "/service:s"), 0660U);
    EXPECT_EQ(ModeOf(directory + "/service.lock"), 0640U);
    EXPECT_EQ(ModeOf(directory + "/.lock"), 0660U);
    Peer application(environment, 1000, kGroup);
    ASSERT_EQ(application.Ask("umask 077"), "0");
    ASSERT_EQ(application.Ask("join application"), "0") << application.Errors();
    ASSERT_EQ(application.Ask("task a"), "0");
    ASSERT_EQ(application.Ask("watch a service"), "0");
    ASSERT_EQ(application.Ask("run a"), "0");
    EXPECT_EQ(service.Next(), "start application 0");
    // Everybody is known by the uid that the kernel knows.
    EXPECT_EQ(application.Ask("call service s 2 3 0"), "reply 3 uid 0");
    EXPECT_EQ(service.Next(), "message s 2 3 1000");
    EXPECT_EQ(service.Ask("call application a 2 3 0"), "reply 3 uid 1000");
    EXPECT_EQ(application.Next(), "message a 2 3 0");
    service.Kill();
    EXPECT_EQ(application.Next(), "exit service 1000");
    // Each may take over what another user's dead process left.
    Peer successor(environment, 500, kGroup);
    Run(&successor, "service", "s");
    EXPECT_EQ(application.Next(), "start service 1000");
    EXPECT_EQ(application.Ask("call service s 2 3 0"), "reply 3 uid 500");
    // Without the group there is no way in.
    Peer stranger(environment, 600, 600);
    EXPECT_EQ(stranger.Ask("join stranger"), "5");
    EXPECT_NE(stranger.Errors().find("Permission denied"), std::string::npos) << stranger.Errors();
}

// Applications that are killed within milliseconds of joining: every start is followed by its exit, and what is left of
// them goes. ORVI_TEST_APPLICATIONS asks for another number.
TEST_F(BusTest, ApplicationsThatDieYoungLeaveNothing) {
    constexpr int kNames = 100;
    const char* asked = getenv("ORVI_TEST_APPLICATIONS");
    const int rounds = std::max(asked != nullptr ? std::atoi(asked) / kNames : 3, 1);
    Peer& watcher = StartWatcher();
    for (int i = 0; i < kNames; ++i) {
        ASSERT_EQ(watcher.Ask("watch w young" + std::to_string(i)), "0");
    }
    const std::string before = watcher.Ask("stat");
    Peer& parent = Start();
    std::set<std::string> running;
    const auto take = [&](const std::string& line) {
        const std::string name = line.substr(line.find(' ') + 1);
        EXPECT_TRUE(line.rfind("start ", 0) == 0 ? running.insert(name).second : running.erase(name) == 1) << line;
    };
    for (int round = 0; round < rounds; ++round) {
        ASSERT_EQ(parent.Ask("churn " + std::to_string(kNames) + " young joined 5000"), "100 joined");
        for (const std::string& line : watcher.Seen()) {
            take(line);
        }
    }
    while (!running.empty()) {
        take(watcher.Next());
    }
    AwaitStat(&watcher, before);
    ASSERT_EQ(Start().Ask("join last"), "0");
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const std::string file = entry.path().filename();
        EXPECT_TRUE(file.rfind("young", 0) != 0 || file.find_first_of(":~") == std::string::npos) << file;
    }
}

// Somebody tidies up under a running process: it says so, and is back for everybody or ends in words.
TEST_F(BusTest, WhatIsDeletedUnderARunningProcessComesBackOrIsTold) {
    const std::string aside = directory + "~";
    for (const std::string what : {"server:t", "server.lock", "server:t server.lock .lock", "directory", "for good"}) {
        Peer& watcher = StartTask("watcher", "w");
        Peer& server = StartTask("server", "t");
        ASSERT_EQ(server.Ask("watch t nobody"), "0");
        ASSERT_EQ(watcher.Ask("watch w server"), "0");
        (void)watcher.Seen();
        if (what == "directory") {
            ASSERT_EQ(mkdir(aside.c_str(), 0700), 0);
            ASSERT_EQ(renameat2(AT_FDCWD, directory.c_str(), AT_FDCWD, aside.c_str(), RENAME_EXCHANGE), 0);
        } else if (what == "for good") {
            ASSERT_EQ(rename(directory.c_str(), aside.c_str()), 0);
        }
        std::istringstream names(what);
        for (std::string name; names >> name;) {
            (void)unlink((directory + "/" + name).c_str());
        }
        if (what == "for good") {
            EXPECT_EQ(server.Next(), "loop t 5");
            EXPECT_NE(server.Errors().find("cannot be put back"), std::string::npos) << server.Errors();
        } else {
            const auto reached = [&] {
                Peer client({{"ORVI_BUS_DIR", directory}});
                return Exists(directory + "/server.lock") && client.Ask("join client") == "0" &&
                       client.Ask("call server t 3 1 0") == "reply 1 uid " + kUid;
            };
            const auto deadline = std::chrono::steady_clock::now() + orvi_test::PATIENCE;
            bool back = false;
            while (!back && std::chrono::steady_clock::now() < deadline) {
                back = LinesOf(server.Errors()) != 0 && reached();
            }
            EXPECT_TRUE(back) << what;
            EXPECT_NE(server.Errors().find("they have been put back"), std::string::npos) << server.Errors();
            EXPECT_EQ(watcher.Seen(), Lines{}) << what;
            EXPECT_EQ(Start().Ask("join server"), "4") << what;
            server.Kill();
            EXPECT_EQ(watcher.Next(), "exit server " + kUid) << what;
        }
        server.Kill();
        watcher.Kill();
        std::filesystem::remove_all(aside);
    }
}

// A name that is held where the holder cannot be seen from.
TEST_F(BusTest, AnotherPidNamespaceIsNamed) {
    Peer elsewhere({{"ORVI_BUS_DIR", directory}}, {"/usr/bin/unshare", "--pid", "--fork", "--kill-child", "--"});
    if (elsewhere.Ask("name") != "none") {
        GTEST_SKIP() << "needs the right to make a pid namespace: " << elsewhere.Errors();
    }
    StartTask("server", "t");
    EXPECT_EQ(elsewhere.Ask("join server"), "4");
    const std::string errors = elsewhere.Errors();
    EXPECT_NE(errors.find("pid namespace"), std::string::npos) << errors;
    EXPECT_EQ(LinesOf(errors), 1) << errors;
}

}  // namespace
