// The fake of the library: scripts, records and callbacks, as an application's unit test uses them.
#include "orvi/test/fake.hpp"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace orvi_test {
namespace {

namespace fake = orvi::test::fake;

class FakeTest : public testing::Test {
 protected:
    void SetUp() override { fake::reset(); }
};

std::vector<std::string> g_told;

void OnEvent(OrviAiEventId event, void* payload) {
    const auto* const status = static_cast<const tagOrviAiServiceStatusEvent*>(payload);
    g_told.push_back(std::to_string(event) + (status != nullptr ? "/" + std::to_string(status->status) : ""));
    if (event == ORVI_AI_EVENT_SERVICE_START) {
        (void)OrviAiSrvApiInit({}, OnEvent);  // a callback may call the library
    }
}

void OnFace(tagOrviAiSrvFaceDetEvent* event) {
    g_told.push_back("face " + std::to_string(event->sourceId));
}

TEST_F(FakeTest, EachCallTakesTheNextScript) {
    auto& start = fake::of<OrviAiSrvDirectorStart>();
    EXPECT_EQ(OrviAiSrvDirectorStart(), 0);
    start.returns(-7).returns_once(-1).returns_once(-2);
    EXPECT_EQ(start.unused(), 2U);
    EXPECT_EQ(OrviAiSrvDirectorStart(), -1);
    EXPECT_EQ(OrviAiSrvDirectorStart(), -2);
    EXPECT_EQ(OrviAiSrvDirectorStart(), -7);
    EXPECT_EQ(start.count(), 4U);
    EXPECT_EQ(OrviAiSrvDirectorStop(), 0);
    fake::of<OrviAiAssistantGetStatus>().returns(5);
    EXPECT_EQ(OrviAiAssistantGetStatus(), 5);
    fake::of<OrviAiSrvGetCheckinPhoto>().does([](const char*, uint32_t, uint8_t* photo, uint32_t* length) {
        photo[0] = 42;
        *length = 1;
        return 0;
    });
    uint8_t photo[8] = {};
    uint32_t length = sizeof(photo);
    EXPECT_EQ(OrviAiSrvGetCheckinPhoto("ada", 4, photo, &length), 0);
    EXPECT_EQ(length + photo[0], 43U);
    EXPECT_EQ(std::get<3>(fake::of<OrviAiSrvGetCheckinPhoto>().last()), 8U);  // as it was given
    fake::reset();
    EXPECT_EQ(start.count(), 0U);
    EXPECT_EQ(OrviAiSrvDirectorStart(), 0);
    EXPECT_THROW((void)fake::of<OrviAiSrvDirectorStop>().last(), std::logic_error);
}

// What the caller frees or overwrites afterwards is kept.
TEST_F(FakeTest, ArgumentsAreCopied) {
    tagOrviAiConfInfo conference{"Monday", 1, 2, "room 7"};
    (void)OrviAiSrvCaptionStart(&conference, 1);
    conference = {};
    (void)OrviAiSrvCaptionStart(nullptr, 0);
    const auto calls = fake::of<OrviAiSrvCaptionStart>().calls();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_STREQ(std::get<0>(calls[0])->text1, "Monday");
    EXPECT_FALSE(std::get<0>(calls[1]).has_value());

    int ids[] = {1003, 1004};
    tagOrviAiSrvPhotoResult result{};
    EXPECT_EQ(OrviAiSrvFaceDetectorGetById(nullptr, ids, 2, &result), -1);
    ids[0] = 0;
    EXPECT_EQ(std::get<1>(fake::of<OrviAiSrvFaceDetectorGetById>().last()), (std::vector<int>{1003, 1004}));

    OrviAiAssistantIntentName intents[2] = {{{}, "open"}, {{}, "close"}};
    (void)OrviAiAssistantInitIntent(intents, 2);
    std::memset(intents, 0, sizeof(intents));
    EXPECT_STREQ(std::get<0>(fake::of<OrviAiAssistantInitIntent>().last())[1].name, "close");
    std::string words = "tea";
    (void)OrviAiAssistantUpdateKeyWord({}, ORVI_AI_HOTWORD_UPDATE, words);
    words = "";
    EXPECT_EQ(std::get<2>(fake::of<OrviAiAssistantUpdateKeyWord>().last()), "tea");
}

TEST_F(FakeTest, CallbacksAreTheTests) {
    g_told.clear();
    EXPECT_THROW(fake::fire(ORVI_AI_EVENT_SERVICE_START), std::logic_error);
    fake::of<OrviAiSrvApiInit>().returns_once(-1);
    EXPECT_EQ(OrviAiSrvApiInit({}, OnEvent), -1);
    EXPECT_THROW(fake::fire(ORVI_AI_EVENT_SERVICE_START), std::logic_error);
    EXPECT_EQ(OrviAiSrvApiInit({}, OnEvent), 0);
    fake::fire(ORVI_AI_EVENT_SERVICE_START);
    fake::fire_status(ORVI_AI_STATUS_CAPTION, 1);
    EXPECT_EQ(fake::of<OrviAiSrvApiInit>().count(), 3U);

    void* handle = nullptr;
    ASSERT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 5, 1, OnFace), 0);
    ASSERT_NE(handle, nullptr);
    void* other = nullptr;
    ASSERT_EQ(OrviAiSrvCreateFaceDetector(&other, 1, 5, 1, OnFace), 0);
    EXPECT_NE(other, handle);
    fake::fire_face({{}, 0});
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(handle), 0);
    EXPECT_THROW(fake::fire_face({{}, 0}), std::logic_error);
    EXPECT_EQ(g_told, (std::vector<std::string>{"1", "2/1", "face 0"}));
    EXPECT_THROW(fake::fire_caption(ORVI_AI_CAPTION_EVENT_38), std::logic_error);
}

