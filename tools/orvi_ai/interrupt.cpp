#include "interrupt.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <pthread.h>
#include <thread>
#include <unistd.h>

#include "event_stream.h"

namespace orvi_ai {
namespace {

constexpr long GRACE_NS = 700'000'000;

std::atomic<bool> g_hasLeft{false};

void AwaitSignals(sigset_t signals) {
    int signal = 0;
    if (sigwait(&signals, &signal) != 0) {
        return;
    }
    Events::Interrupt();
    const timespec grace{0, GRACE_NS};
    (void)sigtimedwait(&signals, nullptr, &grace);  // a second signal is impatience
    if (g_hasLeft) {
        return;
    }
    static constexpr char TEXT[] = "orvi-ai: interrupted while the service was asked\n";
    if (write(STDERR_FILENO, TEXT, sizeof(TEXT) - 1) < 0) {
        // nobody reads it
    }
    _exit(1);
}

}  // namespace

void StopHurrying() {
    g_hasLeft = true;
}

void CatchInterrupts() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    (void)pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread(AwaitSignals, signals).detach();
}

}  // namespace orvi_ai
