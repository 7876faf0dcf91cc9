// Faults that somebody asks for: decided before a request reaches its feature and an event its application, so that
// reply, events and state agree.
#include <cstring>
#include <functional>
#include <future>
#include <signal.h>

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
        simulator_.Await("request assistant.wake " + std::to_string(++wakeUps_));
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
        {{"refuse caption.start busy", "reply caption.start hex:03"}, StartCaptions, -1, ORVI_AI_STATUS_CAPTION, 0},
        {{"refuse nameplate.start not-ready", "reply nameplate.start hex:02"},
         OrviAiSrvNamePlateStart,
         -1,
         ORVI_AI_STATUS_NAMEPLATE,
         0},
        {{"refuse model.init malformed", "refuse model.init busy"},
         [] { return OrviAiSrvLargeModelInit(OrviAiLLMInitParams{}); },
         0,  // the library does not read this reply
         ORVI_AI_STATUS_LARGE_MODEL,
         0},
        {{"refuse face.create busy", "reply face.create zeros:53"},
         [] {
             void* handle = nullptr;
             return OrviAiSrvCreateFaceDetector(&handle, 0, 30, 1, [](tagOrviAiSrvFaceDetEvent*) {});
         },
         -1,
         NO_STATUS,
         0},
        {{"refuse checkin.start busy", "nodata checkin.start"},
         [] {
             tagOrviAiConfIdInfo conference = {};
             std::strcpy(conference.confId, "weekly");
             return OrviAiSrvCheckInStart(conference);
         },
         -1,
         NO_STATUS,
         0},
        {{"refuse assistant.status busy", "reply assistant.status zeros:5"},
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
    simulator_.Command("drop assistant.wake");
    WakeUp();
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), ORVI_SIM_ASSISTANT_ASLEEP);
    simulator_.Command("reset assistant.wake");
    simulator_.Command("hold assistant.wake");
    WakeUp();
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), ORVI_SIM_ASSISTANT_ASLEEP);
    EventRecorder::ExpectNoMore();
    EXPECT_EQ(simulator_.Command("release assistant.wake"), "1");
    EventRecorder::ExpectIds({100, 102});
    simulator_.Command("delay assistant.sleep 1ms");
    ASSERT_EQ(OrviAiAssistantSleep(), 0);
    EventRecorder::ExpectIds({103, 101});
}

TEST_F(FaultsTest, EventsAreLostHeldAndDelayed) {
    Connect();
    for (const char* fault : {"drop assistant.listening", "hold assistant.woken", "delay assistant.asleep 1ms"}) {
        simulator_.Command(fault);
    }
    WakeUp();
    ASSERT_EQ(OrviAiAssistantSleep(), 0);
    EventRecorder::ExpectIds({103, 101});  // no listen, sleep; without wake up and listen
    EXPECT_EQ(simulator_.Command("release assistant.woken"), "1");
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
    simulator_.Command("hold model.ask");
    auto asked = std::async(std::launch::async, [] { return OrviAiSrvLargeModelRequest(OrviAiModelParams{}); });
    simulator_.Await("request model.ask 1");
    AwaitServiceTime(50);
    ExpectPushArrives();  // and nothing before it
    EXPECT_EQ(simulator_.Command("release model.ask"), "1");
    EXPECT_EQ(asked.get(), 0);
    EventRecorder::ExpectIds({ORVI_AI_EVENT_LARGE_MODEL_3F});
}

