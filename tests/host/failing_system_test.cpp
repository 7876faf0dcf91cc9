// Each call of the system that the bus makes fails once, wherever it stands: what fails says so, keeps nothing, and the
// same process goes on when the system is well again.
#include "failing_system.h"

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>

#include "bus_peer.h"
#include "bus_peer_ids.h"
#include "child.h"
#include "leak_check.h"
#include "orvi_host_bus.h"

namespace {

using orvi_test::Describe;
using orvi_test::FailAs;
using orvi_test::Failure;
using orvi_test::Recover;
using orvi_test::Resources;
using orvi_test::Suffer;

// Errors with which each call fails; it is interrupted by a storm as well, which interrupts every second one.
const Failure kFailures[] = {
    {"malloc", ENOMEM},
    {"socket", EMFILE},
    {"connect", ENOMEM},
    {"accept4", EMFILE},
    {"accept4", ECONNABORTED},
    {"bind", ENOSPC},
    {"listen", ENOMEM},
    {"sendmsg", ENOBUFS},
    {"recv", ENOMEM},
    {"poll", ENOMEM},
    {"ppoll", ENOMEM},
    {"epoll_create1", EMFILE},
    {"epoll_ctl", ENOSPC},
    {"eventfd", EMFILE},
    {"inotify_init1", EMFILE},
    {"inotify_add_watch", ENOSPC},
    {"open", EMFILE},
    {"open", ENOSPC},
    {"open", ENOMEM},
    {"fcntl", ENOLCK},
    {"pwrite", ENOSPC},
    {"rename", ENOSPC},
    {"link", ENOSPC},
    {"fchmod", EIO},
    {"lstat", EIO},
    {"pidfd_open", ENOMEM},
    {"clock", 0},
};
const char* const kInterrupted[] = {"connect", "accept4", "sendmsg", "recv",  "poll",
                                    "ppoll",   "open",    "read",    "fcntl", "epoll_wait"};

// From the same point on the system does not recover before it is made to.
constexpr int kForGood = 1 << 30;

std::atomic<int> g_lines{0};
std::atomic<int> g_starts{0};
std::atomic<int> g_ends{0};
std::atomic<int> g_notes{0};
std::atomic<int> g_strangers{0};  // senders that were not known when their message was handled
bool g_joined = false;
bool g_registered = false;

int Handle(TagMsgBlock* block) {
    g_starts += block->msgId == OS_MSG_PROC_STARTRESULT ? 1 : 0;
    g_ends += block->msgId == OS_MSG_PROC_EXITRESULT ? 1 : 0;
    g_notes += block->msgId == kNote ? 1 : 0;
    OrviHostMsgSender sender{};
    g_strangers += OrviHostMsgGetSender(block, &sender) == 0 && *sender.procName == '\0' ? 1 : 0;
    return OrviHostMsgWantsReply(block) != 0 ? OrviHostMsgReply(block, block->data, block->dataLen) : 0;
}

int Join() {
    const int result = g_joined ? 0 : OsMsgInit("p");
    g_joined = result == 0;
    return result;
}

int Register() {
    const int result = g_registered ? 0 : OsMsgRegTask("t", 64, &Handle);
    g_registered = result == 0;
    return result;
}

int Subscribe(const char* whom) {
    OsMsgSubscribeEntry entries[] = {{OS_MSG_PROC_STARTRESULT, 0, "", "", "t"},
                                     {OS_MSG_PROC_EXITRESULT, 0, "", "", "t"}};
    for (OsMsgSubscribeEntry& entry : entries) {
        std::string(whom).copy(entry.procName, sizeof(entry.procName) - 1);
        std::string(whom).copy(entry.procNameAgain, sizeof(entry.procNameAgain) - 1);
    }
    return OsMsgSubscribeEvent(entries, 2);
}

// Takes the steps of a life that have not been taken yet; at its end all of it is undone but the name.
int Live() {
    int result = Join();
    result = result == 0 ? Register() : result;
    result = result == 0 ? Subscribe("server") : result;
    result = result == 0 ? OrviHostMsgStopRoutine("t") : result;
    result = result == 0 ? OsMsgTaskRoutineByName("t") : result;
    result = result == 0 ? OsMsgUnregTask("p", 1, "t") : result;
    g_registered = g_registered && result != 0;
    return result;
}

TagMsgBlock BlockTo(const char* process, uint32_t id) {
    static char payload[] = "payload";
    TagMsgBlock block{};
    std::string(process).copy(block.recvProcName, sizeof(block.recvProcName) - 1);
    block.recvTaskName[0] = 't';
    block.msgId = id;
    block.data = payload;
    block.dataLen = sizeof(payload);
    return block;
}

int AskOf(const char* process) {
    TagMsgBlock block = BlockTo(process, kEchoQuietly);
    TagMsgBlock* reply = nullptr;
    const int result = OsMsgSynSend(&block, &reply, 0);
    if (result == 0) {
        EXPECT_EQ(reply->dataLen, block.dataLen);
        EXPECT_EQ(memcmp(reply->data, block.data, block.dataLen), 0);
        EXPECT_EQ(OsMsgSynRespFree(reply), 0);
    } else {
        EXPECT_EQ(reply, nullptr);
    }
    return result;
}

int AskServer() {
    return AskOf("server");
}
int AskSelf() {
    return AskOf("p");
}
int Tell() {
    TagMsgBlock block = BlockTo("server", kNote);
    return OsMsgAsynSend(&block);
}
int TryTell() {
    const TagMsgBlock block = BlockTo("server", kNote);
    const int result = OrviHostMsgTrySend(&block);
    return result == ORVI_BUS_E_WOULD_BLOCK ? OrviHostMsgAwaitRoom(-1, 1000) : result;
}

int TellP() {
    TagMsgBlock block = BlockTo("p", kNote);
    return OsMsgAsynSend(&block);
}

// A process that makes another of the name "x", which sends a note and starts, and kills it, each by a byte.
class Maker {
 public:
    Maker() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_), 0);
        pid_ = fork();
        if (pid_ == 0) {
            close(ends_[0]);
            for (char byte = 0; read(ends_[1], &byte, 1) == 1;) {
                const pid_t child = fork();
                if (child == 0) {
                    _exit(OsMsgInit("x") == 0 && OsMsgRegTask("t", 64, &Handle) == 0 && TellP() == 0
                              ? OsMsgTaskRoutineByName("t")
                              : 1);
                }
                (void)!read(ends_[1], &byte, 1);
                kill(child, SIGKILL);
                waitpid(child, nullptr, 0);
            }
            _exit(0);
        }
        close(ends_[1]);
    }
    ~Maker() {
        close(ends_[0]);
        waitpid(pid_, nullptr, 0);
    }
    Maker(const Maker&) = delete;
    Maker& operator=(const Maker&) = delete;
    void Go() const { EXPECT_EQ(send(ends_[0], "x", 1, MSG_NOSIGNAL), 1); }

 private:
    int ends_[2];
    pid_t pid_;
};
const Maker* g_maker = nullptr;

