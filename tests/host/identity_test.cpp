// Names, records and the bus directory as processes leave them to each other. The test process itself is on the bus as
// "watcher", by its identity alone; the others are whole members.
#include "membership/identity.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <optional>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bus_peer.h"
#include "child.h"
#include "leak_check.h"
#include "membership/join_lock.h"
#include "membership/sweep.h"

namespace {

using orvi_bus::Identity;
using orvi_bus::kRecordSize;
using orvi_bus::Presence;

const std::string kUid = std::to_string(geteuid());
thread_local long g_allocationsLeft = -1;  // negative: no limit

void Write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::string RecordOf(const char* name, const orvi_bus::Record& record) {
    uint8_t bytes[kRecordSize];
    EncodeRecord(record, name, orvi_bus::ThisBoot(), bytes);
    return {reinterpret_cast<const char*>(bytes), sizeof(bytes)};
}

// "absent", "unknown ERRNO" or "alive|dead started|joined PID UID EARLIER".
std::string Describe(const Presence& presence) {
    if (presence.seen != Presence::Seen::kThere) {
        return presence.seen == Presence::Seen::kAbsent ? "absent" : "unknown " + std::to_string(presence.error);
    }
    return std::string(presence.alive ? "alive" : "dead") + (presence.latest.started ? " started " : " joined ") +
           std::to_string(presence.latest.pid) + ' ' + std::to_string(presence.owner) + ' ' +
           std::to_string(presence.earlierCount);
}

std::string Described(const char* what, pid_t pid, size_t earlier = 0) {
    return std::string(what) + ' ' + std::to_string(pid) + ' ' + kUid + ' ' + std::to_string(earlier);
}

class BusIdentity : public BusTest {
 protected:
    void SetUp() override {
        BusTest::SetUp();
        ASSERT_EQ(setenv("ORVI_BUS_DIR", directory.c_str(), 1), 0);
        watcher.emplace();
    }
    void TearDown() override {
        watcher.reset();
        BusTest::TearDown();
    }
    // Lets the group use the directory, as far as this user may.
    static void Share(const std::string& path) {
        EXPECT_EQ(chown(path.c_str(), static_cast<uid_t>(-1), kGroup), geteuid() == 0 ? 0 : -1);
        EXPECT_EQ(chmod(path.c_str(), 02770), 0);
    }
    void JoinAsWatcher() { ASSERT_EQ(watcher->Join("watcher"), 0); }
    Peer& Join(const std::string& name) {
        Peer& peer = Start();
        EXPECT_EQ(peer.Ask("join " + name), "0") << peer.Errors();
        return peer;
    }
    std::string Look(const char* name) const { return Describe(watcher->Look(name)); }
    std::string At(const std::string& file) const { return directory + '/' + file; }
    std::set<std::string> Files() const {
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            files.insert(entry.path().filename());
        }
        return files;
    }

    static constexpr gid_t kGroup = 4711;
    std::optional<Identity> watcher;
};

TEST(BusRecord, OneThatCannotBeTrueIsNotBelieved) {
    orvi_bus::Record record;
    record.latest = {5000, 7, true};
    record.earlier[0] = {4000, 6, false};
    record.earlier[1] = {3000, INT32_MAX, true};
    record.earlierCount = 2;
    const orvi_bus::BootId boot = orvi_bus::ThisBoot();
    const auto believed = [&](const std::string& bytes, uint64_t now, const char* name = "name") {
        orvi_bus::Record read;
        return DecodeRecord(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), name, boot, now, &read);
    };
    const std::string good = RecordOf("name", record);
    ASSERT_TRUE(believed(good, 5000));
    EXPECT_FALSE(believed(good, 5000, "nam"));
    EXPECT_FALSE(believed(good, 5000, "names"));
    EXPECT_FALSE(believed(good + '\0', 5000));
    EXPECT_FALSE(believed(good.substr(0, good.size() - 1), 5000));
    constexpr size_t kOwn = 40;
    struct {
        const char* what;
        size_t at;
        std::string bytes;
    } const lies[] = {
        {"magic", 0, std::string(1, '\0')},
        {"version", 4, "\2"},
        {"33 earlier ones", 6, "\41"},
        {"an earlier one that is none", 6, "\3"},
        {"another boot", 24, std::string(1, static_cast<char>(~good[24]))},
        {"bytes behind the name", 8 + 15, "x"},
        {"an earlier number equal to the latest", kOwn + 16, good.substr(kOwn, 8)},
        {"a number in the far future", kOwn + 7, "\x7F"},
        {"a negative pid", kOwn + 11, "\x80"},
        {"started twice", kOwn + 12, "\2"},
        {"bytes behind it", kOwn + 15, "\1"},
    };
    for (const auto& lie : lies) {
        std::string bytes = good;
        EXPECT_FALSE(believed(bytes.replace(lie.at, lie.bytes.size(), lie.bytes), 5000)) << lie.what;
    }
    record.latest.number = 5000 + 1000000000;
    EXPECT_TRUE(believed(RecordOf("name", record), 5000));
    EXPECT_FALSE(believed(RecordOf("name", record), 4999));
}