// Which of four requests a fault concerns, and what becomes of their replies.
TEST_F(FaultsTest, AFaultChoosesItsMessages) {
    Connect();
    const struct {
        const char* faults[2];
        std::vector<Bytes> replies;
    } cases[] = {
        {{"reply caption.deinit verdict=busy --once", ""}, {{3}, {0}, {0}, {0}}},
        {{"reply caption.deinit hex:07 --once", "refuse caption.deinit busy --once"}, {{7}, {3}, {0}, {0}}},
        {{"empty caption.deinit --nth 3", ""}, {{0}, {0}, {}, {0}}},
        {{"long caption.deinit 2 --every 2", ""}, {{0}, {0, 0, 0}, {0}, {0, 0, 0}}},
        {{"short caption.deinit --nth 2", "refuse caption.deinit busy"}, {{3}, {}, {3}, {3}}},
        {{"refuse caption.deinit busy --app somebody", ""}, {{0}, {0}, {0}, {0}}},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.faults[0]);
        for (const char* fault : testCase.faults) {
            EXPECT_TRUE(*fault == '\0' || simulator_.Command(fault).empty());
        }
        for (const Bytes& reply : testCase.replies) {
            EXPECT_EQ(RequestFromTask("ai_v_task_i", 0x600017, {}, LONG_WAIT_MS).data, reply);
        }
        simulator_.Command("reset all");
        EXPECT_EQ(simulator_.Command("faults"), "none");
    }
    simulator_.Command("refuse caption.deinit not-ready --every 2 --app " + ProcessName());
    (void)RequestFromTask("ai_v_task_i", 0x600017, {}, LONG_WAIT_MS);
    EXPECT_EQ(simulator_.Command("faults"),
              "refuse caption.deinit not-ready --app " + ProcessName() + " --every 2: 0 of 1");
}

TEST_F(FaultsTest, EventsAndOneWayMessagesComeTwiceLongerOrNotAtAll) {
    EventRecorder::CopyRecords();
    Connect();
    simulator_.Command("double assistant.woken --once");
    simulator_.Command("long assistant.listening 4 --once");
    WakeUp();
    EventRecorder::ExpectIds({100, 100});
    EXPECT_EQ(EventRecorder::Next().record.size(), sizeof(OrviSimAssistantNotice));  // the library trusts its length
    simulator_.Command("drop assistant.woken --every 2");
    simulator_.Command("double assistant.wake");
    WakeUp();
    EventRecorder::ExpectIds({100, 102, 102});
}

// What an application asked is in the journal when its call returns, and what is expected may still come.
TEST_F(FaultsTest, ExpectationsLookAtTheJournal) {
    Connect();
    simulator_.Command("mark");
    ASSERT_EQ(OrviAiSrvCaptionInit([](OrviAiCaptionEventId, void*) {}), 0);
    simulator_.Command("refuse caption.start busy --once");
    EXPECT_EQ(StartCaptions(), -1);
    const struct {
        const char* line;
        const char* answer;  // its beginning
    } cases[] = {
        {"expect caption.init", "ok yes "},
        {"expect caption.start conference=weekly option2=2", "ok yes "},
        {"expect caption.start conference=daily", "error no caption.start like this came; instead: "},
        {"expect caption.stop --within 1ms", "error no caption.stop came; instead: "},
        {"expect no caption.stop --within 1ms", "ok yes, it did not come"},
        {"expect no caption.init", "error no, it came: "},
        {"expect caption.init --app somebody", "error no caption.init came"},
    };
    for (const auto& testCase : cases) {
        const std::string answer = simulator_.Ask(testCase.line);
        EXPECT_EQ(answer.substr(0, std::strlen(testCase.answer)), testCase.answer) << testCase.line << ": " << answer;
    }
    const std::string me = ProcessName();
    const std::string journal = simulator_.Command("journal caption.start --last 1");
    EXPECT_NE(journal.find(me + " caption.start: refused busy "), std::string::npos) << journal;
    EXPECT_NE(journal.find(" conference=\"weekly\" "), std::string::npos) << journal;
    EXPECT_EQ(simulator_.Command("journal --app somebody"), "nothing");
    simulator_.Command("silent minutes.stop");
    EXPECT_EQ(RequestThroughProxy(0x600036, {}, 10).result, -1);
    simulator_.Await("request minutes.stop 1");  // the wait may be over before it arrives
    EXPECT_NE(simulator_.Command("journal minutes.*").find("minutes.stop: unanswered"), std::string::npos);
    simulator_.Command("mark");
    simulator_.Child().WriteLine("expect lock.state state=7 --within 20s");
    EXPECT_EQ(OrviAiLockStateChange(7), 0);
    std::string answer;
    ASSERT_TRUE(simulator_.Child().ReadLine(answer));
    EXPECT_EQ(answer.substr(0, 7), "ok yes ") << answer;
}

