#include "fake_platform.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <pthread.h>

#include "orvi_ai_common.h"
#include "orvi_ai_srv.h"
#include "orvi_om_log_client.h"
#include "orvi_os_mem.h"
#include "orvi_os_thread.h"
#include "orvi_securec.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

__attribute__((format(printf, 1, 0))) std::string Format(const char* format, va_list arguments) {
    char text[4096];
    const int length = vsnprintf(text, sizeof(text), format, arguments);
    EXPECT_GE(length, 0);
    EXPECT_LT(length, static_cast<int>(sizeof(text)));
    return text;
}

std::string Hex(uint32_t value) {
    char text[16];
    snprintf(text, sizeof(text), "0x%06X", value);
    return text;
}

}  // namespace

// A forked child finds the recorder whole and unlocked; its thread has another id than the one that has locked here.
FakePlatform::FakePlatform() {
    EXPECT_EQ(pthread_atfork([] { Get().mutex_.lock(); }, [] { Get().mutex_.unlock(); },
                             [] { new (&Get().mutex_) std::recursive_mutex; }),
              0);
}

FakePlatform& FakePlatform::Get() {
    static FakePlatform& platform = *new FakePlatform;
    return platform;
}

void FakePlatform::Note(std::string line) {
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    lines_.push_back(std::move(line));
}

Lines FakePlatform::Take() {
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Lines taken;
    taken.swap(lines_);
    return taken;
}

Lines FakePlatform::TakeWithoutInfo() {
    Lines lines = Take();
    const auto noise = [](const std::string& line) {
        return line.compare(0, 5, "info ") == 0 || line.compare(0, 6, "storm ") == 0;
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), noise), lines.end());
    return lines;
}

bool FakePlatform::CopyFails() {
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    return failCopy_ > 0 && --failCopy_ == 0;
}

void FakePlatform::KeepPayload(const TagMsgBlock& message) {
    EXPECT_EQ(message.recvCpu, 0U);
    EXPECT_STREQ(message.recvProcName, "AI_VISION");
    const Bytes head = BytesOf(message);
    const auto zero = [](uint8_t byte) { return byte == 0; };
    EXPECT_TRUE(std::all_of(head.begin(), head.begin() + 48, zero)) << "bytes 0 to 47 belong to the bus";
    EXPECT_TRUE(std::all_of(head.begin() + 88, head.begin() + 156, zero)) << "bytes 88 to 155 belong to the bus";
    const auto* const data = static_cast<const uint8_t*>(message.data);
    lastPayloadWasNull_ = data == nullptr;
    lastPayload_.clear();
    if (data != nullptr) {
        lastPayload_.assign(data, data + message.dataLen);
    }
}

int FakePlatform::AsynSend(TagMsgBlock* message) {
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    KeepPayload(*message);
    Note("asyn " + Hex(message->msgId) + " " + message->recvTaskName + " len=" + std::to_string(message->dataLen));
    return asynSendResult;
}

int FakePlatform::SynSend(TagMsgBlock* message, TagMsgBlock** reply, uint32_t waitMs) {
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    KeepPayload(*message);
    EXPECT_EQ(*reply, nullptr) << "the reply slot starts null";
    Note("syn " + Hex(message->msgId) + " " + message->recvTaskName + " len=" + std::to_string(message->dataLen) +
         " wait=" + std::to_string(waitMs));
    if (answers_.empty()) {
        return -99;
    }
    const Answer answer = answers_.front();
    answers_.pop_front();
    if (!answer.hasBlock) {
        return answer.result;
    }
    // Block and data are separate exact allocations, so that the address sanitizer sees a read past the data.
    auto* const block = static_cast<TagMsgBlock*>(calloc(1, sizeof(TagMsgBlock)));
    block->msgId = message->msgId;
    block->dataLen = answer.dataLen;
    if (answer.hasData) {
        block->data = malloc(answer.data.size());
        if (!answer.data.empty()) {
            memcpy(block->data, answer.data.data(), answer.data.size());
        }
    }
    liveReplies_.push_back(block);
    *reply = block;
    return 0;
}

void FakePlatform::FreeReply(TagMsgBlock* reply) {
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Note("free reply");
    const auto found = std::find(liveReplies_.begin(), liveReplies_.end(), reply);
    if (found == liveReplies_.end()) {
        ADD_FAILURE() << "a reply block is released that is not live";
        return;
    }
    liveReplies_.erase(found);
    free(reply->data);
    free(reply);
}

// A record tells by its source, line and format which function speaks: a filter may go by any of them.
void FakePlatform::NoteRecord(const char* kind, const char* source, uint32_t length, uint32_t line, const char* format,
                              va_list arguments) {
    EXPECT_EQ(strlen(source), length) << source;
    const std::string text = Format(format, arguments);
    const std::string name = text.substr(0, text.find(text[0] == '<' ? '>' : ' '));
    EXPECT_EQ(std::string(format).substr(0, name.size()), name) << "the format names its function itself";
    const size_t first = text[0] == '<' ? 1 : 0;
    const std::string file = text.compare(first, 15, "OrviAiAssistant") == 0 ? "orvi_ai_assistant_interface"
                             : text.compare(first, 6, "OrviAi") == 0         ? "orvi_ai_srv_interface"
                                                                             : "orvi_ai_srv_proxy";
    EXPECT_EQ(std::string(source).substr(0, file.size()), file) << text;
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    const std::string& former = formats_.emplace(std::string(source) + std::to_string(line), format).first->second;
    EXPECT_EQ(former, format) << "two formats in line " << line << " of " << source;
    Note(kind + text);
}

