#include "event_recorder.h"

#include <condition_variable>
#include <cstring>
#include <deque>
#include <gtest/gtest.h>
#include <mutex>
#include <utility>

#include "child_process.h"

namespace orvi_test {
namespace {

struct State {
    std::mutex mutex;  // guards what follows
    std::condition_variable arrived;
    std::deque<Event> events;
    std::function<void(OrviAiEventId)> hook;
};

// Never destroyed: the message thread may call back while the process exits.
State& g_state = *new State;

}  // namespace

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
    }
    std::function<void(OrviAiEventId)> hook;
    {
        const std::lock_guard<std::mutex> lock(g_state.mutex);
        hook = g_state.hook;
    }
    if (hook) {
        hook(id);
    }
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    g_state.events.push_back(std::move(event));
    g_state.arrived.notify_all();
}

Event Next() {
    std::unique_lock<std::mutex> lock(g_state.mutex);
    if (!g_state.arrived.wait_for(lock, PATIENCE, [] { return !g_state.events.empty(); })) {
        ADD_FAILURE() << "no event came";
        return {-1, false, {}};
    }
    Event event = std::move(g_state.events.front());
    g_state.events.pop_front();
    return event;
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

void SetHook(std::function<void(OrviAiEventId)> hook) {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    g_state.hook = std::move(hook);
}

}  // namespace EventRecorder
}  // namespace orvi_test
