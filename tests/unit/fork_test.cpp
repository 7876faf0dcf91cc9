// Forks while other threads hold the library's locks: what a child of the process may expect, and that it never hangs.
#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "face_registry.h"
#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "requests.h"

using OrviAiService::AiSrvServiceProxy;
using OrviAiService::CallFaceCallback;
using OrviAiService::StoreFaceCallback;

namespace {

constexpr int FINE = 7;
const pid_t g_parent = getpid();

int AwaitExitCode(pid_t child) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Forks on this thread: the exit code of a child that runs `body` and exits with its result.
int ExitCodeOfChild(int (*body)()) {
    const pid_t child = fork();
    if (child == 0) {
        (void)alarm(20);  // ends a child that hangs
        std::exit(body());
    }
    return AwaitExitCode(child);
}

int g_exitCode = 0;

// The same on another thread than the caller, who may hold a lock; the code is in g_exitCode.
void ForkOnAnotherThread(int (*body)()) {
    std::thread([body] { g_exitCode = ExitCodeOfChild(body); }).join();
}

bool g_forkInNew = false;

tagOrviAiSrvFaceDetEvent g_face = {};

int GiveFaceEvent() {
    TagMsgBlock block = {};
    block.msgId = 0x60000C;
    block.data = &g_face;
    block.dataLen = sizeof(g_face);
    return AiSrvServiceProxy::AiVisionProxyMsgHandler(&block);
}

// In a child: each request fails without a word to the bus, the rest works, also while the process ends.
int CallEverything() {
    FakePlatform& platform = FakePlatform::Get();
    (void)platform.Take();
    AiSrvServiceProxy::isVisionOK = false;  // the director would wait for the service
    for (const Request& request : REQUESTS) {
        if (request.call() != -1) {
            fprintf(stderr, "%s works\n", request.name);
            return 2;
        }
    }
    tagOrviAiAbility ability;
    char version[8];
    OrviAiAssistantAbility assistant;
    if (OrviAiSrvApiInit({}, [](OrviAiEventId, void*) {}) != -1 || OrviAiSrvApiDeinit() != -1 ||
        OrviAiAssistantGetStatus() != ORVI_AI_ASSISTANT_STATUS_NONE || GiveFaceEvent() != -1) {
        return 3;
    }
    if (OrviAiSrvGetVersion(version, sizeof(version)) != 0 || OrviAiAssistantGetAbility(&assistant) != 0 ||
        (platform.capabilityRecord != nullptr && OrviAiSrvGetAbility(&ability) != 0)) {
        return 4;
    }
    for (const std::string& line : platform.Take()) {
        if (line.find("syn 0x") != std::string::npos || line.find("OsMemMalloc") == 0 || line.find("OsMsgInit") == 0) {
            fprintf(stderr, "%s\n", line.c_str());
            return 5;
        }
    }
    const bool kept = std::atexit([] {
                          if (OrviAiSrvApiDeinit() != -1) {
                              _exit(6);
                          }
                      }) == 0;
    return kept ? FINE : 1;
}

int InitResult() {
    return OrviAiSrvApiInit({}, [](OrviAiEventId, void*) {});
}

class Fork : public PlatformTest {
 protected:
    // Threads that do this over and over while forks are made here.
    void ForkWhile(const std::vector<void (*)()>& work, int forks, int (*body)()) {
        std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        for (const auto step : work) {
            threads.emplace_back([&stop, step] {
                while (!stop) {
                    step();
                }
            });
        }
        for (int i = 0; i < forks && !HasFailure(); ++i) {
            EXPECT_EQ(ExitCodeOfChild(body), FINE) << "fork " << i;
        }
        stop = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    static void Dispatch() { EXPECT_TRUE(CallFaceCallback(0, &g_face)); }
    static void ReadNames() {
        tagAiTaskBasicInfo info;
        EXPECT_EQ(AiSrvServiceProxy::GetInstance().SetProxyInfo(info), 0);
    }
};

}  // namespace

// In a child forked by another thread the leak check misses what the stacks of the parent's threads point to: there is
// no such thread. It asks here.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return getpid() != g_parent;
}

void* operator new(size_t size) {
    if (g_forkInNew) {
        g_forkInNew = false;
        ForkOnAnotherThread(CallEverything);
    }
    void* const block = malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}
void operator delete(void* block) noexcept {
    free(block);
}
void operator delete(void* block, size_t) noexcept {
    free(block);
}

namespace {

TEST_F(Fork, WhileInitialisationRuns) {
    platform.onMsgInit = [] { ForkOnAnotherThread(CallEverything); };
    EXPECT_EQ(InitResult(), 0);
    EXPECT_EQ(g_exitCode, FINE);
}

TEST_F(Fork, WhileTheFaceCallbacksChange) {
    Init();
    g_forkInNew = true;  // the map takes memory for a new source, under its lock
    EXPECT_TRUE(StoreFaceCallback(0, [](tagOrviAiSrvFaceDetEvent*) {}));
    EXPECT_FALSE(g_forkInNew);
    EXPECT_EQ(g_exitCode, FINE);
}

TEST_F(Fork, WhileEventsAreDispatchedAndNamesAreRead) {
    Init();
    ASSERT_TRUE(StoreFaceCallback(0, [](tagOrviAiSrvFaceDetEvent*) {}));
    ForkWhile({Dispatch, Dispatch, ReadNames, ReadNames}, 100, CallEverything);
}

pid_t g_child = -1;

TEST_F(Fork, InsideACallback) {
    Init();
    ASSERT_TRUE(StoreFaceCallback(0, [](tagOrviAiSrvFaceDetEvent*) {}));
    ASSERT_TRUE(StoreFaceCallback(1, [](tagOrviAiSrvFaceDetEvent*) {
        g_child = fork();
        if (g_child == 0) {
            (void)alarm(20);
        }
    }));
    std::atomic<bool> stop{false};
    std::thread others([&stop] {
        while (!stop) {
            Dispatch();
        }
    });
    for (int i = 0; i < 50 && !HasFailure(); ++i) {
        EXPECT_TRUE(CallFaceCallback(1, &g_face));  // the child, too, returns from its callback
        if (g_child == 0) {
            std::exit(CallEverything());
        }
        EXPECT_EQ(AwaitExitCode(g_child), FINE);
    }
    stop = true;
    others.join();
}

TEST_F(Fork, BeforeInitialisationAChildIsAProcessOfItsOwn) {
    ForkWhile({ReadNames, ReadNames}, 100, [] { return InitResult() == 0 ? FINE : 1; });
    EXPECT_EQ(InitResult(), 0);
}

}  // namespace
