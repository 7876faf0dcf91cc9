#include "vision_test.h"

#include <cstring>
#include <utility>

#include "orvi_ai_srv_proxy.h"

namespace orvi_test {
namespace {

Outcome Take(int result, TagMsgBlock* reply) {
    Outcome outcome{result, false, {}};
    if (reply != nullptr) {
        if (reply->data != nullptr) {
            outcome.hasData = true;
            const auto* bytes = static_cast<const uint8_t*>(reply->data);
            outcome.data.assign(bytes, bytes + reply->dataLen);
        }
        OsMsgSynRespFree(reply);
    }
    return outcome;
}

TagMsgBlock BlockTo(const char* task, uint32_t id, Bytes& payload) {
    TagMsgBlock block{};
    std::strncpy(block.recvProcName, "AI_VISION", sizeof(block.recvProcName) - 1);
    std::strncpy(block.recvTaskName, task, sizeof(block.recvTaskName) - 1);
    block.msgId = id;
    block.data = payload.empty() ? nullptr : payload.data();
    block.dataLen = static_cast<uint32_t>(payload.size());
    return block;
}

}  // namespace

void AppendInteger(Bytes& bytes, uint32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<uint8_t>(value >> shift));
    }
}

void VisionTest::Connect(const std::vector<std::string>& options) {
    simulator_.Start(options);
    ASSERT_FALSE(HasFatalFailure());
    Announce();
    // The message thread subscribes before it receives anything, so a message received proves the subscriptions.
    ExpectPushArrives();
}

void VisionTest::Announce() {
    ASSERT_EQ(Init(), 0);
    simulator_.Await("clients 1");
}

void VisionTest::ExpectPushArrives(int clients) {
    static int number = 1000;
    EXPECT_EQ(simulator_.Command("push checkin.count " + std::to_string(++number)), std::to_string(clients));
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_2B, number);
}

void VisionTest::AwaitServiceTime(int milliseconds) {
    constexpr uint32_t MINUTES_STOP = 0x600036;
    simulator_.Command("delay minutes.stop " + std::to_string(milliseconds) + "ms");
    EXPECT_EQ(RequestThroughProxy(MINUTES_STOP, {}, LONG_WAIT_MS).result, 0);
}

void VisionTest::TearDown() {
    if (!initialised_) {
        return;
    }
    if (simulator_.IsRunning()) {
        simulator_.Kill();
    }
    // Looking for somebody else, the bus gives this thread's connections to the dead service up.
    EXPECT_NE(RequestFromTask("nobody", 0, {}, LONG_WAIT_MS).result, 0);
    // The presence, a spare descriptor for looks, and of the task its endpoint and what its loop waits with: epoll, eventfd, inotify.
    constexpr size_t OF_THE_BUS = 6;
    constexpr size_t MESSAGE_THREAD = 1;
    ExpectNothingLeftBut(OF_THE_BUS + connectionsOfOthers_, MESSAGE_THREAD);
}

int VisionTest::Init() {
    const int result = OrviAiSrvApiInit(tagOrviAppInfo{}, &EventRecorder::OnEvent);
    if (result == 0) {
        initialised_ = true;
    }
    return result;
}

void VisionTest::RestartSimulator() {
    simulator_.Kill();
    EventRecorder::ExpectIds({0});
    simulator_.Start();
    EventRecorder::ExpectIds({1});
}

std::string VisionTest::ProcessName(pid_t pid) {
    return "ai_vpp" + std::to_string(pid);
}

std::string VisionTest::TaskName() {
    return "ai_vpt" + std::to_string(getpid());
}

Bytes VisionTest::Address() {
    Bytes address(32);
    std::memcpy(address.data(), ProcessName().c_str(), ProcessName().size());
    std::memcpy(address.data() + 16, TaskName().c_str(), TaskName().size());
    AppendInteger(address, 1);
    return address;
}

Outcome RequestFromTask(const char* task, uint32_t id, const Bytes& payload, uint32_t waitMs) {
    Bytes copy = payload;
    TagMsgBlock block = BlockTo(task, id, copy);
    TagMsgBlock* reply = nullptr;
    const int result = OsMsgSynSend(&block, &reply, waitMs);
    return Take(result, reply);
}

void SendToTask(const char* task, uint32_t id, Bytes payload) {
    TagMsgBlock block = BlockTo(task, id, payload);
    EXPECT_EQ(OsMsgAsynSend(&block), 0);
}

Outcome RequestThroughProxy(uint32_t id, Bytes payload, uint32_t waitMs) {
    TagMsgBlock* reply = nullptr;
    const int result = OrviAiService::AiSrvServiceProxy::GetInstance().SendSynMsgToVision(
        id, payload.empty() ? nullptr : payload.data(), static_cast<uint32_t>(payload.size()), waitMs, &reply);
    return Take(result, reply);
}

}  // namespace orvi_test
