// Names, records and the bus directory as processes leave them to each other.
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "child.h"
#include "member.h"
#include "membership/directory.h"
#include "membership/record.h"

namespace {

using orvi_bus::kRecordSize;

const std::string kUid = std::to_string(geteuid());

mode_t ModeOf(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

void MakeOld(const std::string& path) {
    const timespec longAgo[2]{};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), longAgo, AT_SYMLINK_NOFOLLOW), 0);
}

std::string RecordOf(const char* name, const orvi_bus::Record& record) {
    uint8_t bytes[kRecordSize];
    EncodeRecord(record, name, orvi_bus::ThisBoot(), bytes);
    return {reinterpret_cast<const char*>(bytes), sizeof(bytes)};
}

void Write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

class BusIdentity : public testing::Test {
 protected:
    BusIdentity() {
        EXPECT_EQ(mkdir(directory.c_str(), 0700), 0);
        EXPECT_EQ(chown(directory.c_str(), static_cast<uid_t>(-1), kGroup), geteuid() == 0 ? 0 : -1);
        EXPECT_EQ(chmod(directory.c_str(), 02770), 0);
        EXPECT_EQ(chmod((root / "").c_str(), 0755), 0);
    }
    Member& Start(const Member::Options& options = {}) {
        members.push_back(std::make_unique<Member>(directory, errors, options));
        return *members.back();
    }
    Member& Join(const std::string& name) {
        Member& member = Start();
        EXPECT_EQ(member.Ask("join " + name), "0") << ReadFile(errors);
        return member;
    }
    std::string At(const std::string& file) const { return directory + '/' + file; }
    std::set<std::string> Files() const {
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            files.insert(entry.path().filename());
        }
        return files;
    }

    static constexpr gid_t kGroup = 4711;
    TempDir root;
    const std::string directory = root / "bus";
    const std::string errors = root / "errors";
    std::vector<std::unique_ptr<Member>> members;
};

TEST_F(BusIdentity, ARecordThatCannotBeTrueIsNotBelieved) {
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
    EXPECT_FALSE(believed("", 5000));
    constexpr size_t kOwn = 40;
    struct {
        const char* what;
        size_t at;
        char value;
    } const lies[] = {
        {"magic", 0, 0},
        {"version", 4, 2},
        {"33 earlier ones", 6, 33},
        {"an earlier one that is none", 6, 3},
        {"another boot", 24, static_cast<char>(~good[24])},
        {"bytes behind the name", 8 + 15, 'x'},
        {"an earlier number equal to the latest", kOwn + 17, static_cast<char>(5000 >> 8)},
        {"a number in the far future", kOwn + 7, 0x7F},
        {"a negative pid", kOwn + 11, static_cast<char>(0x80)},
        {"started twice", kOwn + 12, 2},
        {"bytes behind it", kOwn + 15, 1},
    };
    for (const auto& lie : lies) {
        std::string bytes = good;
        bytes[lie.at] = lie.value;
        if (lie.at == kOwn + 17) {
            bytes[kOwn + 16] = static_cast<char>(5000 & 0xFF);
        }
        EXPECT_FALSE(believed(bytes, 5000)) << lie.what;
    }
    record.latest.number = 5000 + 1000000000;
    EXPECT_TRUE(believed(RecordOf("name", record), 5000));
    EXPECT_FALSE(believed(RecordOf("name", record), 4999));
}

// Whoever looks sees no file under its name that another user could not use yet.
TEST_F(BusIdentity, TheFirstUseOfADirectoryIsCompleteAtOnce) {
    const bool severalUsers = geteuid() == 0;
    for (int round = 0; round < 20; ++round) {
        for (int i = 0; i < 4; ++i) {
            Member& member =
                Start(severalUsers && i % 2 == 1 ? Member::Options{1000, kGroup, false} : Member::Options());
            ASSERT_EQ(member.Ask(i < 2 ? "umask 277" : "umask 0"), "0");
        }
        for (size_t i = 0; i < members.size(); ++i) {
            members[i]->Tell("join m" + std::to_string(i));
        }
        std::set<mode_t> lockModes;
        std::set<mode_t> recordModes;
        while (ModeOf(At("m0.lock")) == 0 || ModeOf(At("m3.lock")) == 0) {
            lockModes.insert(ModeOf(At(".lock")));
            for (const char* record : {"m0.lock", "m1.lock", "m2.lock", "m3.lock"}) {
                recordModes.insert(ModeOf(At(record)));
            }
            const bool refused = ReadFile(errors).find("cannot join") != std::string::npos;
            ASSERT_FALSE(refused) << ReadFile(errors);
        }
        for (const auto& member : members) {
            EXPECT_EQ(member->Answer(), "0") << ReadFile(errors);
        }
        recordModes.insert(ModeOf(At("m3.lock")));
        lockModes.erase(0);
        recordModes.erase(0);
        EXPECT_EQ(recordModes, std::set<mode_t>{0640});
        EXPECT_TRUE(lockModes.empty() || lockModes == std::set<mode_t>{0660});
        EXPECT_EQ(Files(), (std::set<std::string>{".lock", "m0.lock", "m1.lock", "m2.lock", "m3.lock"}));
        members.clear();
        for (const std::string& file : Files()) {
            ASSERT_EQ(unlink(At(file).c_str()), 0);
        }
    }
}

