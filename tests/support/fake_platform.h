// A platform that records: it stands in the place of the device's libraries in the unit tests, notes every call that
// the library makes as one line of a transcript, and does what the test has told it.
//
//   FakePlatform& platform = FakePlatform::Get();
//   platform.QueueReply(Bytes({0}));
//   EXPECT_EQ(OrviAiSrvCaptionDeInit(), 0);
//   EXPECT_EQ(platform.Take(), (Lines{"info <OrviAiSrvCaptionDeInit> ...", "syn 0x600017 ai_v_task_i len=0 wait=3000",
//                                     "free reply", ...}));
//
// Lines: "error TEXT", "info TEXT" (module log), "storm TEXT", "trace TEXT", "asyn ID TASK len=N", "syn ID TASK len=N
// wait=MS", "free reply", and the name of any other operation with its arguments.
#ifndef ORVI_TESTS_FAKE_PLATFORM_H
#define ORVI_TESTS_FAKE_PLATFORM_H

#include <cstdarg>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "orvi_ai_srv_proxy.h"
#include "orvi_os_msg.h"

using Lines = std::vector<std::string>;
using Bytes = std::vector<uint8_t>;

// The bytes of a record.
template <typename Record>
Bytes BytesOf(const Record& record) {
    const auto* const first = reinterpret_cast<const uint8_t*>(&record);
    return Bytes(first, first + sizeof(record));
}

template <typename T>
std::vector<T> operator+(std::vector<T> left, const std::vector<T>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// The client's address once the library is initialised.
constexpr tagAiTaskBasicInfo OWN_ADDRESS = {"ai_vpp4711", "ai_vpt4711", 1};

class FakePlatform {
 public:
    static FakePlatform& Get();

    // --- What the library has done ---

    // The transcript since the last call.
    Lines Take();
    // The same without the info and storm lines, for tests that are about something else.
    Lines TakeWithoutInfo();
    // Payload of the last message sent, and whether its data pointer was null.
    Bytes LastPayload() const { return lastPayload_; }
    bool LastPayloadWasNull() const { return lastPayloadWasNull_; }
    // Reply blocks handed out and not yet released.
    size_t LiveReplies() const { return liveReplies_.size(); }

    // --- What the platform shall do ---

    // Answers to the next synchronous sends, in order. Without one queued a send fails with -99.
    void QueueReply(const Bytes& data) { Queue({0, true, true, static_cast<uint32_t>(data.size()), data}); }
    void QueueReplyWithoutData(uint32_t dataLen = 0) { Queue({0, true, false, dataLen, {}}); }
    void QueueNoReply() { Queue({0, false, false, 0, {}}); }  // result 0, slot left null
    void QueueSendFailure(int result) { Queue({result, false, false, 0, {}}); }
    void ForgetReplies() { answers_.clear(); }  // those queued and not asked for

    // Fails the nth bounded copy from now on (memcpy_s, strcpy_s, strncpy_s, snprintf_s count alike); 1 = the next.
    void FailCopy(int nth) { failCopy_ = nth; }

    int asynSendResult = 0;
    int getProcNameResult = 1;  // not joined
    std::string joinedName;     // given by OsMsgGetProcName when its result is 0
    int msgInitResult = 0;
    int regTaskResult = 0;
    int createThreadResult = 0;
    int taskRoutineResult = 0;
    int clientLogInitResult = 0;
    bool failMonitoredMalloc = false;
    uint32_t pid = 4711;
    uint32_t uid = 1000;
    uint8_t traceLevel = 0;
    std::string tracePrefix = "prefix ";
    uint32_t logFileId = 0xABCD1234;
    void* capabilityRecord = nullptr;
    void (*onPause)() = nullptr;     // called by OsUSleep
    void (*onMsgInit)() = nullptr;   // called by OsMsgInit
    OsMsgHandler handler = nullptr;  // the one registered last
    const void* given = nullptr;     // payload of the message that the library is handling

    // --- For the operations themselves ---
    void Note(std::string line);
    bool CopyFails();
    int SynSend(TagMsgBlock* message, TagMsgBlock** reply, uint32_t waitMs);
    int AsynSend(TagMsgBlock* message);
    void FreeReply(TagMsgBlock* reply);
    void NoteRecord(const char* kind, const char* source, uint32_t length, uint32_t line, const char* format,
                    va_list arguments) __attribute__((format(printf, 6, 0)));
    std::vector<OsMsgSubscribeEntry> subscriptions;
    int liveMonitored = 0;  // monitored memory blocks

 private:
    FakePlatform();

    struct Answer {
        int result;
        bool hasBlock;
        bool hasData;
        uint32_t dataLen;
        Bytes data;
    };

    void Queue(const Answer& answer) {
        const std::lock_guard<std::recursive_mutex> lock(mutex_);
        answers_.push_back(answer);
    }
    void KeepPayload(const TagMsgBlock& message);

    mutable std::recursive_mutex mutex_;
    Lines lines_;
    std::map<std::string, std::string> formats_;  // of the log's records, by source and line
    std::deque<Answer> answers_;
    std::vector<TagMsgBlock*> liveReplies_;
    Bytes lastPayload_;
    bool lastPayloadWasNull_ = false;
    int failCopy_ = 0;
};

// Fixture of the unit tests. Each case runs in a process of its own, so the library starts afresh.
class PlatformTest : public testing::Test {
 protected:
    void TearDown() override;

    // Hands the library a message, as its message thread does; its payload is an exact allocation.
    static int Give(uint32_t msgId, const Bytes& payload, const char* process = "", uint32_t senderUid = 0);

    // Initialises the library successfully and forgets the transcript of it.
    static void Init();

    FakePlatform& platform = FakePlatform::Get();
    OrviAiService::AiSrvServiceProxy& proxy = OrviAiService::AiSrvServiceProxy::GetInstance();
};

#endif
