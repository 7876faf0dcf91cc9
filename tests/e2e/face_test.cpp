// Face detectors and stored photos, from the application's call to the service and back.
#include <cstring>
#include <filesystem>
#include <map>

#include "child_process.h"
#include "orvi_vision_sim_payloads.h"
#include "recorder.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

auto& g_pictures = *new Recorder<OrviSimFaceEvent>;
auto& g_others = *new Recorder<OrviSimFaceEvent>;

OrviSimFaceEvent Copy(const tagOrviAiSrvFaceDetEvent* event) {
    OrviSimFaceEvent picture;
    std::memcpy(&picture, event, sizeof(picture));
    return picture;
}
void OnFaces(tagOrviAiSrvFaceDetEvent* event) {
    g_pictures.Add(Copy(event));
}
void OnOtherFaces(tagOrviAiSrvFaceDetEvent* event) {
    g_others.Add(Copy(event));
}

class FaceTest : public VisionTest {
 protected:
    void* Create(OrviAiSrvFaceCallback callback = OnFaces, int frameRate = 30) {
        void* handle = nullptr;
        EXPECT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, frameRate, 1, callback), 0);
        return handle;
    }

    // A message that follows everything that the service has sent so far.
    void AwaitEverythingSent() {
        simulator_.Command("push 0x600037 1");
        EventRecorder::ExpectIds({2});
    }
};

TEST_F(FaceTest, FacesMoveAndKeepTheirIds) {
    Connect();
    void* const detector = Create();
    const Resources baseline = Resources::Now();  // this thread has its connection to the service
    AwaitEverythingSent();
    EXPECT_EQ(g_pictures.Clear(), 0U) << "a detector stands still until it is started";

    ASSERT_EQ(OrviAiSrvStartFaceDetector(detector), 0);
    std::map<uint32_t, OrviSimFace> last;
    size_t moves = 0;
    for (int i = 0; i < 15; ++i) {
        const OrviSimFaceEvent picture = g_pictures.Next();
        EXPECT_EQ(picture.sourceId, 0);
        ASSERT_GE(picture.faceCount, 3U);
        ASSERT_LE(picture.faceCount, static_cast<uint32_t>(ORVI_SIM_MAX_FACES));
        for (uint32_t face = 0; face < picture.faceCount; ++face) {
            const OrviSimFace& now = picture.faces[face];
            if (const auto before = last.find(now.faceId); before != last.end()) {
                moves += before->second.left != now.left || before->second.top != now.top ? 1 : 0;
            }
            last[now.faceId] = now;
        }
    }
    EXPECT_LE(last.size(), 4U);
    EXPECT_GT(moves, 15U);

    ASSERT_EQ(OrviAiSrvStopFaceDetector(detector), 0);
    AwaitEverythingSent();
    g_pictures.Clear();
    AwaitEverythingSent();
    EXPECT_EQ(g_pictures.Clear(), 0U) << "nothing is sent after the reply to a stop";

    ASSERT_EQ(OrviAiSrvStartFaceDetector(detector), 0);
    g_pictures.Next();
    ASSERT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
    g_pictures.Clear();
    AwaitEverythingSent();
    EXPECT_EQ(g_pictures.Clear(), 0U) << "no callback after a destroy";
    ExpectBackAt(baseline);
}

TEST_F(FaceTest, TheLastDetectorOfASourceHasTheCallback) {
    Connect();
    void* const first = Create(OnFaces);
    ASSERT_EQ(OrviAiSrvStartFaceDetector(first), 0);
    g_pictures.Next();
    void* const second = Create(OnOtherFaces);
    g_pictures.Clear();
    g_others.Next();
    EXPECT_EQ(g_pictures.Clear(), 0U);
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(first), 0);
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(second), 0);
}

TEST_F(FaceTest, ADetectorEndsWithTheService) {
    Connect();
    void* const detector = Create();
    RestartSimulator();
    ASSERT_EQ(Init(), 0);
    simulator_.Command("await clients 1");
    EXPECT_EQ(OrviAiSrvStartFaceDetector(detector), -1);
    EXPECT_NE(simulator_.Log().find("there is no detector 1 of this client"), std::string::npos);
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
    void* const another = Create();
    ASSERT_EQ(OrviAiSrvStartFaceDetector(another), 0);
    g_pictures.Next();
    simulator_.Kill();
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(another), -1) << "nobody there; the handle is gone all the same";
}

TEST_F(FaceTest, DetectorsAreLimitedAndBelongToTheirClient) {
    Connect();
    std::vector<void*> detectors(64);
    for (void*& detector : detectors) {
        detector = Create();
    }
    void* oneTooMany = nullptr;
    EXPECT_EQ(OrviAiSrvCreateFaceDetector(&oneTooMany, 0, 1, 0, OnFaces), -1);
    EXPECT_EQ(oneTooMany, nullptr);
    EXPECT_NE(simulator_.Log().find("there are 64 detectors already"), std::string::npos);

    // Detectors of clients that have left make room.
    ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
    simulator_.Command("await clients 0");
    void* const another = Create();
    ASSERT_EQ(Init(), 0);
    simulator_.Command("await clients 1");
    EXPECT_EQ(OrviAiSrvStartFaceDetector(detectors[1]), -1);
    ASSERT_EQ(OrviAiSrvStartFaceDetector(another), 0);
    g_pictures.Next();
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(another), 0);
    for (void* const detector : detectors) {
        EXPECT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
    }
}

