// Library and service on a system that fails: one call of the system once, wherever it stands.
#include "failing_system.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sys/wait.h>
#include <thread>

#include "orvi_ai_srv.h"
#include "requests.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

const Failure FAILURES[] = {
    {"malloc", ENOMEM}, {"socket", EMFILE}, {"connect", ENOMEM}, {"sendmsg", ENOBUFS},
    {"recv", ENOMEM},   {"ppoll", ENOMEM},  {"open", EMFILE},    {"clock", 0},
};

// On a thread of its own, whose connections end with it.
int CallOnAThread(int (*call)(), bool suffers) {
    int result = 0;
    std::thread([&] {
        Suffer(suffers);
        result = call();
        Suffer(false);
    }).join();
    return result;
}

// Each call makes a detector, and the service has few.
bool IsOneOfFew(const Request& request) {
    return std::string(request.name).find("FaceDetector") != std::string::npos;
}

// A wait is one receive and one poll: how often a thread would yield instead is different each time.
class FailingSystem : public VisionTest {
 protected:
    FailingSystem() { (void)setenv("ORVI_BUS_YIELD_US", "0", 1); }
};

TEST_F(FailingSystem, OfEveryExportedCall) {
    Connect();
    const Resources baseline = Resources::Now();
    for (const Request& request : REQUESTS) {
        if (IsOneOfFew(request)) {
            continue;
        }
        (void)CallOnAThread(request.call, false);
        const int usual = CallOnAThread(request.call, false);
        for (Failure failure : FAILURES) {
            for (bool more = true; more && !HasFailure(); failure.last = ++failure.first) {
                SCOPED_TRACE(std::string(request.name) + ", " + Describe(failure));
                const size_t before = ReadFile(sandbox_.Path("library.log")).size();
                FailAs(failure);
                const int result = CallOnAThread(request.call, true);
                more = Recover() != 0;
                EXPECT_TRUE(result == usual || ReadFile(sandbox_.Path("library.log")).size() > before) << "no word";
                EXPECT_EQ(CallOnAThread(request.call, false), usual);
                ExpectBackAt(baseline);
            }
        }
    }
}

// A process that has not initialised the library fails to, says so, and does it then.
TEST_F(FailingSystem, OfTheInitialisation) {
    constexpr int NOT_MET = 3;
    const Failure more[] = {{"pthread_create", EAGAIN}, {"bind", ENOSPC},   {"fcntl", ENOLCK},  {"pwrite", ENOSPC},
                            {"epoll_create1", EMFILE},  {"rename", ENOSPC}, {"eventfd", EMFILE}};
    std::vector<Failure> failures(std::begin(FAILURES), std::end(FAILURES));
    failures.insert(failures.end(), std::begin(more), std::end(more));
    simulator_.Start();
    for (Failure failure : failures) {
        for (int status = 0; status == 0; failure.last = ++failure.first) {
            (void)std::fflush(nullptr);
            const pid_t child = fork();
            if (child == 0) {
                const std::string log = sandbox_.Path("library.log");
                const size_t before = ReadFile(log).size();
                FailAs(failure);
                Suffer(true);
                const int result = Init();
                Suffer(false);
                const bool isMet = Recover() != 0;
                EXPECT_TRUE(result == 0 || ReadFile(log).size() > before) << "no word";
                EXPECT_EQ(Init(), 0);
                EXPECT_EQ(OrviAiSrvCheckInInit(), 0);
                EXPECT_EQ(OrviAiSrvCheckInDeinit(), 0);
                std::exit(HasFailure() ? 1 : isMet ? 0 : NOT_MET);
            }
            ASSERT_EQ(waitpid(child, &status, 0), child);
            // What the dead leave for a minute would make each that joins take more memory than the one before.
            (void)unlink((sandbox_.BusDirectory() + "/" + ProcessName(child) + ".lock").c_str());
            ASSERT_TRUE(status == 0 || (WIFEXITED(status) && WEXITSTATUS(status) == NOT_MET)) << Describe(failure);
        }
    }
    simulator_.Kill();
}