TEST_F(BusIdentity, ARecordTellsOfThoseBeforeItUnderTheSameUser) {
    Member& watcher = Join("watcher");
    EXPECT_EQ(watcher.Ask("look name"), "absent");
    std::vector<std::string> numbers;
    for (int i = 0; i < 40; ++i) {
        Member& member = Join("name");
        numbers.insert(numbers.begin(), member.Ask("number"));
        const std::string pid = ' ' + std::to_string(member.Pid()) + ' ' + kUid + ' ' + std::to_string(std::min(i, 32));
        EXPECT_EQ(watcher.Ask("look name"), "alive joined" + pid);
        if (i % 2 == 0) {
            EXPECT_EQ(member.Ask("start"), "0");
            EXPECT_EQ(watcher.Ask("look name"), "alive started" + pid);
            numbers.front() += '*';
        }
        EXPECT_EQ(member.Ask("look name"), watcher.Ask("look name"));
        member.Kill();
        EXPECT_EQ(watcher.Ask("look name"), (i % 2 == 0 ? "dead started" : "dead joined") + pid);
    }
    std::string expected = numbers.front();
    for (size_t i = 1; i <= 32; ++i) {
        expected += ' ' + numbers[i];
    }
    EXPECT_EQ(watcher.Ask("history name"), expected);
    // Whoever may read a record can lock it against writers; that makes nobody live.
    ASSERT_EQ(Start().Ask("readlock " + At("name.lock")), "0");
    EXPECT_EQ(watcher.Ask("look name").substr(0, 5), "dead ");
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to be several users";
    }
    Member& other = Start({1000, kGroup, false});
    ASSERT_EQ(other.Ask("join name"), "0") << ReadFile(errors);
    EXPECT_EQ(watcher.Ask("look name"), "alive joined " + std::to_string(other.Pid()) + " 1000 0");
    EXPECT_GT(std::stoull(other.Ask("number")), std::stoull(numbers.front()));
}

TEST_F(BusIdentity, WhatIsNoRecordIsAbsentAndReplaced) {
    Member& watcher = Join("watcher");
    orvi_bus::Record ahead;
    ahead.latest = {orvi_bus::NumberOfNow() + 3600ULL * 1000000000, 1, true};
    const std::pair<const char*, std::string> contents[] = {
        {"empty", ""},
        {"text", "1234\n"},
        {"huge", std::string(1 << 20, '\0')},
        {"of the future", RecordOf("name", ahead)},
        {"another's", ReadFile(At("watcher.lock"))},
    };
    const std::string path = At("name.lock");
    const auto expectReplaced = [&](const char* what) {
        EXPECT_EQ(watcher.Ask("look name"), "absent") << what;
        Member& member = Join("name");
        EXPECT_EQ(watcher.Ask("look name"), "alive joined " + std::to_string(member.Pid()) + ' ' + kUid + " 0") << what;
        EXPECT_EQ(std::filesystem::status(path).type(), std::filesystem::file_type::regular);
        member.Kill();
        ASSERT_EQ(unlink(path.c_str()), 0);
    };
    for (const auto& [what, content] : contents) {
        Write(path, content);
        expectReplaced(what);
    }
    ASSERT_EQ(symlink(At("watcher.lock").c_str(), path.c_str()), 0);
    expectReplaced("a symbolic link");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expectReplaced("a pipe");
    ASSERT_EQ(link(At("watcher.lock").c_str(), path.c_str()), 0);
    expectReplaced("the watcher's own record");
    const std::string told = " holds " + path + ", which is no record of that name: it is replaced\n";
    EXPECT_EQ(ReadFile(errors), "orvi bus error: process " + std::to_string(watcher.Pid()) + told);
    Write(path, "held");
    Member& holder = Start();
    ASSERT_EQ(holder.Ask("hold " + path), "0");
    expectReplaced("held by a living process");
    EXPECT_NE(ReadFile(errors).find("process " + std::to_string(holder.Pid()) + told), std::string::npos);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(watcher.Ask("look name"), "absent");
    EXPECT_EQ(Start().Ask("join name"), "10");
    EXPECT_NE(ReadFile(errors).find("name.lock: Is a directory"), std::string::npos) << ReadFile(errors);
}

