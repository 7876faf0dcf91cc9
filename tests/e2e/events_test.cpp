// Every message of the service that reaches the main callback: pushed by the simulator, received as an event.
#include "vision_test.h"

namespace orvi_test {
namespace {

class EventsTest : public VisionTest {};

// The features' tests meet most of the service's messages; these are of each kind.
const struct {
    const char* push;
    Event event;
} CASES[] = {
    // status messages: type and the status made of their integer
    {"service.status -5", {2, true, {0, -5}}},
    {"caption.started 5", {2, true, {1, 0}}},
    {"caption.stopped -1", {2, true, {1, 1}}},
    {"checkin.count 0x7fffffff", {2, true, {3, 0x7fffffff}}},
    {"status.37 12", {2, true, {4, 12}}},
    // the service reports itself
    {"service.running 0", {0, false, {}}},
    {"service.running 2", {1, false, {}}},
    // events without payload, though the message has one
    {"checkin.cleared", {5, false, {}}},
    // payloads passed on as they came
    {"checkin.arrival --raw 44 zeros:1000000", {4, true, {44}}},
    {"checkin.arrival none", {4, false, {}}},
    {"notice.39 45", {6, true, {45}}},
    {"assistant.mic --raw 110", {110, true, {110}}},
};

TEST_F(EventsTest, EachMessageBecomesItsEventAndTheOrderIsKept) {
    Connect();
    for (const auto& testCase : CASES) {
        EXPECT_EQ(simulator_.Command(std::string("push ") + testCase.push), "1");
    }
    for (const auto& testCase : CASES) {
        ASSERT_EQ(EventRecorder::Next(), testCase.event) << testCase.push;
    }
}

// Without payload there is nothing to read, an unknown id is nobody's, and a face or caption event has no callback yet:
// none of these raises an event or disturbs the one behind it.
TEST_F(EventsTest, WhatIsNoEventIsDropped) {
    Connect();
    const Resources baseline = Resources::Now();
    for (const char* push : {"service.status none", "caption.started none", "model.ready none", "service.running none",
                             "face.event none", "face.event zeros:288", "caption.switch 1", "caption.line 1",
                             "caption.speaker none", "0x600001 1", "0x600056 zeros:100000", "0 1", "0xffffffff none"}) {
        SCOPED_TRACE(push);
        simulator_.Command(std::string("push ") + push + " --raw");
        ExpectPushArrives();
    }
    ExpectBackAt(baseline);
}

}  // namespace
}  // namespace orvi_test