class FailingService : public FailingSystem {
 protected:
    FailingService() {
        const std::string path = sandbox_.Path("failing");
        SufferElsewhere(path);
        (void)setenv("ORVI_TEST_FAILING", path.c_str(), 1);
        (void)setenv("ORVI_TEST_SIMULATOR", "orvi-test-failing-sim", 1);
    }
};

// It runs, or it ends and says why.
TEST_F(FailingService, WhileItStarts) {
    const Failure failures[] = {{"malloc", ENOMEM},         {"socket", EMFILE},        {"bind", ENOSPC},
                                {"listen", ENOMEM},         {"epoll_create1", EMFILE}, {"epoll_ctl", ENOSPC},
                                {"eventfd", EMFILE},        {"open", EMFILE},          {"inotify_init1", EMFILE},
                                {"fcntl", ENOLCK},          {"pwrite", ENOSPC},        {"rename", ENOSPC},
                                {"pthread_create", EAGAIN}, {"connect", ENOMEM},       {"sendmsg", ENOBUFS},
                                {"recv", ENOMEM},           {"accept4", EMFILE},       {"epoll_wait", EINTR},
                                {"poll", ENOMEM},           {"ppoll", ENOMEM},         {"clock", 0}};
    for (Failure failure : failures) {
        for (bool more = true; more && !HasFailure(); failure.last = failure.first += 1 + failure.first / 4) {
            SCOPED_TRACE(Describe(failure));
            const std::string log = sandbox_.Path("start.log");
            FailAs(failure);
            ChildProcess service("orvi-test-failing-sim", {"--control"}, log);
            const bool runs = service.ReadUntil("ready AI_VISION");
            const int failed = Recover();
            more = failed != 0;
            if (runs) {
                service.Signal(SIGTERM);
            }
            const int result = service.Wait();
            EXPECT_TRUE(result == (runs ? 0 : 1) || (result == 1 && more)) << result << "\n" << ReadFile(log);
            EXPECT_FALSE(result == 1 && ReadFile(log).empty());
            EXPECT_EQ(sandbox_.SocketCount(), 0U);
            (void)unlink(log.c_str());
        }
    }
}

// It goes on, and tells what it could not do; nobody waits for an answer that does not come.
TEST_F(FailingService, WhileItAnswers) {
    const Failure failures[] = {{"malloc", ENOMEM},    {"accept4", EMFILE}, {"sendmsg", ENOBUFS},  {"recv", ENOMEM},
                                {"epoll_ctl", ENOSPC}, {"open", EMFILE},    {"pidfd_open", EMFILE}};
    Connect();
    bool isFirst = true;
    for (const Request& request : REQUESTS) {
        if (IsOneOfFew(request)) {
            continue;
        }
        // Over a connection that is there; the first one over a new one, which takes its time to be refused.
        const auto call = [&] { return isFirst ? CallOnAThread(request.call, false) : request.call(); };
        (void)call();
        const int usual = call();
        for (Failure failure : failures) {
            for (bool more = true; more && !HasFailure(); failure.last = failure.first += 1 + failure.first / 8) {
                SCOPED_TRACE(std::string(request.name) + ", " + Describe(failure));
                const size_t before = simulator_.Log().size();
                FailAs(failure);
                const int result = call();
                simulator_.Ask("clients");
                more = Recover() != 0;
                ASSERT_TRUE(simulator_.Child().IsAlive());
                const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
                while (result != usual && simulator_.Log().size() == before) {
                    ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "no word";
                }
                EXPECT_EQ(call(), usual);
            }
        }
        isFirst = false;
    }
    EXPECT_EQ(ReadFile(sandbox_.Path("library.log")).find("call OsMsgSynSend failed 7"), std::string::npos)
        << "timed out";
}

}  // namespace
}  // namespace orvi_test