// The service dies before or after its reply, or at once; a restarted one is there again.
TEST_F(FaultsTest, TheServiceCrashesAsTold) {
    if (*ORVI_TEST_EMULATOR != '\0') {
        GTEST_SKIP() << "an emulated service cannot start itself again";
    }
    Connect();
    simulator_.Command("restart");
    EventRecorder::ExpectIds({0, 1});
    ASSERT_TRUE(simulator_.Child().ReadUntil("ready AI_VISION"));
    Announce();
    const struct {
        const char* crash;
        int result;
    } cases[] = {{"crash lock.state before reply", -1}, {"crash lock.state after reply", 0}};
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.crash);
        simulator_.Command(testCase.crash);
        EXPECT_EQ(OrviAiLockStateChange(7), testCase.result);
        EXPECT_EQ(simulator_.Child().Wait(), -SIGKILL);
        EventRecorder::ExpectIds({0});
        simulator_.Start();
        EventRecorder::ExpectIds({1});
    }
}

TEST_F(FaultsTest, WhatHasNoEffectIsRefusedInWords) {
    simulator_.Start();
    const struct {
        const char* line;
        const char* reason;
    } cases[] = {
        {"silent 0x600999", "applications send no such message"},
        {"hold app.init --once --nth 2", "--once and --nth do not go together"},
        {"drop caption.init", "caption.init has a reply: silent keeps it from being answered"},
        {"silent face.event", "face.event has no reply: drop loses it"},
        {"double caption.init", "caption.init has one reply"},
        {"long assistant.wake", "is one-way and has no reply"},
        {"short caption.init 0", "'0' is no number for BYTES: 1 to "},
        {"crash face.event", "a crash comes at what an application asks"},
        {"crash --once", "--once needs a MESSAGE"},
        {"refuse caption.init busy --often", "there is no option '--often' of refuse"},
        {"refuse caption.init busy --nth 0", "'0' is no number for N: 1 to "},
        {"push caption.start", "is what applications send"},
        {"push caption.line speaker=Zoe 7", "do not go together"},
        {"push face.event count=9", "count"},
        {"expect caption.start room=7", "caption.start has no field 'room'; it has client.process, "},
        {"expect face.event", "applications send no such message"},
        {"journal faces.*", "applications send nothing like 'faces.*'"},
        {"person enters", "--name NAME is missing; it is: person enters --name NAME ["},
        {"person enters --name Ada --photo /dev/null", "/dev/null cannot be read, or is empty"},
        {"person leaves --name Ada", "nobody named 'Ada' is here"},
        {"faces 8", "'8' is neither usual nor a number from 0 to 7; it is: faces N|usual"},
        {"face 1 5 5", "`faces N` puts others there"},
        {"caption hello", "captions are off"},
        {"conversation on", "it is on already"},
        {"time 24:00", "'24:00' is no time of day, as 09:30"},
        {"time 9:30:", "'9:30:' is no time of day"},
        {"clock fast", "'fast' is too much; it is: clock; there is also clock scale, clock step"},
        {"enter Bob", "there is no command 'enter Bob', there is person enters"},
        {"say \"hello", "a quote has no end"},
        {"hold event:0x600014", "the service sends no such message"},
        {"reply checkin.arrival 1", "an event has no reply"},
        {"nodata assistant.wake", "assistant.wake is one-way and has no reply"},
        {"refuse assistant.wake busy", "is one-way"},
        {"refuse caption.init tired", "'tired' is none of not-ready|busy|malformed"},
        {"reply caption.init hex:1", "even number"},
        {"delay caption.init soon", "'soon' is no time, as 500ms"},
        {"release caption.init", "is not held back"},
        {"reset caption.init", "is as usual already"},
        {"push 0x600999 1", "the service sends no such message"},
        {"push model.piece 44 7", "its length word says 44 and it has 8 bytes"},
        {"push checkin.arrival hex:0102", "too few for an integer"},
        {"push face.event zeros:100", "it has 100 bytes"},
        {"push face.event 8 zeros:284", "8 faces"},
    };
    for (const auto& testCase : cases) {
        const std::string answer = simulator_.Ask(testCase.line);
        EXPECT_EQ(answer.substr(0, 6), "error ") << testCase.line;
        EXPECT_NE(answer.find(testCase.reason), std::string::npos) << answer;
    }
    for (const char* raw : {"push checkin.count present=3", "push 0x600999 1 --raw", "push model.piece --raw 44 7",
                            "push model.piece 8 7"}) {
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
