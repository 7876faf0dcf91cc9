// The C++ layer over the library's functions, with the fake in the library's place: every function has its call, no
// result is lost, and handlers run where and for as long as they should.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <thread>

#include "orvi/test/fake.hpp"
#include "orvi_ai_srv.hpp"
#include "orvi_vision_sim_payloads.hpp"

namespace orvi_test {
namespace {

namespace fake = orvi::test::fake;
using orvi::Error;

class CppLayerTest : public testing::Test {
 protected:
    CppLayerTest() {
        fake::reset();
        EXPECT_TRUE(connection_.open(
            "app", queue_, [this](const orvi::Event& event) { Note(event); }, orvi::AtStart::SET_UP_AGAIN));
    }
    ~CppLayerTest() override { fake::reset(); }

    void Note(const orvi::Event& event) {
        told_.push_back(std::to_string(event.id));
        for (const orvi::Restored& piece : event.restored) {
            told_.push_back(std::string(piece.what) + (piece.result ? "" : " failed"));
        }
    }
    bool IsReadable() const {
        pollfd entry{queue_.fd(), POLLIN, 0};
        return poll(&entry, 1, 0) == 1;
    }
    // A call of the layer that stands for a function of the library: both succeed, and both fail.
    template <auto Function, class Call>
    static void Whole(Call call) {
        SCOPED_TRACE(__PRETTY_FUNCTION__);
        auto& script = fake::of<Function>();
        const size_t before = script.count();
        EXPECT_TRUE(static_cast<bool>(call()));
        script.returns(-1);
        EXPECT_FALSE(static_cast<bool>(call()));
        script.returns(0);
        EXPECT_EQ(script.count(), before + 2);
    }
    static orvi::EventQueue::Options Small() {
        orvi::EventQueue::Options options;
        options.capacity = 4;
        options.payloadLength = orvi::sim::PayloadLength;
        return options;
    }