// The first users of a shared directory come at the same moment, whatever their umask. Whoever looks sees no file under
// its name that another user could not use yet.
TEST_F(BusIdentity, TheFirstUseOfADirectoryIsCompleteAtOnce) {
    const bool severalUsers = geteuid() == 0;
    ASSERT_EQ(chmod(directory.c_str(), 0711), 0);
    for (int round = 0; round < 12; ++round) {
        const std::string shared = At(std::to_string(round)) + '/';
        ASSERT_EQ(mkdir(shared.c_str(), 0700), 0);
        Share(shared);
        std::vector<std::unique_ptr<Peer>> peers;
        for (int i = 0; i < 4; ++i) {
            const Environment environment{{"ORVI_BUS_DIR", shared}};
            peers.push_back(severalUsers && i % 2 == 1 ? std::make_unique<Peer>(environment, 1000, kGroup)
                                                       : std::make_unique<Peer>(environment));
            ASSERT_EQ(peers[i]->Ask(i < 2 ? "umask 277" : "umask 0"), "0");
        }
        std::set<std::string> expected{".lock"};
        for (size_t i = 0; i < peers.size(); ++i) {
            peers[i]->Tell("join m" + std::to_string(i));
            expected.insert("m" + std::to_string(i) + ".lock");
        }
        const auto deadline = std::chrono::steady_clock::now() + orvi_test::PATIENCE;
        for (size_t seen = 0; seen < expected.size() && std::chrono::steady_clock::now() < deadline;) {
            seen = 0;
            for (const std::string& file : expected) {
                const mode_t mode = ModeOf(shared + file);
                EXPECT_TRUE(mode == 0 || mode == (file == ".lock" ? 0660U : 0640U)) << file << ' ' << mode;
                seen += mode != 0 ? 1 : 0;
            }
        }
        for (const auto& peer : peers) {
            EXPECT_EQ(peer->Answer(), "0") << peer->Errors();
        }
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(shared)) {
            files.insert(entry.path().filename());
        }
        EXPECT_EQ(files, expected);
    }
}

