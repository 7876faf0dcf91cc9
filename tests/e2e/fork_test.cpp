// An application that forks while the service's messages arrive.
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>

#include "vision_test.h"

namespace {
const pid_t g_parent = getpid();
}

// In the child the leak check misses what the stacks of the parent's threads point to, a message in delivery above all:
// there is no such thread. It asks here.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return getpid() != g_parent;
}

namespace orvi_test {
namespace {

class ForkTest : public VisionTest {};

TEST_F(ForkTest, AChildFailsAtOnceAndEndsWhileItsParentGoesOn) {
    constexpr int FORKS = 30;
    constexpr int PUSHES = 20;
    constexpr int FINE = 7;
    Connect();
    for (int i = 0; i < FORKS && !HasFailure(); ++i) {
        for (int push = 0; push < PUSHES; ++push) {
            (void)simulator_.Command("push 0x60002b " + std::to_string(push));
        }
        (void)std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            (void)alarm(20);  // ends a child that hangs
            void* handle = nullptr;
            const bool refused = Init() == -1 && OrviAiSrvCaptionDeInit() == -1 && OrviAiSrvDirectorStart() == -1 &&
                                 OrviAiAssistantSleep() == -1 &&
                                 OrviAiSrvCreateFaceDetector(&handle, 0, 1, 0, [](tagOrviAiSrvFaceDetEvent*) {}) == -1;
            std::exit(refused && OrviAiSrvApiDeinit() == -1 ? FINE : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == FINE) << "fork " << i << ": " << status;
    }
    for (int i = 0; i < FORKS; ++i) {
        for (int push = 0; push < PUSHES; ++push) {
            EventRecorder::ExpectStatus(ORVI_AI_STATUS_2B, push);
        }
    }
    EXPECT_EQ(OrviAiSrvNamePlateInit(), 0);
    EXPECT_EQ(OrviAiSrvNamePlateDeInit(), 0);
}

}  // namespace
}  // namespace orvi_test