// An announcement may be handled after the requests that follow it, as they go to another task: pictures come from
// then on.
TEST_F(FaceTest, ADetectorMayRunBeforeItsClientIsKnown) {
    Connect();
    ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
    simulator_.Command("await clients 0");
    void* const detector = Create();
    ASSERT_EQ(OrviAiSrvStartFaceDetector(detector), 0);
    ASSERT_EQ(Init(), 0);
    g_pictures.Next();
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
}

TEST_F(FaceTest, PhotosOfTheFacesInThePicture) {
    Connect();
    void* const detector = Create();
    const Resources baseline = Resources::Now();
    ASSERT_EQ(OrviAiSrvStartFaceDetector(detector), 0);
    const OrviSimFaceEvent picture = g_pictures.Next();
    ASSERT_GE(picture.faceCount, 2U);

    // Two of the faces, and one between them that nobody has.
    const auto first = static_cast<int>(picture.faces[0].faceId);
    const auto second = static_cast<int>(picture.faces[1].faceId);
    int ids[] = {first, 5, second};
    tagOrviAiSrvPhotoResult result = {};
    ASSERT_EQ(OrviAiSrvFaceDetectorGetById(detector, ids, 3, &result), 0);
    ASSERT_EQ(result.photoNums, 2);
    EXPECT_EQ(result.photoList[0].faceId, picture.faces[0].faceId);
    EXPECT_EQ(result.photoList[1].faceId, picture.faces[1].faceId);
    for (int i = 0; i < result.photoNums; ++i) {
        ASSERT_GT(result.photoList[i].imgLen, 100U);
        EXPECT_EQ(std::memcmp(result.photoList[i].imgData, "\x89PNG\r\n\x1a\n", 8), 0);
    }
    EXPECT_NE(Bytes(result.photoList[0].imgData, result.photoList[0].imgData + result.photoList[0].imgLen),
              Bytes(result.photoList[1].imgData, result.photoList[1].imgData + result.photoList[1].imgLen));
    OrviAiService::FreePhotoResult(&result, result.photoNums);

    int nobody[] = {5, -1};
    result = {-7, nullptr};
    EXPECT_EQ(OrviAiSrvFaceDetectorGetById(detector, nobody, 2, &result), -1);
    EXPECT_EQ(result.photoNums, -7);
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
    ExpectBackAt(baseline);
}

// The example is a C program: its photos are released through the C name of the release function.
TEST_F(FaceTest, TheExampleSavesTwoPhotos) {
    simulator_.Start();
    const std::string errors = sandbox_.Path("face_photos.log");
    const std::string directory = sandbox_.Path("photos");
    ASSERT_TRUE(std::filesystem::create_directory(directory));
    ChildProcess example("face_photos", {directory}, errors);
    EXPECT_EQ(example.Wait(), 0) << ReadFile(errors);
    size_t photos = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        EXPECT_EQ(ReadFile(entry.path()).compare(0, 8, "\x89PNG\r\n\x1a\n"), 0) << entry.path();
        ++photos;
    }
    EXPECT_EQ(photos, 2U);

    ChildProcess nowhere("face_photos", {directory + "/none"}, errors);
    EXPECT_EQ(nowhere.Wait(), 1);
}

// What a service may answer by mistake.
TEST_F(FaceTest, MistakenRepliesFailTheCallAndNothingElse) {
    Connect();
    void* const detector = Create();
    const Resources baseline = Resources::Now();
    int id = 1001;
    for (const char* reply : {"empty 0x600006", "nodata 0x600006", "reply 0x600006 hex:0100", "reply 0x600006 -1",
                              "reply 0x600006 0x7fffffff", "reply 0x600006 0x10000000 zeros:1000",
                              "reply 0x600006 2 1001 3 hex:010203 1002 4 hex:010203"}) {
        simulator_.Command(reply);
        tagOrviAiSrvPhotoResult result = {};
        EXPECT_EQ(OrviAiSrvFaceDetectorGetById(detector, &id, 1, &result), -1) << reply;
        EXPECT_EQ(result.photoList, nullptr) << reply;
    }
    simulator_.Command("reply 0x600006 2 1001 3 hex:010203 1002 0");
    tagOrviAiSrvPhotoResult result = {};
    ASSERT_EQ(OrviAiSrvFaceDetectorGetById(detector, &id, 1, &result), 0);
    EXPECT_EQ(result.photoNums, 2);
    OrviAiService::FreePhotoResult(&result, result.photoNums);

    simulator_.Command("reply 0x600004 zeros:53");
    EXPECT_EQ(OrviAiSrvStartFaceDetector(detector), -1);
    simulator_.Command("empty 0x600004");
    EXPECT_EQ(OrviAiSrvStartFaceDetector(detector), 0);
    simulator_.Command("nodata 0x600005");
    EXPECT_EQ(OrviAiSrvStopFaceDetector(detector), 0);
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
    ExpectBackAt(baseline);
}

}  // namespace
}  // namespace orvi_test