TEST_F(BusIdentity, ARecordTellsOfThoseBeforeItUnderTheSameUser) {
    constexpr size_t kLives = Presence::kMostEarlier + 2;
    Share(directory);
    JoinAsWatcher();
    EXPECT_EQ(Look("name"), "absent");
    std::vector<uint64_t> numbers;
    for (size_t i = 0; i < kLives; ++i) {
        const size_t earlier = std::min(i, Presence::kMostEarlier);
        const bool starts = i % 2 == 0;
        Peer& peer = starts ? StartTask("name", "t") : Join("name");
        EXPECT_EQ(Look("name"), Described(starts ? "alive started" : "alive joined", peer.Pid(), earlier));
        numbers.push_back(watcher->Look("name").latest.number);
        peer.Kill();
        EXPECT_EQ(Look("name"), Described(starts ? "dead started" : "dead joined", peer.Pid(), earlier));
    }
    const Presence presence = watcher->Look("name");
    for (size_t i = 0; i < Presence::kMostEarlier; ++i) {
        EXPECT_EQ(presence.earlier[i].number, numbers[kLives - 2 - i]);
        EXPECT_EQ(presence.earlier[i].started, i % 2 == 0);
    }
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    // Whoever may read a record can lock it against writers; that makes nobody live.
    const pid_t reader = fork();
    if (reader == 0) {
        struct flock lock {};
        lock.l_type = F_RDLCK;
        _exit(fcntl(open(At("name.lock").c_str(), O_RDONLY), F_SETLK, &lock) == 0 ? raise(SIGSTOP) : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(reader, &status, WUNTRACED), reader);
    EXPECT_TRUE(WIFSTOPPED(status));
    EXPECT_EQ(Look("name").substr(0, 5), "dead ");
    kill(reader, SIGKILL);
    waitpid(reader, nullptr, 0);
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to be several users";
    }
    Peer other({{"ORVI_BUS_DIR", directory}}, 1000, kGroup);
    ASSERT_EQ(other.Ask("join name"), "0") << other.Errors();
    EXPECT_EQ(Look("name"), "alive joined " + std::to_string(other.Pid()) + " 1000 0");
    EXPECT_GT(watcher->Look("name").latest.number, numbers.back());
}

TEST_F(BusIdentity, WhatIsNoRecordIsAbsentAndReplaced) {
    JoinAsWatcher();
    orvi_bus::Record past;
    past.latest = {1, 1, true};
    orvi_bus::Record ahead;
    ahead.latest = {orvi_bus::NumberOfNow() + 3600ULL * 1000000000, 1, true};
    const std::string path = At("name.lock");
    const std::string own = At("watcher.lock");
    struct {
        const char* what;
        std::function<void()> make;
    } const cases[] = {
        {"empty", [&] { Write(path, ""); }},
        {"text", [&] { Write(path, "1234\n"); }},
        {"huge", [&] { Write(path, std::string(1 << 20, '\xFF')); }},
        {"of the future", [&] { Write(path, RecordOf("name", ahead)); }},
        {"another's", [&] { Write(path, RecordOf("other", past)); }},
        {"a symbolic link", [&] { EXPECT_EQ(symlink(own.c_str(), path.c_str()), 0); }},
        {"a pipe", [&] { EXPECT_EQ(mkfifo(path.c_str(), 0600), 0); }},
        {"the watcher's own record", [&] { EXPECT_EQ(link(own.c_str(), path.c_str()), 0); }},
    };
    for (const auto& c : cases) {
        c.make();
        EXPECT_EQ(Look("name"), "absent") << c.what;
        Peer& peer = Join("name");
        EXPECT_EQ(Look("name"), Described("alive joined", peer.Pid())) << c.what;
        EXPECT_EQ(std::filesystem::status(path).type(), std::filesystem::file_type::regular);
        // Only the last is a live process's.
        EXPECT_EQ(peer.Errors(), &c == &cases[7] ? "orvi bus error: process " + std::to_string(getpid()) + " holds " +
                                                       path + ", which is no record of that name: it is replaced\n"
                                                 : "");
        peer.Kill();
        ASSERT_EQ(unlink(path.c_str()), 0);
    }
    EXPECT_EQ(Start().Ask("join watcher"), "4") << "looks have cost the watcher its name";
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(Look("name"), "absent");
    Peer& peer = Start();
    EXPECT_EQ(peer.Ask("join name"), "10");
    EXPECT_NE(peer.Errors().find("name.lock: Is a directory"), std::string::npos) << peer.Errors();
}

