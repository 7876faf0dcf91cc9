// Threads, ids and pauses.
#include <atomic>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <new>
#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include "orvi_host_api.h"
#include "orvi_os_thread.h"

namespace {

struct Start {
    void* (*routine)(void*);
    void* argument;
};

// Ids are the library's own and count up, since the kernel hands out the id of an ended thread again.
uint32_t NextId() {
    static std::atomic<uint32_t> last{0};
    uint32_t id = 0;
    while (id == 0) {
        id = last.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    return id;
}

// Every signal but those that the thread raises by its own fault: a handler for these must run where it happened.
void FillThreadMask(sigset_t* mask) {
    (void)sigfillset(mask);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
        (void)sigdelset(mask, fault);
    }
}

}  // namespace

extern "C" {

// The start record is gone before the routine runs: the routine may leave by pthread_exit or never return.
static void* OrviThreadMain(void* raw) {
    const Start start = *static_cast<Start*>(raw);
    delete static_cast<Start*>(raw);
    return start.routine(start.argument);
}

ORVI_HOST_API int OsPthreadCreateId(uint32_t* id, uint32_t* attributes, uint32_t reserved, void* (*routine)(void*),
                                    void* argument) {
    if (id == nullptr || attributes == nullptr || *attributes != 0 || reserved != 0 || routine == nullptr) {
        return EINVAL;
    }
    pthread_attr_t attr;
    int error = pthread_attr_init(&attr);
    if (error != 0) {
        return error;
    }
    (void)pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    auto* const start = new (std::nothrow) Start{routine, argument};
    if (start == nullptr) {
        (void)pthread_attr_destroy(&attr);
        return ENOMEM;
    }
    // A library's thread takes no signals away from the application's own threads. The mask is inherited.
    sigset_t mask;
    sigset_t before;
    FillThreadMask(&mask);
    (void)pthread_sigmask(SIG_SETMASK, &mask, &before);
    const uint32_t idBefore = *id;
    *id = NextId();  // not after the start: the routine may read it, and its owner may be gone by then
    pthread_t thread{};
    error = pthread_create(&thread, &attr, OrviThreadMain, start);
    if (error != 0) {
        *id = idBefore;
        delete start;
    }
    (void)pthread_sigmask(SIG_SETMASK, &before, nullptr);
    (void)pthread_attr_destroy(&attr);
    return error;
}

ORVI_HOST_API int OsPthreadSetName(const char* name) {
    if (name == nullptr) {
        return EINVAL;
    }
    char cut[16] = {};
    std::memcpy(cut, name, strnlen(name, sizeof(cut) - 1));
    return pthread_setname_np(pthread_self(), cut);
}

ORVI_HOST_API uint32_t OsGetPId(void) {
    return static_cast<uint32_t>(getpid());
}

ORVI_HOST_API uint32_t OsGetUId(void) {
    return getuid();
}

ORVI_HOST_API void OsUSleep(uint32_t microseconds) {
    constexpr long kNanosPerSecond = 1000000000;
    timespec until{};
    (void)clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += static_cast<time_t>(microseconds / 1000000);
    until.tv_nsec += static_cast<long>(microseconds % 1000000) * 1000;
    if (until.tv_nsec >= kNanosPerSecond) {
        until.tv_nsec -= kNanosPerSecond;
        ++until.tv_sec;
    }
    // An absolute deadline: what a signal interrupts goes on without drifting.
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
}

}  // extern "C"
