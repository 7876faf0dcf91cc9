// Synchronous requests: their replies, their failures, many at once.
#include <atomic>
#include <future>

#include "orvi_ai_srv_proxy.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

constexpr uint32_t CAPTION_INIT = 0x600014;
constexpr uint32_t CAPTION_DEINIT = 0x600017;
constexpr uint32_t DETECTOR_DESTROY = 0x600003;

// The record of a detector that does not exist: asked to destroy it, the service sends the record back.
Bytes UnknownDetector(uint32_t number) {
    Bytes record(48);
    AppendInteger(record, 1000000 + number);
    return record;
}

class RequestsTest : public VisionTest {
 protected:
    static Outcome AskForCaptions(uint32_t waitMs = LONG_WAIT_MS) {
        return RequestThroughProxy(CAPTION_INIT, Address(), waitMs);
    }

    // The service's answer to a request of this number is its own.
    static bool IsAnswered(uint32_t number) {
        const Outcome outcome = RequestThroughProxy(DETECTOR_DESTROY, UnknownDetector(number), LONG_WAIT_MS);
        return outcome.result == 0 && outcome.data == UnknownDetector(number);
    }
};

TEST_F(RequestsTest, RepliesAsTheServiceGivesThem) {
    Connect();
    const struct {
        const char* command;
        int result;
        Bytes data;
    } cases[] = {
        {"reset all", 0, {0}},
        {"reply caption.init hex:00", 0, {0}},
        {"reply caption.init hex:07", 0, {7}},
        {"reply caption.init hex:070102030405", 0, {7, 1, 2, 3, 4, 5}},
        {"reply caption.init zeros:1000000", 0, Bytes(1000000)},
        {"empty caption.init", 0, {}},
        {"nodata caption.init", -1, {}},
        {"reset caption.init", 0, {0}},
    };
    const Resources baseline = Resources::Now();
    for (const auto& testCase : cases) {
        simulator_.Command(testCase.command);
        const Outcome outcome = AskForCaptions();
        EXPECT_EQ(outcome.result, testCase.result) << testCase.command;
        EXPECT_EQ(outcome.hasData, testCase.result == 0) << testCase.command;
        EXPECT_EQ(outcome.data, testCase.data) << testCase.command;
    }
    // This thread's connection to the task, opened by the first request, is all that stays.
    ExpectBackAt(baseline, 1);
}

TEST_F(RequestsTest, OneWayMessageOfTheInterfaceChannelArrives) {
    Connect();
    Bytes payload = {1, 2, 3};
    EXPECT_EQ(OrviAiService::AiSrvServiceProxy::GetInstance().SendAsynMsgToVision(0x6000F0, payload.data(), 3), 0);
    simulator_.Await("request 0x6000f0 1");
    EXPECT_EQ(simulator_.Command("last 0x6000f0"), "010203");
}

TEST_F(RequestsTest, SilenceEndsWithTheWaitAndASlowAnswerIsAwaited) {
    Connect();
    simulator_.Command("silent caption.init");
    EXPECT_EQ(AskForCaptions(50).result, -1);
    simulator_.Command("reset caption.init");
    simulator_.Command("delay caption.init 300ms");
    EXPECT_EQ(AskForCaptions().data, Bytes{0});
}

// The reply to the first request lies in front of the last one's on the same connection.
TEST_F(RequestsTest, LateReplyIsDroppedAndTheNextRequestGetsItsOwn) {
    Connect();
    for (uint32_t round = 1; round <= 3; ++round) {
        simulator_.Command("reply caption.init hex:63 --once");
        simulator_.Command("hold caption.init --once");
        ASSERT_EQ(AskForCaptions(20).result, -1);
        EXPECT_TRUE(IsAnswered(round));  // behind the other one, whose reply is held back by now
        EXPECT_EQ(simulator_.Command("release caption.init"), "1");
        EXPECT_EQ(AskForCaptions().data, Bytes{0});
    }
}

TEST_F(RequestsTest, DeathOfTheServiceEndsAWait) {
    Connect();
    simulator_.Command("silent caption.init");
    auto waiting = std::async(std::launch::async, [] { return AskForCaptions(); });
    simulator_.Await("request caption.init 1");
    simulator_.Kill();
    ASSERT_EQ(waiting.wait_for(PATIENCE), std::future_status::ready) << "still waiting for a dead service";
    EXPECT_EQ(waiting.get().result, -1);
    EXPECT_EQ(AskForCaptions().result, -1) << "nobody there";
}

// The thread holds a connection to the process that was killed.
TEST_F(RequestsTest, FirstRequestAfterARestartSucceeds) {
    Connect();
    for (uint32_t round = 0; round < 5; ++round) {
        ASSERT_EQ(AskForCaptions().data, Bytes{0});
        const Resources baseline = Resources::Now();
        RestartSimulator();
        ASSERT_TRUE(IsAnswered(round));
        EXPECT_EQ(simulator_.Command("count face.destroy"), "1") << "a request must not be sent twice";
        // Connected as before, then nothing may be left of the old connections.
        Announce();
        ExpectPushArrives();
        ExpectBackAt(baseline);
    }
}

TEST_F(RequestsTest, CallbackMayAsk) {
    static std::atomic<int> answered{0};
    Connect();
    EventRecorder::SetHook([](OrviAiEventId) { answered += IsAnswered(8) ? 1 : 0; });
    simulator_.Command("push checkin.count 1");
    simulator_.Command("push assistant.woken");
    EventRecorder::ExpectIds({2, 100});
    EXPECT_EQ(answered, 2);
    EventRecorder::SetHook(nullptr);
    connectionsOfOthers_ = 1;  // the message thread's
}

// Threads that wait for an answer do not hold up one another, nor this one.
TEST_F(RequestsTest, WaitingThreadsDoNotQueue) {
    Connect();
    simulator_.Command("reply caption.deinit hex:07");
    simulator_.Command("hold caption.deinit");
    constexpr uint32_t THREADS = 8;
    std::vector<std::future<Outcome>> waiting;
    for (uint32_t i = 0; i < THREADS; ++i) {
        waiting.push_back(
            std::async(std::launch::async, [] { return RequestThroughProxy(CAPTION_DEINIT, {}, LONG_WAIT_MS); }));
    }
    simulator_.Await("request caption.deinit " + std::to_string(THREADS));
    EXPECT_EQ(AskForCaptions().data, Bytes{0});
    EXPECT_EQ(simulator_.Command("release caption.deinit"), std::to_string(THREADS));
    for (auto& one : waiting) {
        EXPECT_EQ(one.get().data, Bytes{7});
    }
}

}  // namespace
}  // namespace orvi_test
