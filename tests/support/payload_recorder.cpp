#include "payload_recorder.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "child_process.h"

namespace orvi_test {
namespace {

std::mutex g_mutex;  // guards what follows
std::condition_variable g_arrived;
std::deque<EventRecord> g_records;

void OnEvent(OrviAiEventId id, void* payload) {
    EventRecord record = {static_cast<int>(id), {}};
    if (payload != nullptr) {
        uint32_t length = 0;
        std::memcpy(&length, payload, sizeof(length));
        length = id == ORVI_AI_EVENT_STATUS ? static_cast<uint32_t>(sizeof(tagOrviAiServiceStatusEvent)) : length;
        const auto* const bytes = static_cast<const uint8_t*>(payload);
        record.payload.assign(bytes, bytes + length);
    }
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_records.push_back(std::move(record));
    g_arrived.notify_all();
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
    std::unique_lock<std::mutex> lock(g_mutex);
    if (!g_arrived.wait_for(lock, PATIENCE, [] { return !g_records.empty(); })) {
        ADD_FAILURE() << "no event came";
        return {-1, {}};
    }
    EventRecord record = std::move(g_records.front());
    g_records.pop_front();
    return record;
}

size_t PayloadTest::PendingRecords() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    return g_records.size();
}

}  // namespace orvi_test
