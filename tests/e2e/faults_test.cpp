// Faults that somebody asks for: decided before a request reaches its feature and an event its application, so that
// reply, events and state agree.
#include <cstring>
#include <functional>
#include <future>

#include "orvi_ai_srv_proxy.h"
#include "orvi_vision_sim_payloads.h"
#include "recorder.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

auto& g_captions = *new Recorder<int>;

class FaultsTest : public VisionTest {
 protected:
    std::string State() { return simulator_.Command("state"); }

    static int StartCaptions() {
        tagOrviAiConfInfo conference = {"weekly", 1, 2, "room 7"};
        return OrviAiSrvCaptionStart(&conference, 0);
    }

    void WakeUp() {
        ASSERT_EQ(OrviAiAssistantWakeUp(ORVI_AI_ASSISTANT_MODE_DEFAULT), 0);
        simulator_.Await("request 0x60005c " + std::to_string(++wakeUps_));
    }

    int wakeUps_ = 0;
};

TEST_F(FaultsTest, ARefusedRequestLeavesNoTraceAndItsEventsAgree) {
    Connect({"--arrival", "0"});
    ASSERT_EQ(OrviAiSrvCaptionInit([](OrviAiCaptionEventId event, void*) { g_captions.Add(event); }), 0);
    ASSERT_EQ(OrviAiSrvNamePlateInit(), 0);
    ASSERT_EQ(OrviAiSrvCheckInInit(), 0);
    constexpr int NO_STATUS = -1;
    const struct {
        const char* faults[2];
        std::function<int()> call;
        int result;
        int statusType;
        int status;
    } cases[] = {
        {{"refuse 0x600015 busy", "reply 0x600015 hex:03"}, StartCaptions, -1, ORVI_AI_STATUS_CAPTION, 0},
        {{"refuse 0x60001c not-ready", "reply 0x60001c hex:02"},
         OrviAiSrvNamePlateStart,
         -1,
         ORVI_AI_STATUS_NAMEPLATE,
         0},
        {{"refuse 0x60003b malformed", "refuse 0x60003b busy"},
         [] { return OrviAiSrvLargeModelInit(OrviAiLLMInitParams{}); },
         0,  // the library does not read this reply
         ORVI_AI_STATUS_LARGE_MODEL,
         0},
        {{"refuse 0x600002 busy", "reply 0x600002 zeros:53"},
         [] {
             void* handle = nullptr;
             return OrviAiSrvCreateFaceDetector(&handle, 0, 30, 1, [](tagOrviAiSrvFaceDetEvent*) {});
         },
         -1,
         NO_STATUS,
         0},
        {{"refuse 0x600023 busy", "nodata 0x600023"},
         [] {
             tagOrviAiConfIdInfo conference = {};
             std::strcpy(conference.confId, "weekly");
             return OrviAiSrvCheckInStart(conference);
         },
         -1,
         NO_STATUS,
         0},
        {{"refuse 0x60005f busy", "reply 0x60005f zeros:5"},
         [] { return static_cast<int>(OrviAiAssistantGetStatus()); },
         0,
         NO_STATUS,
         0},
    };
    const std::string before = State();
    for (const auto& testCase : cases) {
        for (const char* fault : testCase.faults) {
            SCOPED_TRACE(fault);
            simulator_.Command(fault);
            EXPECT_EQ(testCase.call(), testCase.result);
            if (testCase.statusType != NO_STATUS) {
                EventRecorder::ExpectStatus(static_cast<OrviAiStatusType>(testCase.statusType), testCase.status);
            }
            EXPECT_EQ(State(), before);
        }
    }
    EventRecorder::ExpectNoMore();
    EXPECT_EQ(g_captions.Clear(), 0U);
    ExpectLogged("refused caption start from " + ProcessName() + ": as told");
    simulator_.Command("reset all");
    EXPECT_EQ(StartCaptions(), 0);
}

TEST_F(FaultsTest, OneWayMessagesAreLostHeldAndDelayed) {
    Connect();
    simulator_.Command("silent 0x60005c");
    WakeUp();
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), ORVI_SIM_ASSISTANT_ASLEEP);
    simulator_.Command("reset 0x60005c");
    simulator_.Command("hold 0x60005c");
    WakeUp();
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), ORVI_SIM_ASSISTANT_ASLEEP);
    EventRecorder::ExpectNoMore();
    EXPECT_EQ(simulator_.Command("release 0x60005c"), "1");
    EventRecorder::ExpectIds({100, 102});
    simulator_.Command("delay 0x60005b 1");
    ASSERT_EQ(OrviAiAssistantSleep(), 0);
    EventRecorder::ExpectIds({103, 101});
}

