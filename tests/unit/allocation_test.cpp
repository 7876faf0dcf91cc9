// How often a call takes heap memory. The whole process's allocation functions are counted; a bus that takes none,
// and monitored memory without its book-keeping, stand in the place of the host's.
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

#include "orvi_ai_common.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_os_mem.h"
#include "requests.h"

namespace {
bool g_counting = false;
int g_allocations = 0;
int g_sends = 0;
uint8_t g_reply[4] = {};
TagMsgBlock g_replyBlock;
int32_t g_capabilities[89];  // 356 bytes

void Count() {
    g_allocations += g_counting ? 1 : 0;
}
}  // namespace

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) {
    Count();
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    Count();
    return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
    Count();
    return __libc_realloc(block, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    Count();
    return __libc_memalign(alignment, size);
}
}

int OsMsgAsynSend(TagMsgBlock*) {
    ++g_sends;
    return 0;
}
int OsMsgSynSend(TagMsgBlock*, TagMsgBlock** reply, uint32_t) {
    ++g_sends;
    g_replyBlock.data = g_reply;
    g_replyBlock.dataLen = sizeof(g_reply);
    *reply = &g_replyBlock;
    return 0;
}
int OsMsgSynRespFree(TagMsgBlock*) {
    return 0;
}
void* OsMemMallocSetCharMon(uint32_t size, uint32_t, uint32_t, uint32_t, uint32_t, const char*) {
    return malloc(size);
}
void OSMemTypeFreeMon(void* block, uint32_t, uint32_t, uint32_t, const char*) {
    free(block);
}
void* OrviAiGetXmlData(void) {
    return g_capabilities;
}

namespace {

// Calls and expects success; how often memory was taken.
int AllocationsOf(int (*call)(), int sends) {
    g_allocations = g_sends = 0;
    g_counting = true;
    const int result = call();
    g_counting = false;
    EXPECT_EQ(result, 0);
    EXPECT_EQ(g_sends, sends);
    return g_allocations;
}

TEST(Allocation, OnlyDetectorsHotWordsAndIntentsTakeMemory) {
    OrviAiService::AiSrvServiceProxy::GetInstance().isInited = true;
    for (const Request& request : REQUESTS) {
        const std::string name = request.name;
        const bool takesOne = name.find("KeyWord") != std::string::npos || name == "OrviAiAssistantInitIntent" ||
                              name == "OrviAiSrvCreateFaceDetector" ||
                              name == "OrviAiSrvDestroyFaceDetector";  // this test's own record, which it releases
        (void)request.call();  // the first time settings are read and tables grow
        EXPECT_EQ(AllocationsOf(request.call, 1), takesOne ? 1 : 0) << name;
    }
    static char version[8];
    static tagOrviAiAbility ability;
    static OrviAiAssistantAbility assistantAbility;
    EXPECT_EQ(AllocationsOf([] { return OrviAiSrvGetVersion(version, sizeof(version)); }, 0), 0);
    EXPECT_EQ(AllocationsOf([] { return OrviAiAssistantGetAbility(&assistantAbility); }, 0), 0);
    EXPECT_EQ(AllocationsOf([] { return OrviAiSrvGetAbility(&ability); }, 0), 0);
    g_capabilities[88] = 1;  // a large model
    EXPECT_EQ(AllocationsOf([] { return OrviAiSrvGetAbility(&ability); }, 1), 0);
    EXPECT_EQ(AllocationsOf([] { return static_cast<int>(OrviAiAssistantGetStatus()); }, 1), 0);
}

}  // namespace
