#include <atomic>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <pthread.h>
#include <semaphore.h>
#include <set>
#include <signal.h>
#include <string>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "orvi_host_mem.h"
#include "orvi_os_mem.h"
#include "orvi_os_thread.h"

namespace {

void* Allocate(uint32_t size) {
    return OsMemMallocSetCharMon(size, 0, 0, 0, 11, "os_test.cpp");
}
void Release(void* block) {
    OSMemTypeFreeMon(block, 0, 0, 12, "os_test.cpp");
}

TEST(OsMem, BooksBlocksAndBytes) {
    void* const none = Allocate(0);
    auto* const some = static_cast<unsigned char*>(Allocate(100));
    ASSERT_NE(none, nullptr);
    ASSERT_NE(some, nullptr);
    EXPECT_NE(none, some);
    EXPECT_NE(some[0], 0) << "a block must not come zeroed: nobody may count on it";
    std::memset(some, 1, 100);
    EXPECT_EQ(OrviHostMemLiveBlocks(), 2U);
    EXPECT_EQ(OrviHostMemLiveBytes(), 100U);
    Release(none);
    Release(some);
    Release(nullptr);
    EXPECT_EQ(OrviHostMemLiveBlocks(), 0U);
    EXPECT_EQ(OrviHostMemLiveBytes(), 0U);
    EXPECT_EQ(OrviHostMemRefusedFrees(), 0U);
}

// A release that is wrong is told in one line and changes nothing.
TEST(OsMem, RefusesWrongReleases) {
    auto* const block = static_cast<char*>(Allocate(16));
    void* const gone = Allocate(16);
    Release(gone);
    char local[16] = {};
    const struct {
        const char* what;
        void* pointer;
    } cases[] = {{"released before", gone}, {"never allocated", local}, {"inside a block", block + 4}};
    uint64_t refused = 0;
    for (const auto& c : cases) {
        testing::internal::CaptureStderr();
        Release(c.pointer);
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(OrviHostMemRefusedFrees(), ++refused) << c.what;
        EXPECT_NE(said.find("release refused"), std::string::npos) << c.what;
        EXPECT_NE(said.find("os_test.cpp:12\n"), std::string::npos) << c.what;
        EXPECT_EQ(said.find('\n'), said.size() - 1) << c.what;
    }
    EXPECT_EQ(OrviHostMemLiveBlocks(), 1U);
    Release(block);
}

// What the started routine saw of its own thread.
struct Seen {
    uint32_t id = 0;
    uint32_t idInRoutine = 0;
    sigset_t mask{};
    std::string name;
    bool leaveByExit = false;
    sem_t done{};
};

void* Look(void* raw) {
    auto* const seen = static_cast<Seen*>(raw);
    seen->idInRoutine = seen->id;
    (void)pthread_sigmask(SIG_BLOCK, nullptr, &seen->mask);
    EXPECT_EQ(OsPthreadSetName("a name of more than fifteen"), 0);
    char name[32] = {};
    (void)pthread_getname_np(pthread_self(), name, sizeof(name));
    seen->name = name;
    const bool leave = seen->leaveByExit;
    (void)sem_post(&seen->done);
    if (leave) {
        pthread_exit(nullptr);
    }
    return nullptr;
}

TEST(OsThread, RunsRoutineOnAThreadOfItsOwn) {
    sigset_t before;
    (void)pthread_sigmask(SIG_BLOCK, nullptr, &before);
    std::set<uint32_t> ids;
    for (int round = 0; round < 8; ++round) {
        Seen seen;
        seen.leaveByExit = round % 2 == 1;
        uint32_t attributes = 0;
        ASSERT_EQ(sem_init(&seen.done, 0, 0), 0);
        ASSERT_EQ(OsPthreadCreateId(&seen.id, &attributes, 0, Look, &seen), 0);
        while (sem_wait(&seen.done) != 0) {
        }
        EXPECT_NE(seen.id, 0U);
        EXPECT_EQ(seen.idInRoutine, seen.id) << "the id must stand there before the routine runs";
        EXPECT_TRUE(ids.insert(seen.id).second);
        EXPECT_EQ(seen.name, "a name of more ");
        EXPECT_EQ(sigismember(&seen.mask, SIGTERM), 1) << "the application's signals go to its own threads";
        EXPECT_EQ(sigismember(&seen.mask, SIGSEGV), 0) << "a fault's handler must run";
    }
    sigset_t after;
    (void)pthread_sigmask(SIG_BLOCK, nullptr, &after);
    EXPECT_EQ(sigismember(&after, SIGTERM), sigismember(&before, SIGTERM)) << "the caller's mask is its own again";
}

void* Nothing(void*) {
    return nullptr;
}

TEST(OsThread, RefusesWhatItCannotStart) {
    uint32_t id = 77;
    uint32_t zero = 0;
    uint32_t one = 1;
    EXPECT_NE(OsPthreadCreateId(nullptr, &zero, 0, Nothing, nullptr), 0);
    EXPECT_NE(OsPthreadCreateId(&id, nullptr, 0, Nothing, nullptr), 0);
    EXPECT_NE(OsPthreadCreateId(&id, &one, 0, Nothing, nullptr), 0);
    EXPECT_NE(OsPthreadCreateId(&id, &zero, 1, Nothing, nullptr), 0);
    EXPECT_NE(OsPthreadCreateId(&id, &zero, 0, nullptr, nullptr), 0);
    EXPECT_NE(OsPthreadSetName(nullptr), 0);
    // A stack that no address space holds: the system refuses the thread.
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, SIZE_MAX / 4 * 3 & ~size_t{0xFFFF}), 0);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
    EXPECT_NE(OsPthreadCreateId(&id, &zero, 0, Nothing, nullptr), 0);
    EXPECT_EQ(id, 77U);
    (void)pthread_attr_destroy(&attributes);
}

std::atomic<int> gAlarms{0};

// A pause that signals interrupt again and again still lasts its time.
TEST(OsThread, PauseIsNeverShorter) {
    struct sigaction action {};
    action.sa_handler = [](int) { gAlarms.fetch_add(1); };
    ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
    const itimerval every{{0, 3000}, {0, 3000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &every, nullptr), 0);
    for (const uint32_t pause : {0U, 50U, 60000U}) {
        timespec start{};
        timespec end{};
        (void)clock_gettime(CLOCK_MONOTONIC, &start);
        OsUSleep(pause);
        (void)clock_gettime(CLOCK_MONOTONIC, &end);
        const int64_t lasted =
            (static_cast<int64_t>(end.tv_sec) - start.tv_sec) * 1000000000 + (end.tv_nsec - start.tv_nsec);
        EXPECT_GE(lasted, static_cast<int64_t>(pause) * 1000);
    }
    const itimerval never{};
    ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
    EXPECT_GT(gAlarms, 0);
}

TEST(OsThread, Ids) {
    EXPECT_EQ(OsGetPId(), static_cast<uint32_t>(getpid()));
    EXPECT_EQ(OsGetUId(), static_cast<uint32_t>(getuid()));
}

}  // namespace