TEST_F(FaultsTest, EventsAreLostHeldAndDelayed) {
    Connect();
    for (const char* fault : {"silent event:0x60004c", "hold event:0x60004a", "delay event:0x60004b 1"}) {
        simulator_.Command(fault);
    }
    WakeUp();
    ASSERT_EQ(OrviAiAssistantSleep(), 0);
    EventRecorder::ExpectIds({103, 101});  // no listen, sleep; without wake up and listen
    EXPECT_EQ(simulator_.Command("release event:0x60004a"), "1");
    EventRecorder::ExpectIds({100});
    simulator_.Command("reset all");
    WakeUp();
    EventRecorder::ExpectIds({100, 102});
}

// A held request is handled when it is released: nothing of its answer comes before its reply.
TEST_F(FaultsTest, NothingOfAnAnswerComesBeforeItsReply) {
    Connect();
    ASSERT_EQ(OrviAiSrvLargeModelInit(OrviAiLLMInitParams{}), 0);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_LARGE_MODEL, 1);
    simulator_.Command("hold 0x60003c");
    auto asked = std::async(std::launch::async, [] { return OrviAiSrvLargeModelRequest(OrviAiModelParams{}); });
    simulator_.Await("request 0x60003c 1");
    AwaitServiceTime(50);
    ExpectPushArrives();  // and nothing before it
    EXPECT_EQ(simulator_.Command("release 0x60003c"), "1");
    EXPECT_EQ(asked.get(), 0);
    EventRecorder::ExpectIds({ORVI_AI_EVENT_LARGE_MODEL_3F});
}

TEST_F(FaultsTest, WhatHasNoEffectIsRefusedInWords) {
    simulator_.Start();
    const struct {
        const char* line;
        const char* reason;
    } cases[] = {
        {"silent 0x600999", "applications send no such message"},
        {"delay 0x60000c 5", "what the service sends is event:0x60000c"},
        {"hold event:0x600014", "the service sends no such message"},
        {"reply event:0x60002d 1", "an event has no reply"},
        {"nodata 0x60005c", "assistant wake up is one-way and has no reply"},
        {"refuse 0x60005c busy", "is one-way"},
        {"refuse 0x600014 tired", "'tired' is none of not-ready|busy|malformed"},
        {"reply 0x600014 hex:1", "even number"},
        {"delay 0x600014 soon", "'soon' is no number for MS"},
        {"release 0x600014", "is not held back"},
        {"reset 0x600014", "is as usual already"},
        {"push 0x600999 1", "the service sends no such message"},
        {"push 0x60003e 44 7", "its length word says 44 and it has 8 bytes"},
        {"push 0x60002d hex:0102", "too few for an integer"},
        {"push 0x60000c zeros:100", "it has 100 bytes"},
        {"push 0x60000c 8 zeros:284", "8 faces"},
    };
    for (const auto& testCase : cases) {
        const std::string answer = simulator_.Ask(testCase.line);
        EXPECT_EQ(answer.substr(0, 6), "error ") << testCase.line;
        EXPECT_NE(answer.find(testCase.reason), std::string::npos) << answer;
    }
    for (const char* raw : {"push 0x600999 1 --raw", "push 0x60003e --raw 44 7", "push 0x60003e 8 7"}) {
        EXPECT_EQ(simulator_.Command(raw), "0") << raw;
    }
}

// Without words an event has the length and the layout that an application may trust.
TEST_F(FaultsTest, APlainPushCanBeTrusted) {
    EventRecorder::CopyRecords();
    Connect();
    const struct {
        uint32_t id;
        int event;
        size_t length;
    } records[] = {
        {0x60002D, 4, sizeof(OrviSimCheckinArrival)},    {0x60003F, 7, sizeof(OrviSimModelBegin)},
        {0x60003E, 8, sizeof(OrviSimModelPiece)},        {0x600040, 9, sizeof(OrviSimModelEnd)},
        {0x60004A, 100, sizeof(OrviSimAssistantWakeUp)}, {0x60004B, 101, sizeof(OrviSimAssistantNotice)},
        {0x60004E, 104, sizeof(OrviSimAssistantIntent)}, {0x60004F, 105, sizeof(OrviSimAssistantText)},
        {0x600051, 108, ORVI_SIM_ASSISTANT_CHOICE_HEAD}, {0x600052, 107, sizeof(OrviSimAssistantCardShown)},
        {0x600053, 109, sizeof(OrviSimAssistantError)},
    };
    for (const auto& record : records) {
        SCOPED_TRACE(record.id);
        simulator_.Command("push " + std::to_string(record.id));
        const Event event = EventRecorder::Next();
        EXPECT_EQ(event.id, record.event);
        Bytes expected(record.length);
        std::memcpy(expected.data(), &record.length, 4);
        EXPECT_EQ(event.record, expected);
    }
}

}  // namespace
}  // namespace orvi_test
