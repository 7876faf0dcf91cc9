// A platform that does nothing and takes no memory: for tests that count what the library itself takes. One-way sends
// succeed, synchronous ones are answered with `gQuietReply`, monitored memory comes from a fixed block.
#include "quiet_platform.h"

#include <cstring>

#include "orvi_ai_common.h"
#include "orvi_om_log_client.h"
#include "orvi_os_mem.h"
#include "orvi_os_msg.h"
#include "orvi_os_thread.h"
#include "orvi_securec.h"

std::vector<uint8_t> gQuietReply;
std::vector<uint8_t> gQuietCapabilities;
int gQuietSends = 0;
int gQuietMonitored = 0;

namespace {
TagMsgBlock gReplyBlock;
unsigned char gMonitored[32 * 1024];
}  // namespace

extern "C" {

int OsMsgGetProcName(char*, uint32_t) {
    return 1;
}
int OsMsgInit(const char*) {
    return 0;
}
int OsMsgRegLogFunc(OsMsgLogFunc) {
    return 0;
}
int OsMsgSetLogLevel(uint32_t) {
    return 0;
}
int OsMsgRegTask(const char*, uint32_t, OsMsgHandler) {
    return 0;
}
int OsMsgUnregTask(const char*, uint32_t, const char*) {
    return 0;
}
int OsMsgSubscribeEvent(const OsMsgSubscribeEntry*, uint32_t) {
    return 0;
}
int OsMsgTaskRoutineByName(const char*) {
    return 0;
}
int OsMsgAsynSend(TagMsgBlock*) {
    ++gQuietSends;
    return 0;
}
int OsMsgSynSend(TagMsgBlock*, TagMsgBlock** reply, uint32_t) {
    ++gQuietSends;
    gReplyBlock.data = gQuietReply.data();
    gReplyBlock.dataLen = static_cast<uint32_t>(gQuietReply.size());
    *reply = &gReplyBlock;
    return 0;
}
int OsMsgSynRespFree(TagMsgBlock*) {
    return 0;
}
int OsPthreadCreateId(uint32_t*, uint32_t*, uint32_t, void* (*)(void*), void*) {
    return 0;
}
int OsPthreadSetName(const char*) {
    return 0;
}
uint32_t OsGetPId(void) {
    return 1;
}
uint32_t OsGetUId(void) {
    return 1000;
}
void OsUSleep(uint32_t) {}
void* OsMemMallocSetCharMon(uint32_t size, uint32_t, uint32_t, uint32_t, uint32_t, const char*) {
    ++gQuietMonitored;
    return size <= sizeof(gMonitored) ? gMonitored : nullptr;
}
void OSMemTypeFreeMon(void*, uint32_t, uint32_t, uint32_t, const char*) {}
uint32_t OrviAiGetAiLogFileId(const char*) {
    return 0;
}
int OrviAiClientLogInit(void) {
    return 0;
}
int OrviAiLogUinit(void) {
    return 0;
}
uint8_t GetGucAITraceLevel(void) {
    return 0;
}
void OrviAiGetTraceString(char*, uint32_t, char* line) {
    line[0] = '\0';
}
void OrviAiTracePrintf(const char*, ...) {}
void* OrviAiGetXmlData(void) {
    return gQuietCapabilities.data();
}
void OrviOmLogModuleLogRecord(uint32_t, uint32_t, const char*, uint32_t, uint32_t, const char*, ...) {}
void OrviOmLogStormLogRecord(uint32_t, uint32_t, const char*, uint32_t, uint32_t, const char*, ...) {}

int memset_s(void* destination, size_t, int value, size_t count) {
    memset(destination, value, count);
    return 0;
}
int memcpy_s(void* destination, size_t destinationSize, const void* source, size_t count) {
    if (count > destinationSize) {
        return 34;
    }
    memcpy(destination, source, count);
    return 0;
}
int strcpy_s(char* destination, size_t destinationSize, const char* source) {
    return memcpy_s(destination, destinationSize, source, strlen(source) + 1);
}
int strncpy_s(char* destination, size_t destinationSize, const char* source, size_t count) {
    const size_t length = strnlen(source, count);
    if (length >= destinationSize) {
        return 34;
    }
    memcpy(destination, source, length);
    destination[length] = '\0';
    return 0;
}
int snprintf_s(char* destination, size_t, size_t, const char*, ...) {
    destination[0] = '\0';
    return 0;
}

}  // extern "C"