bool Await(const std::atomic<int>& events, int number) {
    const auto deadline = std::chrono::steady_clock::now() + orvi_test::PATIENCE;
    while (events < number && std::chrono::steady_clock::now() < deadline) {
        (void)sched_yield();
    }
    return events == number;
}

// Or a line is written.
bool AwaitOrHear(const std::atomic<int>& messages, int number) {
    const auto deadline = std::chrono::steady_clock::now() + orvi_test::PATIENCE;
    while (messages < number && g_lines == 0 && std::chrono::steady_clock::now() < deadline) {
        (void)sched_yield();
    }
    return messages == number || g_lines != 0;
}

// No event is lost, and no message without a word, whatever fails meanwhile.
int SeeALife() {
    const int starts = g_starts + 1;
    const int ends = g_ends + 1;
    const int notes = g_notes + 1;
    g_maker->Go();
    EXPECT_TRUE(Await(g_starts, starts)) << g_starts;
    EXPECT_TRUE(AwaitOrHear(g_notes, notes)) << g_notes;
    g_maker->Go();
    EXPECT_TRUE(Await(g_ends, ends)) << g_ends;
    return 0;
}

const struct Deed {
    const char* name;
    int (*run)();
    bool loopSuffers;  // the receive loop, and not who does it
} kDeeds[] = {
    {"a request", &AskServer, false},
    {"a message", &Tell, false},
    {"a message that does not wait", &TryTell, false},
    {"being asked", &AskSelf, true},
    {"hearing of others", &SeeALife, true},
};

// On a thread of its own, whose connections end with it.
int OnAThread(int (*run)(), bool suffers) {
    int result = 0;
    std::thread([&] {
        Suffer(suffers);
        result = run();
        Suffer(false);
    }).join();
    return result;
}

class FailingSystem : public BusTest {
 protected:
    void SetUp() override {
        BusTest::SetUp();
        StartTask("server", "t");
    }

