#include "failing_system.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace orvi_test {
namespace {

struct State {
    char call[24];  // this and what fails of it are written while nobody counts
    int error;
    int first;
    int last;
    int step;
    std::atomic<bool> armed;
    std::atomic<int> count;
    std::atomic<int> failed;
};
State g_own;
State* g_state = &g_own;
thread_local bool t_suffers = false;
bool g_everybodySuffers = false;

bool Fails(const char* call) {
    State& state = *g_state;
    if (!(t_suffers || g_everybodySuffers) || !state.armed.load() || std::strcmp(call, state.call) != 0) {
        return false;
    }
    const int count = ++state.count;
    if (count < state.first || count > state.last || (count - state.first) % state.step != 0) {
        return false;
    }
    ++state.failed;
    errno = state.error;
    return true;
}

State* Map(const char* path, int flags) {
    const int file = open(path, flags | O_RDWR | O_CLOEXEC, 0600);
    void* mapped = MAP_FAILED;
    if (file >= 0 && ftruncate(file, sizeof(State)) == 0) {
        mapped = mmap(nullptr, sizeof(State), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    (void)close(file);
    return mapped != MAP_FAILED ? static_cast<State*>(mapped) : nullptr;
}

// What the C library, or a sanitizer in front of it, has under that name; `known` keeps it: a guarded static would wait
// by one of the calls that stand here. The search itself may take memory.
void* Next(const char* name, std::atomic<void*>& known) {
    if (void* const found = known.load(std::memory_order_acquire)) {
        return found;
    }
    const bool suffers = t_suffers;
    t_suffers = false;
    void* found = dlsym(RTLD_NEXT, name);
    t_suffers = suffers;
    known.store(found, std::memory_order_release);
    return found;
}

// Six words are what any of these calls takes, as the calling conventions of all three ABIs pass them: those that a call
// does not have are passed on as they lie there.
using Word = long;
using Passed = Word (*)(Word, Word, Word, Word, Word, Word);

}  // namespace

void FailAs(const Failure& failure) {
    State& state = *g_state;
    state.call[std::string(failure.call).copy(state.call, sizeof(state.call) - 1)] = '\0';
    state.error = failure.error;
    state.first = failure.first;
    state.last = failure.last;
    state.step = failure.step;
    state.count = 0;
    state.failed = 0;
    state.armed = true;
}

int Recover() {
    g_state->armed = false;
    return g_state->failed;
}

void SufferAsToldByEnvironment() {
    const char* const path = std::getenv("ORVI_TEST_FAILING");
    if (State* const state = path != nullptr ? Map(path, 0) : nullptr; state != nullptr) {
        g_state = state;
        g_everybodySuffers = true;
    }
}

void SufferElsewhere(const std::string& path) {
    if (State* const state = Map(path.c_str(), O_CREAT); state != nullptr) {
        g_state = state;
    }
}

void Suffer(bool suffers) {
    t_suffers = suffers;
}

std::string Describe(const Failure& failure) {
    std::string text = std::string(failure.call) + " number " + std::to_string(failure.first);
    if (failure.last != failure.first) {
        text += " to " + std::to_string(failure.last) + " by " + std::to_string(failure.step);
    }
    return text + " fails with " + std::strerror(failure.error);
}

}  // namespace orvi_test

// One for each call: `symbol` is its name in the C library, `name` what a test calls it. An assembler's name is a literal,
// which no template can give.
#define ORVI_SEEN __attribute__((visibility("default")))
#define ORVI_FAILING(function, symbol, name)                                                   \
    extern "C" ORVI_SEEN long function(long, long, long, long, long, long) __asm__(symbol);    \
    long function(long a, long b, long c, long d, long e, long f) {                            \
        static std::atomic<void*> known{nullptr};                                              \
        const auto next = reinterpret_cast<orvi_test::Passed>(orvi_test::Next(symbol, known)); \
        return orvi_test::Fails(name) ? -1 : next(a, b, c, d, e, f);                           \
    }

ORVI_FAILING(FailingSocket, "socket", "socket")
ORVI_FAILING(FailingConnect, "connect", "connect")
ORVI_FAILING(FailingAccept, "accept4", "accept4")
ORVI_FAILING(FailingBind, "bind", "bind")
ORVI_FAILING(FailingListen, "listen", "listen")
ORVI_FAILING(FailingSendMessage, "sendmsg", "sendmsg")
ORVI_FAILING(FailingReceive, "recv", "recv")
ORVI_FAILING(FailingPoll, "poll", "poll")
ORVI_FAILING(FailingExactPoll, "ppoll", "ppoll")
ORVI_FAILING(FailingEpoll, "epoll_create1", "epoll_create1")
ORVI_FAILING(FailingEpollControl, "epoll_ctl", "epoll_ctl")
ORVI_FAILING(FailingEpollWait, "epoll_wait", "epoll_wait")
ORVI_FAILING(FailingEvent, "eventfd", "eventfd")
ORVI_FAILING(FailingInotify, "inotify_init1", "inotify_init1")
ORVI_FAILING(FailingInotifyWatch, "inotify_add_watch", "inotify_add_watch")
ORVI_FAILING(FailingOpen, "open", "open")
ORVI_FAILING(FailingOpen64, "open64", "open")
ORVI_FAILING(FailingFcntl, "fcntl", "fcntl")
ORVI_FAILING(FailingFcntl64, "fcntl64", "fcntl")
ORVI_FAILING(FailingRead, "read", "read")
ORVI_FAILING(FailingWrite, "pwrite", "pwrite")
ORVI_FAILING(FailingWrite64, "pwrite64", "pwrite")
ORVI_FAILING(FailingRename, "rename", "rename")
ORVI_FAILING(FailingLink, "link", "link")
ORVI_FAILING(FailingChangeMode, "fchmod", "fchmod")
ORVI_FAILING(FailingStatus, "lstat", "lstat")
ORVI_FAILING(FailingStatus64, "lstat64", "lstat")
ORVI_FAILING(FailingThread, "pthread_create", "pthread_create")

// The clock that somebody can set: what should fail is a day off, in turns before and behind.
namespace {

long StepOf(clockid_t clock) {
    constexpr long DAY_S = 24L * 60 * 60;
    if (clock != CLOCK_REALTIME || !orvi_test::Fails("clock")) {
        return 0;
    }
    return orvi_test::g_state->failed.load() % 2 == 0 ? DAY_S : -DAY_S;
}

}  // namespace

extern "C" ORVI_SEEN int clock_gettime(clockid_t clock, timespec* now) noexcept {
    static std::atomic<void*> known{nullptr};
    const auto next = reinterpret_cast<int (*)(clockid_t, timespec*)>(orvi_test::Next("clock_gettime", known));
    const int result = next(clock, now);
    now->tv_sec += StepOf(clock);
    return result;
}
extern "C" ORVI_SEEN time_t time(time_t* now) noexcept {
    timespec exact{};
    (void)clock_gettime(CLOCK_REALTIME, &exact);
    if (now != nullptr) {
        *now = exact.tv_sec;
    }
    return exact.tv_sec;
}

// On 32-bit a sanitizer starts through this name, before code that it checks can run.
#if !defined(__SANITIZE_ADDRESS__) || defined(__x86_64__)
extern "C" ORVI_SEEN long FailingSystemCall(long, long, long, long, long, long, long) __asm__("syscall");
long FailingSystemCall(long number, long a, long b, long c, long d, long e, long f) {
    using Passed = long (*)(long, long, long, long, long, long, long);
    static std::atomic<void*> known{nullptr};
    const auto next = reinterpret_cast<Passed>(orvi_test::Next("syscall", known));
    return number == SYS_pidfd_open && orvi_test::Fails("pidfd_open") ? -1 : next(number, a, b, c, d, e, f);
}
#endif

// A sanitizer has the memory of a process to itself.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

ORVI_SEEN void* malloc(size_t size) {
    return orvi_test::Fails("malloc") ? nullptr : __libc_malloc(size);
}
ORVI_SEEN void* calloc(size_t count, size_t size) {
    return orvi_test::Fails("malloc") ? nullptr : __libc_calloc(count, size);
}
ORVI_SEEN void* realloc(void* block, size_t size) {
    return orvi_test::Fails("malloc") ? nullptr : __libc_realloc(block, size);
}
}
#endif
