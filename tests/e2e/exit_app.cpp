// An application that ends while messages arrive: exit_app HOW LIBRARY. HOW is where the end comes from; the exit code
// is 7 when nothing went wrong on the way. With "unload" the library is closed instead and must go on receiving.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <semaphore.h>
#include <string>
#include <thread>

#include "orvi_ai_srv.h"

namespace {

constexpr int ENOUGH = 20;  // events, so that the end comes in the midst of them
constexpr int DONE = 7;

std::string g_how;
std::atomic<int> g_events{0};
sem_t g_enough;

void OnEvent(OrviAiEventId, void*) {
    if (g_events.fetch_add(1) + 1 != ENOUGH) {
        return;
    }
    if (g_how == "callback") {
        std::exit(DONE);
    }
    sem_post(&g_enough);
}

void AwaitEnough() {
    while (sem_wait(&g_enough) != 0) {
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 || sem_init(&g_enough, 0, 0) != 0) {
        return 1;
    }
    g_how = argv[1];
    // Opened by hand for the sake of "unload"; the other ends are the same for a library that was linked.
    void* const library = dlopen(argv[2], RTLD_NOW);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 2;
    }
    int (*init)(tagOrviAppInfo, OrviAiMainCallback) = nullptr;
    void* const symbol = dlsym(library, "OrviAiSrvApiInit");
    std::memcpy(&init, &symbol, sizeof(init));
    if (init(tagOrviAppInfo{}, OnEvent) != 0) {
        return 3;
    }
    std::puts("connected");
    std::fflush(stdout);
    if (g_how == "unload" && dlclose(library) != 0) {
        return 4;
    }
    if (g_how == "thread") {
        std::thread([] {
            AwaitEnough();
            std::exit(DONE);
        }).detach();
        for (;;) {
            std::this_thread::sleep_for(std::chrono::hours(1));
        }
    }
    AwaitEnough();
    if (g_how == "main") {
        std::exit(DONE);
    }
    return DONE;
}
