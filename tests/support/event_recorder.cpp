#include "event_recorder.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "recorder.h"

namespace orvi_test {
namespace {

// Never destroyed: the message thread may call back while the process exits.
struct State {
    Recorder<Event> events;
    std::atomic<bool> copyRecords{false};
    std::mutex mutex;  // guards the hook
    std::function<void(OrviAiEventId)> hook;
};
State& g_state = *new State;

}  // namespace

Bytes CopyRecord(const void* record) {
    uint32_t length = 0;
    std::memcpy(&length, record, sizeof(length));
    const auto* const bytes = static_cast<const uint8_t*>(record);
    return Bytes(bytes, bytes + length);
}

bool operator==(const Event& left, const Event& right) {
    return left.id == right.id && left.hasPayload == right.hasPayload && left.integers == right.integers;
}

std::ostream& operator<<(std::ostream& stream, const Event& event) {
    stream << "event " << event.id << (event.hasPayload ? " with payload" : " without payload");
    for (const int32_t integer : event.integers) {
        stream << ' ' << integer;
    }
    return stream;
}

namespace EventRecorder {

void OnEvent(OrviAiEventId id, void* payload) {
    Event event{static_cast<int>(id), payload != nullptr, {}};
    if (payload != nullptr) {
        event.integers.resize(id == ORVI_AI_EVENT_STATUS ? 2 : 1);
        std::memcpy(event.integers.data(), payload, event.integers.size() * sizeof(int32_t));
        if (g_state.copyRecords && id != ORVI_AI_EVENT_STATUS) {
            event.record = CopyRecord(payload);
        }
    }
    std::function<void(OrviAiEventId)> hook;
    {
        const std::lock_guard<std::mutex> lock(g_state.mutex);
        hook = g_state.hook;
    }
    if (hook) {
        hook(id);
    }
    g_state.events.Add(std::move(event));
}

void CopyRecords() {
    g_state.copyRecords = true;
}

Event Next() {
    return g_state.events.Next();
}

void ExpectIds(const std::vector<int>& ids) {
    for (const int id : ids) {
        const Event event = Next();
        EXPECT_EQ(event.id, id) << event;
        if (event.id == -1) {
            return;
        }
    }
}

void ExpectStatus(OrviAiStatusType type, int status) {
    EXPECT_EQ(Next(), (Event{ORVI_AI_EVENT_STATUS, true, {type, status}}));
}

void ExpectNoMore() {
    EXPECT_EQ(g_state.events.Clear(), 0U);
}

void SetHook(std::function<void(OrviAiEventId)> hook) {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    g_state.hook = std::move(hook);
}

}  // namespace EventRecorder
}  // namespace orvi_test