// A process that closes its own record has given up its name, whatever name it was opened under.
TEST_F(BusIdentity, ARecordThatIsLinkedUnderAnotherNameStaysHeld) {
    Member& member = Join("name");
    Write(At("file"), "no record");
    const pid_t hostile = fork();
    if (hostile == 0) {
        for (;;) {  // comes between the look's first and second glance sometimes
            (void)link(At("file").c_str(), At("next").c_str());
            (void)rename(At("next").c_str(), At("other.lock").c_str());
            (void)link(At("name.lock").c_str(), At("next").c_str());
            (void)rename(At("next").c_str(), At("other.lock").c_str());
        }
    }
    while (ModeOf(At("other.lock")) == 0) {
    }
    EXPECT_EQ(member.Ask("looks other"), "absent");
    kill(hostile, SIGKILL);
    waitpid(hostile, nullptr, 0);
    EXPECT_EQ(Start().Ask("join name"), "4");
    EXPECT_NE(ReadFile(errors).find("process " + std::to_string(member.Pid()) + " has that name"), std::string::npos);
}

TEST_F(BusIdentity, WhatCannotBeLookedAtIsUnknown) {
    Member& other = Join("other");
    Member& member = Join("name");
    const std::string seen = "alive joined " + std::to_string(other.Pid()) + ' ' + kUid + " 0";
    EXPECT_EQ(member.Ask("look other"), seen);
    const std::string open = member.Ask("fds");
    ASSERT_EQ(member.Ask("limit 64"), "0");
    ASSERT_EQ(member.Ask("exhaust"), std::to_string(EMFILE));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(member.Ask("look other"), seen);
    }
    ASSERT_EQ(member.Ask("limit 3"), "0");
    EXPECT_EQ(member.Ask("look other"), "unknown " + std::to_string(EMFILE));
    EXPECT_EQ(member.Ask("look nobody"), "absent");
    EXPECT_EQ(member.Ask("look name"), "alive joined " + std::to_string(member.Pid()) + ' ' + kUid + " 0");
    ASSERT_EQ(member.Ask("limit 64"), "0");
    EXPECT_EQ(member.Ask("look other"), seen);
    ASSERT_EQ(member.Ask("release"), "0");
    EXPECT_EQ(member.Ask("fds"), open);
}

TEST_F(BusIdentity, ARecordThatWasRemovedIsPutBack) {
    Member& watcher = Join("watcher");
    Join("name").Kill();
    Member& member = Join("name");
    ASSERT_EQ(member.Ask("start"), "0");
    const std::string number = member.Ask("number");
    EXPECT_EQ(member.Ask("inplace"), "yes");
    EXPECT_EQ(member.Ask("putback"), "0");
    ASSERT_EQ(unlink(At("name.lock").c_str()), 0);
    EXPECT_EQ(member.Ask("inplace"), "no");
    EXPECT_EQ(watcher.Ask("look name"), "absent");
    EXPECT_EQ(member.Ask("putback"), "0");
    EXPECT_EQ(member.Ask("inplace"), "yes");
    EXPECT_EQ(watcher.Ask("look name"), "alive started " + std::to_string(member.Pid()) + ' ' + kUid + " 0");
    EXPECT_EQ(watcher.Ask("history name"), number);
    EXPECT_EQ(Start().Ask("join name"), "4");
    // The name is another's by now.
    ASSERT_EQ(unlink(At("name.lock").c_str()), 0);
    Member& successor = Join("name");
    EXPECT_EQ(member.Ask("inplace"), "no");
    EXPECT_EQ(member.Ask("putback"), "4 process " + std::to_string(successor.Pid()) + " has that name");
    successor.Kill();
    EXPECT_EQ(member.Ask("putback"), "0");
    std::filesystem::remove_all(directory);
    EXPECT_EQ(member.Ask("inplace"), "no");
    EXPECT_EQ(member.Ask("putback"), "5 bus directory " + directory + " refused: No such file or directory");
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    EXPECT_EQ(member.Ask("putback"), "0");
    EXPECT_EQ(watcher.Ask("look name"), "alive started " + std::to_string(member.Pid()) + ' ' + kUid + " 0");
}