void PlatformTest::TearDown() {
    EXPECT_EQ(platform.LiveReplies(), 0U) << "a reply block was not released";
    EXPECT_EQ(platform.liveMonitored, 0) << "monitored memory was not released";
}

int PlatformTest::Give(uint32_t msgId, const Bytes& payload, const char* process, uint32_t senderUid) {
    TagMsgBlock block = {};
    block.msgId = msgId;
    block.senderUid = senderUid;
    memcpy(block.procName, process, strnlen(process, sizeof(block.procName)));
    const std::unique_ptr<uint8_t[]> data(payload.empty() ? nullptr : new uint8_t[payload.size()]);
    std::copy(payload.begin(), payload.end(), data.get());
    block.data = data.get();
    block.dataLen = static_cast<uint32_t>(payload.size());
    FakePlatform::Get().given = block.data;
    return AiSrvServiceProxy::AiVisionProxyMsgHandler(&block);
}

void PlatformTest::Init() {
    ASSERT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, [](OrviAiEventId, void*) {}), 0);
    (void)FakePlatform::Get().Take();
}

// --- The operations ---

extern "C" {

int OsMsgGetProcName(char* name, uint32_t size) {
    FakePlatform& platform = FakePlatform::Get();
    platform.Note("OsMsgGetProcName " + std::to_string(size));
    if (platform.getProcNameResult == 0) {
        memcpy(name, platform.joinedName.c_str(), std::min<size_t>(size, platform.joinedName.size() + 1));
    }
    return platform.getProcNameResult;
}

int OsMsgInit(const char* procName) {
    FakePlatform& platform = FakePlatform::Get();
    platform.Note(std::string("OsMsgInit ") + procName);
    if (platform.onMsgInit != nullptr) {
        platform.onMsgInit();
    }
    return platform.msgInitResult;
}

int OsMsgRegLogFunc(OsMsgLogFunc func) {
    FakePlatform::Get().Note(func == nullptr ? "OsMsgRegLogFunc null" : "OsMsgRegLogFunc");
    return 0;
}

int OsMsgSetLogLevel(uint32_t level) {
    FakePlatform::Get().Note("OsMsgSetLogLevel " + std::to_string(level));
    return 0;
}

int OsMsgRegTask(const char* taskName, uint32_t queueSize, OsMsgHandler handler) {
    FakePlatform& platform = FakePlatform::Get();
    platform.Note(std::string("OsMsgRegTask ") + taskName + " " + std::to_string(queueSize));
    platform.handler = handler;
    return platform.regTaskResult;
}

int OsMsgUnregTask(const char* procName, uint32_t cpu, const char* taskName) {
    FakePlatform::Get().Note(std::string("OsMsgUnregTask ") + procName + " " + std::to_string(cpu) + " " + taskName);
    return 0;
}

int OsMsgSubscribeEvent(const OsMsgSubscribeEntry* entries, uint32_t count) {
    FakePlatform& platform = FakePlatform::Get();
    platform.Note("OsMsgSubscribeEvent " + std::to_string(count));
    platform.subscriptions.assign(entries, entries + count);
    return 0;
}

int OsMsgTaskRoutineByName(const char* taskName) {
    FakePlatform::Get().Note(std::string("OsMsgTaskRoutineByName ") + taskName);
    return FakePlatform::Get().taskRoutineResult;
}

int OsMsgAsynSend(TagMsgBlock* message) {
    return FakePlatform::Get().AsynSend(message);
}

int OsMsgSynSend(TagMsgBlock* message, TagMsgBlock** reply, uint32_t waitMs) {
    return FakePlatform::Get().SynSend(message, reply, waitMs);
}

int OsMsgSynRespFree(TagMsgBlock* reply) {
    FakePlatform::Get().FreeReply(reply);
    return 0;
}

int OsPthreadCreateId(uint32_t* id, uint32_t* attributes, uint32_t reserved, void* (*routine)(void*), void* argument) {
    FakePlatform& platform = FakePlatform::Get();
    platform.Note("OsPthreadCreateId");
    EXPECT_EQ(*attributes, 0U);
    EXPECT_EQ(reserved, 0U);
    EXPECT_NE(routine, nullptr);
    EXPECT_EQ(argument, nullptr);
    if (platform.createThreadResult == 0) {
        *id = 77;
    }
    return platform.createThreadResult;
}

int OsPthreadSetName(const char* name) {
    FakePlatform::Get().Note(std::string("OsPthreadSetName ") + name);
    return 0;
}

uint32_t OsGetPId(void) {
    return FakePlatform::Get().pid;
}

uint32_t OsGetUId(void) {
    return FakePlatform::Get().uid;
}

void OsUSleep(uint32_t microseconds) {
    FakePlatform& platform = FakePlatform::Get();
    platform.Note("OsUSleep " + std::to_string(microseconds));
    if (platform.onPause != nullptr) {
        platform.onPause();
    }
}

void* OsMemMallocSetCharMon(uint32_t size, uint32_t reserved0, uint32_t reserved1, uint32_t reserved2, uint32_t line,
                            const char* file) {
    FakePlatform& platform = FakePlatform::Get();
    platform.Note("OsMemMallocSetCharMon " + std::to_string(size));
    EXPECT_EQ(reserved0 + reserved1 + reserved2, 0U);
    EXPECT_GT(line, 0U);
    EXPECT_NE(file, nullptr);
    if (platform.failMonitoredMalloc) {
        return nullptr;
    }
    ++platform.liveMonitored;
    void* const block = malloc(size);
    memset(block, 0xA5, size);
    return block;
}

void OSMemTypeFreeMon(void* block, uint32_t reserved0, uint32_t reserved1, uint32_t line, const char* file) {
    FakePlatform& platform = FakePlatform::Get();
    platform.Note("OSMemTypeFreeMon");
    EXPECT_EQ(reserved0 + reserved1, 0U);
    EXPECT_GT(line, 0U);
    EXPECT_NE(file, nullptr);
    if (block != nullptr) {
        --platform.liveMonitored;
    }
    free(block);
}

uint32_t OrviAiGetAiLogFileId(const char* fileName) {
    EXPECT_STREQ(fileName, "AiLog.log");
    return FakePlatform::Get().logFileId;
}

int OrviAiClientLogInit(void) {
    FakePlatform::Get().Note("OrviAiClientLogInit");
    return FakePlatform::Get().clientLogInitResult;
}

int OrviAiLogUinit(void) {
    FakePlatform::Get().Note("OrviAiLogUinit");
    return 0;
}

uint8_t GetGucAITraceLevel(void) {
    return FakePlatform::Get().traceLevel;
}

void OrviAiGetTraceString(char* scratch, uint32_t level, char* line) {
    memset(scratch, 's', ORVI_AI_TRACE_SCRATCH_SIZE);
    EXPECT_TRUE(level == 1 || level == 3);
    const std::string& prefix = FakePlatform::Get().tracePrefix;
    ASSERT_LT(prefix.size(), static_cast<size_t>(ORVI_AI_TRACE_LINE_SIZE));
    memcpy(line, prefix.c_str(), prefix.size() + 1);
}

void OrviAiTracePrintf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    FakePlatform::Get().Note("trace " + Format(format, arguments));
    va_end(arguments);
}