// A process that closes its own record has given up its name, whatever name it was opened under.
TEST_F(BusIdentity, ARecordThatIsLinkedUnderAnotherNameStaysHeld) {
    Write(At("file"), "no record");
    // In a child, whose looks may leave descriptors open: those of its own record.
    InChild({}, "", [&] {
        JoinAsWatcher();
        const pid_t hostile = fork();
        while (hostile == 0) {  // comes between the look's first and second glance sometimes
            for (const char* file : {"file", "watcher.lock"}) {
                (void)link(At(file).c_str(), At("next").c_str());
                (void)rename(At("next").c_str(), At("other.lock").c_str());
            }
        }
        while (ModeOf(At("other.lock")) == 0) {
        }
        std::string seen = "absent";
        for (int i = 0; i < 20000 && seen == "absent"; ++i) {
            seen = Look("other");
        }
        EXPECT_EQ(seen, "absent");
        kill(hostile, SIGKILL);
        waitpid(hostile, nullptr, 0);
        Peer second({{"ORVI_BUS_DIR", directory}});
        EXPECT_EQ(second.Ask("join watcher"), "4");
    });
}

// The same of the lock under which processes join: whoever joins looks at what stands under its own name, and at old
// records of others.
TEST_F(BusIdentity, AJoinLockThatIsLinkedAsARecordStaysHeld) {
    orvi_bus::Directory place;
    std::string why;
    ASSERT_TRUE(orvi_bus::FindDirectory(&place, &why)) << why;
    const orvi_bus::Fd lock = orvi_bus::TakeJoinLock(place, 0, &why);
    ASSERT_TRUE(lock) << why;
    const timespec longAgo[2] = {{1, 0}, {1, 0}};
    ASSERT_EQ(futimens(lock.Get(), longAgo), 0);
    for (const char* file : {"me.lock", "other.lock"}) {
        ASSERT_EQ(link(At(".lock").c_str(), At(file).c_str()), 0);
    }
    struct stat status {};
    ASSERT_EQ(fstat(lock.Get(), &status), 0);
    const orvi_bus::OwnFiles own{{}, orvi_bus::FileId(status)};
    orvi_bus::Fd none;
    const orvi_bus::BootId boot = orvi_bus::ThisBoot();
    EXPECT_TRUE(orvi_bus::LookAtRecord({boot, own, &none}, At("me.lock").c_str(), "me").foreign);
    orvi_bus::SweepDead(place, "me", own);
    InChild({}, "", [&] {
        std::string reason;
        EXPECT_FALSE(orvi_bus::TakeJoinLock(place, 0, &reason));
        EXPECT_NE(reason.find("process " + std::to_string(getppid()) + " does not let go"), std::string::npos)
            << reason;
    });
}

TEST_F(BusIdentity, WhatCannotBeLookedAtIsUnknown) {
    JoinAsWatcher();
    const std::string seen = Described("alive joined", Join("other").Pid());
    EXPECT_EQ(Look("other"), seen);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    std::vector<int> others{dup(STDIN_FILENO)};
    const rlimit few{static_cast<rlim_t>(others[0]) + 4, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    while (others.back() >= 0) {
        others.push_back(dup(STDIN_FILENO));
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Look("other"), seen) << "there is one in reserve";
    }
    for (const int descriptor : others) {
        close(descriptor);
    }
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    // The one in reserve has a number that is not allowed any more: what can be told without one is told.
    EXPECT_EQ(Look("other"), "unknown " + std::to_string(EMFILE));
    EXPECT_EQ(Look("nobody"), "absent");
    EXPECT_EQ(Look("watcher"), Described("alive joined", getpid()));
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(Look("other"), seen);
}

TEST_F(BusIdentity, ARecordThatWasRemovedIsPutBack) {
    JoinAsWatcher();
    ASSERT_EQ(watcher->MarkStarted(), 0);
    const std::string own = At("watcher.lock");
    const auto putBack = [&] {
        std::string why;
        const int result = watcher->PutBack(&why);
        return std::to_string(result) + why;
    };
    EXPECT_EQ(putBack(), "0");
    ASSERT_EQ(unlink(own.c_str()), 0);
    EXPECT_FALSE(watcher->InPlace());
    EXPECT_EQ(putBack(), "0");
    EXPECT_TRUE(watcher->InPlace());
    EXPECT_EQ(Start().Ask("join watcher"), "4");
    // The name is another's by now.
    ASSERT_EQ(unlink(own.c_str()), 0);
    Peer& successor = Join("watcher");
    EXPECT_FALSE(watcher->InPlace());
    EXPECT_EQ(putBack(), "4process " + std::to_string(successor.Pid()) + " has that name");
    successor.Kill();
    std::filesystem::remove_all(directory);
    EXPECT_FALSE(watcher->InPlace());
    EXPECT_EQ(putBack(), "5bus directory " + directory + " refused: No such file or directory");
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    EXPECT_EQ(putBack(), "0");
    orvi_bus::Record record;
    const std::string bytes = orvi_test::ReadFile(own);  // which costs the watcher its name
    ASSERT_TRUE(DecodeRecord(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), "watcher",
                             orvi_bus::ThisBoot(), orvi_bus::NumberOfNow(), &record));
    EXPECT_EQ(record.latest.number, watcher->Number());
    EXPECT_TRUE(record.latest.started);
}