// A script's own handle is a detector as well, and what scripts hold may call the library when it goes.
TEST_F(FakeTest, ScriptsHoldWhatTheyLike) {
    int scripted = 0;
    fake::of<OrviAiSrvCreateFaceDetector>().does_once([&](void** handle, int, int, uint8_t, OrviAiSrvFaceCallback) {
        *handle = &scripted;
        return 0;
    });
    void* handle = nullptr;
    ASSERT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 5, 1, OnFace), 0);
    EXPECT_EQ(handle, &scripted);
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(handle), 0);
    EXPECT_THROW(fake::fire_face({{}, 0}), std::logic_error);

    struct Owner {
        ~Owner() { (void)OrviAiSrvDirectorStop(); }
    };
    fake::of<OrviAiSrvDirectorStop>().does([owner = std::make_shared<Owner>()] { return 0; });
    fake::of<OrviAiSrvDirectorStop>().does_once([owner = std::make_shared<Owner>()] { return 0; });
    fake::reset();
    EXPECT_EQ(fake::of<OrviAiSrvDirectorStop>().count(), 2U);
}

TEST_F(FakeTest, PhotosAreReleased) {
    fake::of<OrviAiSrvFaceDetectorGetById>().does([](void*, int*, int, tagOrviAiSrvPhotoResult* result) {
        return fake::fill_photos(result, {{1003, {1, 2, 3}}, {1004, {}}});
    });
    tagOrviAiSrvPhotoResult result{};
    ASSERT_EQ(OrviAiSrvFaceDetectorGetById(nullptr, nullptr, 0, &result), 0);
    ASSERT_EQ(result.photoNums, 2);
    EXPECT_EQ(result.photoList[0].imgData[2], 3);
    EXPECT_NE(result.photoList[1].imgData, nullptr);
    OrviAiService::FreePhotoResult(&result, result.photoNums);
    EXPECT_EQ(result.photoList, nullptr);
}

TEST_F(FakeTest, ManyThreadsMayCall) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int k = 0; k < 100; ++k) {
                (void)OrviAiLockStateChange(k);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(fake::of<OrviAiLockStateChange>().count(), 400U);
}

}  // namespace
}  // namespace orvi_test
