// Every message of the service that reaches the main callback: pushed by the simulator, received as an event.
#include "vision_test.h"

namespace orvi_test {
namespace {

class EventsTest : public VisionTest {};

const struct {
    const char* push;
    Event event;
} CASES[] = {
    // status messages: type and the status made of their integer
    {"0x600012 -5", {2, true, {0, -5}}},
    {"0x600015 0", {2, true, {1, 1}}},
    {"0x600015 5", {2, true, {1, 0}}},
    {"0x600016 -1", {2, true, {1, 1}}},
    {"0x60001c 0", {2, true, {2, 1}}},
    {"0x60001d 9", {2, true, {2, 1}}},
    {"0x60002b 0x7fffffff", {2, true, {3, 0x7fffffff}}},
    {"0x600037 12", {2, true, {4, 12}}},
    {"0x60003b 0", {2, true, {5, 1}}},
    // the service reports itself
    {"0x600033 0", {0, false, {}}},
    {"0x600033 2", {1, false, {}}},
    // events without payload, though the message has one
    {"0x600029", {5, false, {}}},
    {"0x60002f", {3, false, {}}},
    // payloads passed on as they came
    {"0x60002d 44", {4, true, {44}}},
    {"0x60002d none", {4, false, {}}},
    {"0x600039 45", {6, true, {45}}},
    {"0x60003f 46", {7, true, {46}}},
    {"0x60003e 47", {8, true, {47}}},
    {"0x600040 48", {9, true, {48}}},
    {"0x60004a 100", {100, true, {100}}},
    {"0x60004b 101", {101, true, {101}}},
    {"0x60004c 102", {102, true, {102}}},
    {"0x60004d 103", {103, true, {103}}},
    {"0x60004e 104", {104, true, {104}}},
    {"0x60004f 105", {105, true, {105}}},
    {"0x600050 106", {106, true, {106}}},
    {"0x600051 108", {108, true, {108}}},
    {"0x600052 107", {107, true, {107}}},
    {"0x600053 109", {109, true, {109}}},
    {"0x600054 110", {110, true, {110}}},
    {"0x600055 111", {111, true, {111}}},
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
    for (const char* push : {"0x600012 none", "0x600015 none", "0x60003b none", "0x600033 none", "0x60000c none",
                             "0x60000c zeros:288", "0x600018 1", "0x600038 1", "0x60001a none", "0x600001 1",
                             "0x600056 zeros:100000", "0 1", "0xffffffff none"}) {
        SCOPED_TRACE(push);
        simulator_.Command(std::string("push ") + push);
        ExpectPushArrives();
    }
    ExpectBackAt(baseline);
}

}  // namespace
}  // namespace orvi_test