// However many have died, whoever joins gets in, the looks of one join are bounded, and what they left goes.
TEST_F(BusIdentity, WhatManyDeadLeftGoesPieceByPiece) {
    const auto makeOld = [&](const std::string& file) {
        const timespec longAgo[2]{};
        ASSERT_EQ(utimensat(AT_FDCWD, At(file).c_str(), longAgo, 0), 0);
    };
    JoinAsWatcher();
    Write(At("watcher:t"), "");
    makeOld("watcher.lock");
    for (int i = 0; i < 2000; ++i) {
        const std::string name = "dead" + std::to_string(i);
        Write(At(name + ".lock"), RecordOf(name.c_str(), {}));
        makeOld(name + ".lock");
        Write(At(name + ":t"), "");
        Write(At("recent" + std::to_string(i) + ".lock"), "");
    }
    for (const char* file : {"recent0:t~", "dead7.lock~123.456", ".lock~123.456", "monitor"}) {
        Write(At(file), "");
    }
    const size_t before = Files().size();
    Join("m");
    // Its own record is one more, the two unfinished ones need no look.
    const size_t removed = before + 1 - 2 - Files().size();
    EXPECT_TRUE(removed <= 2 * 256U && removed >= 2 * 254U) << removed;
    std::vector<Peer*> together;
    for (int i = 0; i < 8; ++i) {
        together.push_back(&Start());
        together.back()->Tell("join together" + std::to_string(i));
    }
    for (Peer* peer : together) {
        EXPECT_EQ(peer->Answer(), "0") << peer->Errors();
    }
    EXPECT_EQ(Start().Ask("churn 30 more joined 0"), "30 joined");
    const std::set<std::string> left = Files();
    for (const std::string& file : left) {
        EXPECT_NE(file.compare(0, 4, "dead"), 0) << file;
    }
    for (const char* file : {"recent0:t~", ".lock~123.456"}) {
        EXPECT_EQ(left.count(file), 0U) << file;
    }
    for (const char* file : {"watcher.lock", "watcher:t", "recent0.lock", "recent1999.lock", "monitor", ".lock"}) {
        EXPECT_EQ(left.count(file), 1U) << file;
    }
}

TEST_F(BusIdentity, WithoutMemoryNothingIsHalfDone) {
    Join("other");
    const orvi_test::Resources before = orvi_test::Resources::Now();
    int result = -1;
    long allocations = 0;
    for (; result != 0 && allocations < 1000; ++allocations) {
        g_allocationsLeft = allocations;
        try {
            result = watcher->Join("watcher");
        } catch (const std::bad_alloc&) {
        }
        g_allocationsLeft = -1;
        EXPECT_EQ(Files().size(), result == 0 ? 3U : 2U) << allocations;
    }
    EXPECT_EQ(result, 0);
    EXPECT_GT(allocations, 5);
    orvi_test::ExpectBackAt(before, 2);  // its record and the one in reserve
    EXPECT_EQ(Start().Ask("join watcher"), "4");
}

}  // namespace

void* operator new(size_t size) {
    if (g_allocationsLeft == 0) {
        throw std::bad_alloc();
    }
    g_allocationsLeft -= g_allocationsLeft > 0 ? 1 : 0;
    void* memory = malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    free(memory);
}

void operator delete(void* memory, size_t) noexcept {
    free(memory);
}