    // What the bus directory holds.
    std::string Listing() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        std::string text;
        for (const std::string& name : names) {
            text += name + " ";
        }
        return text;
    }

    // Runs `body` in a child that is off the bus; its result, if no expectation failed there.
    template <typename Body>
    int InAChild(Body body) const {
        const pid_t child = fork();
        if (child == 0) {
            (void)alarm(100);
            (void)setenv("ORVI_BUS_DIR", directory.c_str(), 1);
            (void)setenv("ORVI_BUS_YIELD_US", "0", 1);  // a wait is one receive and one poll
            (void)OsMsgRegLogFunc([](int, const char*) { ++g_lines; });
            (void)OsMsgSetLogLevel(9);
            const int result = body();
            (void)fflush(nullptr);
            _exit(HasFailure() ? 255 : result);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
        EXPECT_NE(WEXITSTATUS(status), 255) << "see above";
        return WEXITSTATUS(status);
    }

    // True when the failure was met.
    bool LiveWith(const Failure& failure) const {
        return InAChild([&] {
                   SCOPED_TRACE(Describe(failure));
                   const Resources before = Resources::Now();
                   g_lines = 0;
                   FailAs(failure);
                   Suffer(true);
                   const int result = Live();
                   Suffer(false);
                   const int failed = Recover();
                   if (result != 0) {
                       EXPECT_NE(g_lines, 0) << result << " without a word";
                       const std::string files = Listing();
                       EXPECT_EQ(files.find('~'), std::string::npos) << files;
                       EXPECT_EQ(files.find(" p:t ") != std::string::npos, g_registered) << files;
                       EXPECT_LE(Resources::Now().descriptors, before.descriptors + (g_registered ? 6
                                                                                     : g_joined   ? 2
                                                                                                  : 1));
                       EXPECT_EQ(Live(), 0) << "failed for good";
                   }
                   orvi_test::ExpectBackAt(before, 2);  // its presence and a spare
                   EXPECT_EQ(Listing(), ".lock p.lock server.lock server:t ");
                   return failed;
               }) != 0;
    }

    // Does it with that failure, and once more without; true when the failure was met.
    static bool DoWith(const Deed& deed, const Failure& failure, const Resources& before) {
        SCOPED_TRACE(Describe(failure));
        g_lines = 0;
        FailAs(failure);
        const int result = OnAThread(deed.run, !deed.loopSuffers);
        const int failed = Recover();
        EXPECT_TRUE(result == 0 || g_lines != 0) << result << " without a word";
        EXPECT_EQ(OnAThread(deed.run, false), 0) << "failed for good";
        const bool passes = failure.error != ENOSPC && failure.error != EIO;  // or nobody can tell, for ever
        const int strangers = g_strangers.exchange(0);
        EXPECT_TRUE(strangers == 0 || !passes) << "who could not be looked at is looked at again";
        orvi_test::ExpectBackAt(before);
        return failed != 0;
    }
};

TEST_F(FailingSystem, OfALifeOnTheBus) {
    for (const Failure& row : kFailures) {
        for (const bool forGood : {false, true}) {
            Failure failure = row;
            failure.last = forGood ? kForGood : 1;
            while (!HasFailure() && LiveWith(failure)) {
                failure.last += forGood ? 0 : 1;
                ++failure.first;
            }
        }
    }
    for (const char* call : kInterrupted) {
        (void)LiveWith({call, EINTR, 1, kForGood, 2});
    }
}

// As full as a directory can be, of files and of what they hold, and with more room from case to case.
TEST_F(FailingSystem, OfADirectoryOfItsOwn) {
    constexpr int kNotAllowed = 2;
    constexpr const char* kMore = "nr_inodes=100,nr_blocks=100";
    const auto mountWith = [this](const std::string& options, unsigned long flags) {
        return mount("none", directory.c_str(), "tmpfs", flags, options.c_str()) == 0;
    };
    int refused = 0;
    int result = 1;
    for (int files = 1; result == 1; ++files) {
        for (const bool isFull : {true, false}) {
            result = InAChild([&] {
                if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                    !mountWith("nr_blocks=1,mode=700,nr_inodes=" + std::to_string(files + 1), 0)) {
                    return kNotAllowed;
                }
                std::ofstream(directory + "/other") << (isFull ? "the only block" : "");
                SCOPED_TRACE(Listing() + (isFull ? "and no block" : ""));
                const int first = Live();
                EXPECT_TRUE(first == 0 || g_lines != 0) << first << " without a word";
                EXPECT_EQ(Listing().find('~'), std::string::npos) << Listing();
                EXPECT_TRUE(mountWith(kMore, MS_REMOUNT));
                EXPECT_EQ(Live(), 0) << "failed for good";
                EXPECT_EQ(Listing(), ".lock other p.lock ");
                return first == 0 ? 0 : 1;
            });
            refused += result == 1 ? 1 : 0;
        }
    }
    if (result == kNotAllowed) {
        GTEST_SKIP() << "this user may not mount";
    }
    EXPECT_GT(refused, 3);
}

TEST_F(FailingSystem, OfWhatIsDoneThere) {
    for (const Deed& deed : kDeeds) {
        InAChild([&deed] {
            SCOPED_TRACE(deed.name);
            const Maker maker;
            g_maker = &maker;
            std::thread([] {}).join();
            EXPECT_EQ(Join(), 0);
            EXPECT_EQ(Register(), 0);
            EXPECT_EQ(Subscribe("x"), 0);
            std::thread loop([&deed] {
                Suffer(deed.loopSuffers);
                EXPECT_EQ(OsMsgTaskRoutineByName("t"), 0);
            });
            EXPECT_EQ(OnAThread(deed.run, false), 0);
            const Resources before = Resources::Now();
            for (Failure failure : kFailures) {
                while (!HasFailure() && DoWith(deed, failure, before)) {
                    failure.last = ++failure.first;
                }
            }
            for (const char* call : kInterrupted) {
                (void)DoWith(deed, {call, EINTR, 1, kForGood, 2}, before);
            }
            EXPECT_EQ(OrviHostMsgStopRoutine("t"), 0);
            loop.join();
            return 0;
        });
    }
}

}  // namespace
