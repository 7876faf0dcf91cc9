// Receives the library's main callback and lets the test's thread wait for events, in their order.
#ifndef ORVI_TEST_EVENT_RECORDER_H
#define ORVI_TEST_EVENT_RECORDER_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <ostream>
#include <vector>

#include "orvi_ai_srv.h"

namespace orvi_test {

using Bytes = std::vector<uint8_t>;

// Copies a record of the simulated service, which begins with its length.
Bytes CopyRecord(const void* record);

// The record that these bytes are; fails the test when they are too many. What they leave out is zero.
template <class Record>
Record As(const Bytes& bytes) {
    Record record = {};
    EXPECT_LE(bytes.size(), sizeof(record));
    std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof(record)));
    return record;
}

struct Event {
    int id = -1;
    bool hasPayload = false;
    std::vector<int32_t> integers;  // of the payload: two of event 2, the first one of any other; none without payload
    Bytes record = {};              // once asked for by CopyRecords(); not compared
};
bool operator==(const Event& left, const Event& right);
std::ostream& operator<<(std::ostream& stream, const Event& event);

// One recorder a process, as the library has one callback.
namespace EventRecorder {

// To be given to OrviAiSrvApiInit. Payloads must have 4 bytes at least.
void OnEvent(OrviAiEventId id, void* payload);

// From now on the payloads of all events but event 2 are records that begin with their length, and are kept.
void CopyRecords();

// The next event not taken yet. Fails the test and returns an event with id -1 when none comes in PATIENCE.
Event Next();

// Fails the test unless the next events have these ids, in this order.
void ExpectIds(const std::vector<int>& ids);

// Fails the test unless the next event is a status of this type.
void ExpectStatus(OrviAiStatusType type, int status);

// Fails the test when an event has not been taken yet.
void ExpectNoMore();

// Runs inside each callback, before the event is recorded. Set while no event can come.
void SetHook(std::function<void(OrviAiEventId)> hook);

}  // namespace EventRecorder
}  // namespace orvi_test

#endif
