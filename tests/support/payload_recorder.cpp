#include "payload_recorder.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "child_process.h"

namespace orvi_test {
namespace {

// Never destroyed: the message thread may call back while the process exits.
struct State {
    std::mutex mutex;  // guards what follows
    std::condition_variable arrived;
    std::deque<EventRecord> records;
};
State& g_state = *new State;

void OnEvent(OrviAiEventId id, void* payload) {
    EventRecord record = {static_cast<int>(id), {}};
    if (payload != nullptr) {
        uint32_t length = 0;
        std::memcpy(&length, payload, sizeof(length));
        length = id == ORVI_AI_EVENT_STATUS ? static_cast<uint32_t>(sizeof(tagOrviAiServiceStatusEvent)) : length;
        const auto* const bytes = static_cast<const uint8_t*>(payload);
        record.payload.assign(bytes, bytes + length);
    }
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    g_state.records.push_back(std::move(record));
    g_state.arrived.notify_all();
}

}  // namespace

void PayloadTest::ConnectForPayloads() {
    simulator_.Start();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, OnEvent), 0);
    simulator_.Command("await clients 1");
    EXPECT_EQ(simulator_.Command("push 0x60002b 77"), "1");  // received: the message thread runs
    ASSERT_EQ(NextRecord().event, 2);
}

EventRecord PayloadTest::NextRecord() {
    std::unique_lock<std::mutex> lock(g_state.mutex);
    if (!g_state.arrived.wait_for(lock, PATIENCE, [] { return !g_state.records.empty(); })) {
        ADD_FAILURE() << "no event came";
        return {-1, {}};
    }
    EventRecord record = std::move(g_state.records.front());
    g_state.records.pop_front();
    return record;
}

size_t PayloadTest::PendingRecords() {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    return g_state.records.size();
}

}  // namespace orvi_test