    uint64_t lost_ = 0;
    std::vector<std::string> told_;
    orvi::EventQueue queue_{[this] {
        orvi::EventQueue::Options options = Small();
        options.onLost = [this](uint64_t count) { lost_ += count; };
        return options;
    }()};
    orvi::Connection connection_;
};

using Told = std::vector<std::string>;

TEST_F(CppLayerTest, EveryFunctionHasItsCallAndItsFailureIsKept) {
    const auto handler = [](const auto&) {};
    Whole<OrviAiSrvApiInit>([&] { return connection_.announce(); });
    Whole<OrviAiSrvCaptionInit>([&] { return connection_.captions().init(handler); });
    Whole<OrviAiSrvCaptionStart>([&] { return connection_.captions().start({}); });
    Whole<OrviAiSrvCaptionStop>([&] { return connection_.captions().stop(); });
    Whole<OrviAiSrvCaptionDeInit>([&] { return connection_.captions().end(); });
    Whole<OrviAiSrvNamePlateInit>([&] { return connection_.nameplates().init(); });
    Whole<OrviAiSrvNamePlateStart>([&] { return connection_.nameplates().start(); });
    Whole<OrviAiSrvNamePlateStop>([&] { return connection_.nameplates().stop(); });
    Whole<OrviAiSrvNamePlateDeInit>([&] { return connection_.nameplates().end(); });
    Whole<OrviAiSrvDirectorStart>([&] { return connection_.director().start(); });
    Whole<OrviAiSrvDirectorStop>([&] { return connection_.director().stop(); });
    Whole<OrviAiLockStateChange>([&] { return connection_.lockState(1); });
    Whole<OrviAiSrvCheckInInit>([&] { return connection_.checkIn().init(); });
    Whole<OrviAiSrvCheckInStart>([&] { return connection_.checkIn().start({}); });
    Whole<OrviAiSrvCheckInStartReport>([&] { return connection_.checkIn().startReport(ORVI_AI_CHECKIN_TYPE_0, {}); });
    Whole<OrviAiSrvCheckInStopReport>([&] { return connection_.checkIn().stopReport(); });
    Whole<OrviAiSrvGetCheckinData>(
        [&] { return connection_.checkIn().page(static_cast<OrviAiCheckInShowType>(0), 1); });
    Whole<OrviAiSrvGetCheckinPhoto>([&] { return connection_.checkIn().photo("ada"); });
    Whole<OrviAiSrvCheckInStop>([&] { return connection_.checkIn().stop(); });
    Whole<OrviAiSrvCheckInClearData>([&] { return connection_.checkIn().clear(); });
    Whole<OrviAiSrvCheckInDeinit>([&] { return connection_.checkIn().end(); });
    Whole<OrviAiSrvSignatureStart>([&] { return connection_.minutes().start({}); });
    Whole<OrviAiSrvSignatureStop>([&] { return connection_.minutes().stop(); });
    Whole<OrviAiSrvGetVersion>([&] { return orvi::version(); });
    Whole<OrviAiSrvGetAbility>([&] { return orvi::ability(); });
    Whole<OrviAiSrvLargeModelInit>([&] { return connection_.largeModel().init({}); });
    Whole<OrviAiSrvLargeModelRequest>([&] { return connection_.largeModel().request({}); });
    Whole<OrviAiSrvLargeModelDeInit>([&] { return connection_.largeModel().end({}); });
    Whole<OrviAiAssistantInitKeyWord>([&] { return connection_.assistant().initKeyWord(); });
    Whole<OrviAiAssistantUpdateKeyWord>(
        [&] { return connection_.assistant().updateKeyWord(ORVI_AI_HOTWORD_UPDATE_TYPE1, "hey"); });
    Whole<OrviAiAssistantInitIntent>([&] { return connection_.assistant().initIntents({{}}); });
    Whole<OrviAiAssistantNotifyIntentResult>([&] { return connection_.assistant().answer(1, {}); });
    Whole<OrviAiAssistantRequestTts>([&] { return connection_.assistant().say(1, {}); });
    Whole<OrviAiAssistantDisplayCard>([&] { return connection_.assistant().show(1, {}); });
    Whole<OrviAiAssistantChooseItem>([&] { return connection_.assistant().choose(1, 2); });
    Whole<OrviAiAssistantWakeUp>([&] { return connection_.assistant().wakeUp(); });
    Whole<OrviAiAssistantSleep>([&] { return connection_.assistant().sleep(); });
    Whole<OrviAiAssistantGetPageInfo>([&] { return connection_.assistant().page(); });
    Whole<OrviAiAssistantSetPageInfo>([&] { return connection_.assistant().setPage({}); });
    Whole<OrviAiAssistantGetAbility>([&] { return orvi::assistantAbility(); });
    Whole<OrviAiSrvApiDeinit>([&] { return connection_.leave(); });
    EXPECT_EQ(connection_.director().init().error(), Error::FAILED);
    EXPECT_EQ(connection_.director().end().error(), Error::FAILED);
    EXPECT_EQ(connection_.assistant().status().result.error(), Error::NO_STATUS);
    fake::of<OrviAiAssistantGetStatus>().returns(static_cast<OrviAiAssistantStatus>(2));
    EXPECT_EQ(*connection_.assistant().status(), static_cast<OrviAiAssistantStatus>(2));
    fake::of<OrviAiSrvNamePlateInit>().returns(-7);
    EXPECT_EQ(connection_.nameplates().init().error(), Error::UNKNOWN);
    EXPECT_EQ(connection_.nameplates().init().raw(), -7);
}

TEST_F(CppLayerTest, WhatCannotBeIsRefusedBeforeTheLibraryIsAsked) {
    char field[4];
    EXPECT_EQ(orvi::setText(field, "abcd").error(), Error::TEXT_TOO_LONG);
    EXPECT_EQ(orvi::setText(field, std::string_view("a\0b", 3)).error(), Error::TEXT_HAS_NUL);
    EXPECT_EQ(connection_.checkIn().photo(std::string(500, 'x')).result.error(), Error::TEXT_TOO_LONG);
    EXPECT_EQ(connection_.captions().init(nullptr).error(), Error::NO_HANDLER);
    EXPECT_EQ(connection_.open("app", [](const auto&) {}).error(), Error::ALREADY);
    orvi::Connection second;
    EXPECT_EQ(second.open("app", [](const auto&) {}).error(), Error::ALREADY);
    EXPECT_EQ(second.announce().error(), Error::NO_OBJECT);
    EXPECT_EQ(second.captions().start({}).error(), Error::NO_OBJECT);
    EXPECT_EQ(fake::of<OrviAiSrvApiInit>().count(), 1U);
    // A service that does not run yet: the connection waits for it.
    EXPECT_TRUE(connection_.close());
    fake::of<OrviAiSrvApiInit>().returns(-1);
    EXPECT_EQ(second.open("app", [](const auto&) {}).error(), Error::FAILED);
    EXPECT_TRUE(second.isOpen());
    const int child = fork();
    if (child == 0) {
        _exit(second.close().error() == Error::OTHER_PROCESS ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// Events wait for dispatch(), in their order; a full queue counts what it loses, and has the service's end and start.
TEST_F(CppLayerTest, TheQueueIsBoundedAndTellsWhatItLost) {
    EXPECT_FALSE(IsReadable());
    for (int i = 0; i < 6; ++i) {
        fake::fire_status(ORVI_AI_STATUS_2B, i);
    }
    for (int i = 0; i < 3; ++i) {
        fake::fire(ORVI_AI_EVENT_SERVICE_EXIT);
        fake::fire(ORVI_AI_EVENT_SERVICE_START);
    }
    EXPECT_TRUE(told_.empty());
    EXPECT_TRUE(IsReadable());
    EXPECT_EQ(queue_.dispatch(), 6U);
    EXPECT_FALSE(IsReadable());
    const std::string status = std::to_string(ORVI_AI_EVENT_STATUS);
    EXPECT_EQ(told_, (Told{status, status, status, status, std::to_string(ORVI_AI_EVENT_SERVICE_EXIT),
                           std::to_string(ORVI_AI_EVENT_SERVICE_START), "connection"}));
    EXPECT_EQ(lost_, 2U);
    EXPECT_EQ(queue_.dispatch(), 0U);
}

// What a payload holds outlives the callback in which it came.
TEST_F(CppLayerTest, PayloadsAreKeptWhole) {
    std::string text;
    EXPECT_TRUE(connection_.captions().init([&text](const orvi::CaptionEvent& event) {
        const auto line = orvi::sim::CaptionLine(event);
        text += line ? line->text : "none";
    }));
    auto line = std::make_unique<OrviSimCaptionLine>();
    line->length = sizeof(*line);
    EXPECT_TRUE(orvi::setText(line->text, "good morning"));
    fake::fire_caption(ORVI_AI_CAPTION_EVENT_38, line.get());
    line->length = 3;  // too short for its own length
    fake::fire_caption(ORVI_AI_CAPTION_EVENT_38, line.get());
    line.reset();
    EXPECT_EQ(queue_.dispatch(), 2U);
    EXPECT_EQ(text, "good morningnone");
}

TEST_F(CppLayerTest, WhatWasSetUpIsSetUpAgainInItsOrder) {
    const orvi::Captions captions = connection_.captions();
    EXPECT_TRUE(captions.init([](const auto&) {}));
    EXPECT_TRUE(connection_.checkIn().init());
    EXPECT_TRUE(captions.start({}));
    fake::of<OrviAiSrvNamePlateInit>().returns(-1);
    EXPECT_FALSE(connection_.nameplates().init());  // never succeeded
    EXPECT_TRUE(connection_.checkIn().end());       // not wanted any more
    EXPECT_TRUE(connection_.lockState(3));
    auto detector = connection_.detector({}, [](const auto&) {});
    ASSERT_TRUE(detector);
    EXPECT_TRUE(detector->start());
    fake::of<OrviAiSrvCaptionStart>().returns_once(-1);
    fake::fire(ORVI_AI_EVENT_SERVICE_EXIT);
    fake::fire(ORVI_AI_EVENT_SERVICE_START);
    queue_.dispatch();
    EXPECT_EQ(told_,
              (Told{"0", "1", "connection", "captions, init", "captions, start failed", "lock state", "detector"}));
    EXPECT_EQ(fake::of<OrviAiSrvCreateFaceDetector>().count(), 2U);
    EXPECT_EQ(fake::of<OrviAiSrvDestroyFaceDetector>().count(), 1U);
    EXPECT_EQ(fake::of<OrviAiSrvStartFaceDetector>().count(), 2U);
    EXPECT_EQ(fake::of<OrviAiSrvCheckInInit>().count(), 1U);
}

// A handler may do everything with what it belongs to; what it throws comes out of dispatch(), and nothing is skipped.
TEST_F(CppLayerTest, HandlersMayDoEverything) {
    auto detector = connection_.detector({}, [&](const orvi::FaceEvent&) {});
    ASSERT_TRUE(detector);
    EXPECT_FALSE(connection_.detector({}, [](const auto&) {}));  // one at a time
    int seen = 0;
    EXPECT_TRUE(detector->onFaces([&](const orvi::FaceEvent&) {
        ++seen;
        EXPECT_TRUE(detector->destroy());
    }));
    EXPECT_TRUE(connection_.onEvent([&](const orvi::Event& event) {
        if (event.id == ORVI_AI_EVENT_SERVICE_EXIT) {
            throw std::runtime_error("told");
        }
        EXPECT_TRUE(connection_.onEvent([&](const orvi::Event&) {
            seen += 10;
            EXPECT_TRUE(connection_.close());
        }));
    }));
    tagOrviAiSrvFaceDetEvent face{};
    fake::fire_face(face);
    fake::fire(ORVI_AI_EVENT_SERVICE_EXIT);
    fake::fire_status(ORVI_AI_STATUS_2B, 1);
    fake::fire_status(ORVI_AI_STATUS_2B, 2);
    EXPECT_THROW((void)queue_.dispatch(), std::runtime_error);
    EXPECT_TRUE(IsReadable());
    queue_.dispatch();
    EXPECT_EQ(seen, 11);
    EXPECT_FALSE(connection_.isOpen());
}

// Without a queue handlers run where the library calls; replacing one waits until it has returned.
TEST_F(CppLayerTest, OnTheMessageThreadAHandlerIsNotLeftRunning) {
    EXPECT_TRUE(connection_.close());
    orvi::Connection direct;
    std::atomic<int> state{0};
    EXPECT_TRUE(direct.open("app", [&](const orvi::Event&) {
        state = 1;
        while (state != 2) {
            std::this_thread::yield();
        }
        state = 3;
    }));
    std::thread messages([] { fake::fire_status(ORVI_AI_STATUS_2B, 1); });
    while (state != 1) {
        std::this_thread::yield();
    }
    std::thread lets([&] { state = 2; });
    EXPECT_TRUE(direct.close());
    EXPECT_EQ(state, 3);
    messages.join();
    lets.join();
}

TEST_F(CppLayerTest, PhotosAreReleasedWithTheirOwner) {
    auto detector = connection_.detector({}, [](const auto&) {});
    ASSERT_TRUE(detector);
    fake::of<OrviAiSrvFaceDetectorGetById>().does([](void*, int*, int, tagOrviAiSrvPhotoResult* result) {
        return fake::fill_photos(result, {{1003, {1, 2, 3}}, {1004, {}}});
    });
    orvi::Photos kept;
    {
        auto photos = detector->photos({1003, 1004});
        ASSERT_TRUE(photos);
        kept = std::move(*photos);
    }
    ASSERT_EQ(kept.size(), 2U);
    EXPECT_EQ(kept[0].faceId, 1003U);
    EXPECT_EQ(kept[0].imgData[2], 3);
    EXPECT_EQ(std::get<1>(fake::of<OrviAiSrvFaceDetectorGetById>().last()), (std::vector<int>{1003, 1004}));
}

}  // namespace
}  // namespace orvi_test
