// Receives the library's main callback and lets the test's thread wait for events, in their order.
#ifndef ORVI_TEST_EVENT_RECORDER_H
#define ORVI_TEST_EVENT_RECORDER_H

#include <cstdint>
#include <functional>
#include <ostream>
#include <vector>

#include "orvi_ai_srv.h"

namespace orvi_test {

struct Event {
    int id;
    bool hasPayload;
    std::vector<int32_t> integers;  // of the payload: two of event 2, the first one of any other; none without payload
};
bool operator==(const Event& left, const Event& right);
std::ostream& operator<<(std::ostream& stream, const Event& event);

// One recorder a process, as the library has one callback.
namespace EventRecorder {

// To be given to OrviAiSrvApiInit. Payloads must have 4 bytes at least.
void OnEvent(OrviAiEventId id, void* payload);

// The next event not taken yet. Fails the test and returns an event with id -1 when none comes in PATIENCE.
Event Next();

// Fails the test unless the next events have these ids, in this order.
void ExpectIds(const std::vector<int>& ids);

// Runs inside each callback, before the event is recorded. Set while no event can come.
void SetHook(std::function<void(OrviAiEventId)> hook);

}  // namespace EventRecorder
}  // namespace orvi_test

#endif