void* OrviAiGetXmlData(void) {
    return FakePlatform::Get().capabilityRecord;
}

void OrviOmLogModuleLogRecord(uint32_t level, uint32_t fileId, const char* source, uint32_t sourceLength, uint32_t line,
                              const char* format, ...) {
    FakePlatform& platform = FakePlatform::Get();
    EXPECT_TRUE(level == 1 || level == 3) << level;
    EXPECT_EQ(fileId, platform.logFileId & 0xFFFFU);
    va_list arguments;
    va_start(arguments, format);
    platform.NoteRecord(level == 1 ? "error " : "info ", source, sourceLength, line, format, arguments);
    va_end(arguments);
}

void OrviOmLogStormLogRecord(uint32_t level, uint32_t type, const char* source, uint32_t sourceLength, uint32_t line,
                             const char* format, ...) {
    EXPECT_EQ(level, 3U);
    EXPECT_EQ(type, 3U);
    va_list arguments;
    va_start(arguments, format);
    FakePlatform::Get().NoteRecord("storm ", source, sourceLength, line, format, arguments);
    va_end(arguments);
}

int memset_s(void* destination, size_t destinationSize, int value, size_t count) {
    if (count > destinationSize) {
        return -1;
    }
    memset(destination, value, count);
    return 0;
}

int memcpy_s(void* destination, size_t destinationSize, const void* source, size_t count) {
    if (FakePlatform::Get().CopyFails() || source == nullptr || count > destinationSize) {
        memset(destination, 0, destinationSize);
        return 34;
    }
    memcpy(destination, source, count);
    return 0;
}

int strcpy_s(char* destination, size_t destinationSize, const char* source) {
    return memcpy_s(destination, destinationSize, source, strlen(source) + 1);
}

int strncpy_s(char* destination, size_t destinationSize, const char* source, size_t count) {
    return strcpy_s(destination, destinationSize, std::string(source, strnlen(source, count)).c_str());
}

int snprintf_s(char* destination, size_t destinationSize, size_t count, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(destination, destinationSize, format, arguments);
    va_end(arguments);
    if (FakePlatform::Get().CopyFails() || length < 0 || static_cast<size_t>(length) > count ||
        static_cast<size_t>(length) >= destinationSize) {
        destination[0] = '\0';
        return -1;
    }
    return length;
}

}  // extern "C"
