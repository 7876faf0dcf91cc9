// Short of memory: every allocation of the face functions fails in turn, and nothing is left behind. The program's
// own allocation functions count what the library holds and refuse on demand.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy_photos.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

constexpr size_t LARGEST = size_t{1} << 30;

// Arrays of the nothrow operator new: those of the library, no other code here uses it.
int g_arrays = 0;
int g_failArray = 0;  // 1 = the next
size_t g_lastArray = 0;
bool g_failRecord = false;
size_t g_failNewOfSize = 0;

}  // namespace

void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    g_lastArray = size;
    if ((g_failArray > 0 && --g_failArray == 0) || size > LARGEST) {
        return nullptr;
    }
    ++g_arrays;
    return malloc(size);
}
__attribute__((noinline)) void operator delete[](void* block) noexcept {
    if (block != nullptr) {
        --g_arrays;
        free(block);
    }
}
__attribute__((noinline)) void operator delete[](void* block, size_t) noexcept {
    ::operator delete[](block);
}
void* operator new[](size_t size) {
    void* const block = ::operator new[](size, std::nothrow);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

// Not inlined, or the compiler takes free() for a wrong end of its own operator new.
__attribute__((noinline)) void* operator new(size_t size) {
    void* const block = size == g_failNewOfSize ? nullptr : malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}
__attribute__((noinline)) void operator delete(void* block) noexcept {
    free(block);
}
__attribute__((noinline)) void operator delete(void* block, size_t) noexcept {
    free(block);
}

// The linker puts these in the place of malloc and free in everything that is linked into this program.
extern "C" {
void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size);
void* __wrap_malloc(size_t size) {
    return g_failRecord && size == sizeof(tagAiDetClientInfo) ? nullptr : __real_malloc(size);
}
}

namespace {

class FaceMemory : public PlatformTest {};

TEST_F(FaceMemory, NoRecordNoDetector) {
    Init();
    void* handle = nullptr;
    g_failRecord = true;
    EXPECT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 1, 0, [](tagOrviAiSrvFaceDetEvent*) {}), -1);
    g_failRecord = false;
    EXPECT_EQ(platform.TakeWithoutInfo(), Lines{"error <OrviAiSrvCreateFaceDetector> malloc failed"});
    EXPECT_EQ(handle, nullptr);
}

TEST_F(FaceMemory, ACallbackThatCannotBeStoredFailsTheCreate) {
    Init();
    // A node of the callback map: a link, the key, the callback.
    struct Node {
        void* next;
        std::pair<const int, OrviAiSrvFaceCallback> entry;
    };
    void* handle = nullptr;
    platform.QueueReply(Bytes(52, 0));
    g_failNewOfSize = sizeof(Node);
    const int result = OrviAiSrvCreateFaceDetector(&handle, 0, 1, 0, [](tagOrviAiSrvFaceDetEvent*) {});
    g_failNewOfSize = 0;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(
        platform.TakeWithoutInfo(),
        (Lines{
            "syn 0x600002 ai_v_task_i len=48 wait=0", "free reply",
            "error <AiSrvServiceProxy::CreateDetectTrackProxy> failed: store callback failed.",
            "error <OrviAiSrvCreateFaceDetector> create face detector failed: call CreateDetectTrackProxy failed."}));
}

TEST_F(FaceMemory, AHotWordWithoutMemoryIsNotSent) {
    Init();
    tagOrviAppInfo application = {};
    memcpy(application.appId, "app", 4);
    std::string words = "lights";
    g_failArray = 1;
    EXPECT_EQ(OrviAiAssistantInitKeyWord(application), -1);
    g_failArray = 1;
    EXPECT_EQ(OrviAiAssistantUpdateKeyWord(application, ORVI_AI_HOTWORD_UPDATE_TYPE1, words), -1);
    g_failArray = 0;
    const Lines lines = platform.TakeWithoutInfo();
    for (const char* const error :
         {"error <AssistantInitKeyWord> failed: no memory for the key. appId[app]",
          "error <AssistantUpdateKeyWord> failed: no memory for the key. type[1], appId[app]"}) {
        EXPECT_NE(std::find(lines.begin(), lines.end(), error), lines.end()) << error;
    }
    for (const std::string& line : lines) {
        EXPECT_NE(line.find("asyn"), 0U) << line;
    }
}

TEST_F(FaceMemory, EachAllocationOfAQueryFailsInTurn) {
    Bytes reply = {2, 0, 0, 0};
    for (uint8_t photo = 1; photo <= 2; ++photo) {
        reply.insert(reply.end(), {photo, 0, 0, 0, 3, 0, 0, 0, 1, 2, 3});
    }
    const std::string error = "error <AiSrvServiceProxy::GetFaceDetectorById> failed: ";
    tagAiDetClientInfo detector = {};
    int id = 1;
    const int before = g_arrays;
    for (int nth = 1; nth <= 4; ++nth) {
        SCOPED_TRACE(nth);
        tagOrviAiSrvPhotoResult result = {};
        platform.QueueReply(reply);
        g_failArray = nth;
        const int status = OrviAiSrvFaceDetectorGetById(&detector, &id, 1, &result);
        EXPECT_EQ(result.photoNums, 2);
        const Lines lines = platform.Take();
        if (nth == 4) {  // the list and two images
            EXPECT_EQ(status, 0);
            EXPECT_EQ(g_arrays, before + 3);
            g_failArray = 0;
            OrviAiService::FreePhotoResult(&result, result.photoNums);
        } else {
            EXPECT_EQ(status, -1);
            EXPECT_EQ(result.photoList, nullptr);
            EXPECT_EQ(lines[1], error + (nth == 1 ? "new photoList fail." : "new photoInfo->imgData fail."));
        }
        EXPECT_EQ(g_arrays, before);
    }
}

TEST_F(FaceMemory, CountsBeyondTheDevicesMemoryAskForTheLargestSize) {
    const int before = g_arrays;
    for (const int32_t count : {(1 << 28) - 1, 1 << 28, (1 << 28) + 1, INT32_MAX}) {
        Bytes reply(4);
        memcpy(reply.data(), &count, sizeof(count));
        const size_t size = count < 1 << 28 ? static_cast<size_t>(count) * sizeof(tagOrviAiSrvPhotoInfo) : SIZE_MAX;
        const bool bounded[] = {false, true};
        for (const bool isBounded : bounded) {
            tagOrviAiSrvPhotoResult result = {};
            g_lastArray = 0;
            // The bounded parser is told of a reply that could hold them.
            const int status = isBounded ? OrviAiService::PhotoResultExtractBounded(reply.data(), UINT32_MAX, &result)
                                         : OrviAiService::PhotoResultExtract(reply.data(), &result);
            EXPECT_EQ(status, -1);
            const bool asks = !isBounded || static_cast<uint32_t>(count) <= (UINT32_MAX - 4) / 8;
            EXPECT_EQ(g_lastArray, asks ? size : 0U);
            EXPECT_EQ(result.photoNums, count);
            EXPECT_EQ(result.photoList, nullptr);
        }
    }
    EXPECT_EQ(g_arrays, before);
}

TEST_F(FaceMemory, AnImageOfTheLargestLengthFailsAlone) {
    Bytes reply = {2, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 8, 8, 2, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    const int before = g_arrays;
    tagOrviAiSrvPhotoResult result = {};
    EXPECT_EQ(OrviAiService::PhotoResultExtract(reply.data(), &result), -1);
    EXPECT_EQ(g_lastArray, 0xFFFFFFFFU);
    EXPECT_EQ(result.photoList, nullptr);
    EXPECT_EQ(g_arrays, before);
}

}  // namespace
