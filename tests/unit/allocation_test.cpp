// How often a call takes heap memory. The whole process's allocation functions are counted, and the platform below
// the library takes none.
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "orvi_ai_srv.h"
#include "quiet_platform.h"

namespace {
bool gCounting = false;
int gAllocations = 0;

void Count() {
    gAllocations += gCounting ? 1 : 0;
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

namespace {

tagOrviAppInfo App() {
    tagOrviAppInfo info = {};
    memset(info.appId, 'a', sizeof(info.appId) - 1);  // too long for a string's own room
    return info;
}

OrviAiAssistantIntentName gIntents[ORVI_AI_ASSISTANT_INTENTS_MAX];
std::string* gWords;
OrviAiAssistantPageInfo gPageInfo;
OrviAiAssistantAbility gAssistantAbility;
tagOrviAiAbility gAbility;
char gVersion[8];

struct Call {
    const char* name;
    int (*call)();
    int allocations;
    int monitored;
    int sends;
};

const Call kCalls[] = {
    // name, call, allocations, monitored allocations, messages sent
    {"GetVersion", [] { return OrviAiSrvGetVersion(gVersion, sizeof(gVersion)); }, 0, 0, 0},
    {"GetAbility", [] { return OrviAiSrvGetAbility(&gAbility); }, 0, 0, 1},
    {"LargeModelInit", [] { return OrviAiSrvLargeModelInit(OrviAiLLMInitParams{}); }, 0, 0, 1},
    {"LargeModelRequest", [] { return OrviAiSrvLargeModelRequest(OrviAiModelParams{}); }, 0, 0, 1},
    {"LargeModelDeInit", [] { return OrviAiSrvLargeModelDeInit(OrviAiLLMInitParams{}); }, 0, 0, 1},
    {"InitKeyWord", [] { return OrviAiAssistantInitKeyWord(App()); }, 1, 0, 1},
    {"UpdateKeyWord", [] { return OrviAiAssistantUpdateKeyWord(App(), ORVI_AI_HOTWORD_UPDATE, *gWords); }, 1, 0, 1},
    {"InitIntent", [] { return OrviAiAssistantInitIntent(gIntents, ORVI_AI_ASSISTANT_INTENTS_MAX); }, 0, 1, 1},
    {"NotifyIntentResult", [] { return OrviAiAssistantNotifyIntentResult(1, {}); }, 0, 0, 1},
    {"RequestTts", [] { return OrviAiAssistantRequestTts(1, {}); }, 0, 0, 1},
    {"DisplayCard", [] { return OrviAiAssistantDisplayCard(1, {}); }, 0, 0, 1},
    {"ChooseItem", [] { return OrviAiAssistantChooseItem(1, 2); }, 0, 0, 1},
    {"WakeUp", [] { return OrviAiAssistantWakeUp(ORVI_AI_ASSISTANT_MODE_DEFAULT); }, 0, 0, 1},
    {"Sleep", [] { return OrviAiAssistantSleep(); }, 0, 0, 1},
    {"GetStatus", [] { return OrviAiAssistantGetStatus() == 0 ? 0 : -1; }, 0, 0, 1},
    {"GetPageInfo", [] { return OrviAiAssistantGetPageInfo(&gPageInfo); }, 0, 0, 1},
    {"SetPageInfo", [] { return OrviAiAssistantSetPageInfo(gPageInfo); }, 0, 0, 1},
    {"GetAssistantAbility", [] { return OrviAiAssistantGetAbility(&gAssistantAbility); }, 0, 0, 0},
};

TEST(Allocation, EachCall) {
    gWords = new std::string(5000, 'w');
    gQuietReply.assign(4, 0);
    gQuietCapabilities.assign(356, 1);
    const int32_t largeModel = 1;
    memcpy(&gQuietCapabilities[352], &largeModel, sizeof(largeModel));
    for (const Call& row : kCalls) {
        SCOPED_TRACE(row.name);
        gAllocations = gQuietMonitored = gQuietSends = 0;
        gCounting = true;
        const int result = row.call();
        gCounting = false;
        EXPECT_EQ(result, 0);
        EXPECT_EQ(gAllocations, row.allocations);
        EXPECT_EQ(gQuietMonitored, row.monitored);
        EXPECT_EQ(gQuietSends, row.sends);
    }
    delete gWords;
}

TEST(Allocation, TheCounterCounts) {
    gAllocations = 0;
    gCounting = true;
    gWords = new std::string(100, 'x');
    gCounting = false;
    delete gWords;
    EXPECT_EQ(gAllocations, 2);
}

}  // namespace