TEST_F(BusIdentity, WhatManyDeadLeftGoesPieceByPiece) {
    Member& living = Join("living");
    Write(At("living:t"), "");
    MakeOld(At("living.lock"));
    for (int i = 0; i < 2000; ++i) {
        const std::string name = "dead" + std::to_string(i);
        Write(At(name + ".lock"), RecordOf(name.c_str(), {}));
        MakeOld(At(name + ".lock"));
        Write(At(name + ":t"), "");
        Write(At("recent" + std::to_string(i) + ".lock"), "");
    }
    Write(At("recent0:t~"), "");
    Write(At("dead7.lock~123.456"), "");
    Write(At(".lock~123.456"), "");
    Write(At("monitor"), "");
    const size_t before = Files().size();
    Join("m0");
    // The looks of one join are bounded; its own record is one more, the two unfinished ones need no look.
    EXPECT_LE(before + 1 - 2 - Files().size(), 2 * 256U);
    EXPECT_GE(before + 1 - 2 - Files().size(), 2 * 254U);
    for (int i = 1; i < 200 && Files().size() > 2005U + static_cast<size_t>(i); ++i) {
        Join("m" + std::to_string(i));
        members.pop_back();
    }
    for (const std::string& file : Files()) {
        EXPECT_NE(file.compare(0, 4, "dead"), 0) << file;
        EXPECT_EQ(file.find('~'), std::string::npos) << file;
    }
    for (const char* file : {"living.lock", "living:t", "recent0.lock", "recent1999.lock", "monitor", ".lock"}) {
        EXPECT_EQ(Files().count(file), 1U) << file;
    }
    EXPECT_EQ(living.Ask("inplace"), "yes");
}

TEST_F(BusIdentity, WithoutMemoryNothingIsHalfDone) {
    Member& watcher = Join("watcher");
    Member& member = Start();
    const int open = std::stoi(member.Ask("fds"));
    std::string result = "bad_alloc";
    int allocations = 0;
    for (; result == "bad_alloc"; ++allocations) {
        ASSERT_LT(allocations, 1000);
        EXPECT_EQ(watcher.Ask("look name"), "absent") << allocations;
        result = member.Ask("join name " + std::to_string(allocations));
        EXPECT_EQ(Files().size(), result == "0" ? 3U : 2U) << allocations;
    }
    EXPECT_EQ(result, "0");
    EXPECT_GT(allocations, 5);
    EXPECT_EQ(watcher.Ask("look name"), "alive joined " + std::to_string(member.Pid()) + ' ' + kUid + " 0");
    EXPECT_EQ(std::stoi(member.Ask("fds")), open + 2);  // its record and the one in reserve
}

TEST_F(BusIdentity, AHolderInAnotherPidNamespaceIsToldSo) {
    Member& inside = Start({0, 0, true});
    if (inside.Ask("umask 0") != "0") {
        GTEST_SKIP() << "needs the right to make a pid namespace";
    }
    Member& holder = Join("name");
    EXPECT_EQ(inside.Ask("join name"), "4");
    EXPECT_NE(ReadFile(errors).find("a process in another pid namespace has that name"), std::string::npos)
        << ReadFile(errors);
    EXPECT_EQ(inside.Ask("join other"), "0");
    EXPECT_EQ(inside.Ask("look name"), "alive joined 0 " + kUid + " 0");
    EXPECT_EQ(holder.Ask("inplace"), "yes");
}

TEST_F(BusIdentity, ADirectoryThatCannotBeMadeIsToldWithItsReason) {
    Write(root / "file", "");
    InChild({{"TMPDIR", root / "file"}, {"XDG_RUNTIME_DIR", ""}, {"ORVI_BUS_DIR", ""}}, "", [] {
        orvi_bus::Directory found;
        std::string why;
        EXPECT_FALSE(FindDirectory(&found, &why));
        EXPECT_NE(why.find("Not a directory"), std::string::npos) << why;
    });
    InChild({{"TMPDIR", root / "missing"}, {"XDG_RUNTIME_DIR", ""}, {"ORVI_BUS_DIR", ""}}, "", [] {
        orvi_bus::Directory found;
        std::string why;
        EXPECT_FALSE(FindDirectory(&found, &why));
        EXPECT_NE(why.find("it cannot be made: No such file or directory"), std::string::npos) << why;
    });
}

}  // namespace
