// Face detectors and stored photos, from the application's call to the service and back.
#include <cstring>
#include <filesystem>
#include <map>
#include <unistd.h>

#include "child_process.h"
#include "orvi_vision_sim_payloads.h"
#include "recorder.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

auto& g_pictures = *new Recorder<OrviSimFaceEvent>;
void OnFaces(tagOrviAiSrvFaceDetEvent* event) {
    OrviSimFaceEvent picture;
    std::memcpy(&picture, event, sizeof(picture));
    g_pictures.Add(picture);
}

class FaceTest : public VisionTest {
 protected:
    void* Create() {
        void* handle = nullptr;
        EXPECT_EQ(OrviAiSrvCreateFaceDetector(&handle, 0, 30, 1, OnFaces), 0);
        return handle;
    }

    void* Start() {
        void* const handle = Create();
        EXPECT_EQ(OrviAiSrvStartFaceDetector(handle), 0);
        return handle;
    }

    static constexpr int THREE_PICTURES = 110;  // milliseconds

    void ExpectNoPictures() {
        ExpectPushArrives();  // behind whatever had been sent before
        g_pictures.Clear();
        AwaitServiceTime(THREE_PICTURES);
        ExpectPushArrives();
        EXPECT_EQ(g_pictures.Clear(), 0U);
    }
};

TEST_F(FaceTest, FacesMoveAndKeepTheirIds) {
    Connect();
    void* const detector = Create();
    const Resources baseline = Resources::Now();  // this thread has its connection to the service
    ExpectNoPictures();

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
    ExpectNoPictures();
    ASSERT_EQ(OrviAiSrvStartFaceDetector(detector), 0);
    g_pictures.Next();
    ASSERT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
    ExpectNoPictures();
    ExpectBackAt(baseline);
}

TEST_F(FaceTest, ADetectorEndsWithTheService) {
    Connect();
    void* const detector = Create();
    RestartSimulator();
    Announce();
    void* const another = Start();  // which has another number than the one before the restart
    EXPECT_EQ(OrviAiSrvStartFaceDetector(detector), -1);
    ExpectLogged("refused detector start from " + ProcessName() + ": there is no detector ");
    g_pictures.Next();
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
    simulator_.Kill();
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(another), -1) << "nobody there; the handle is gone all the same";
}

TEST_F(FaceTest, DetectorsAreLimitedAndEndWithAGoodbye) {
    Connect();
    std::vector<void*> detectors(64);
    for (void*& detector : detectors) {
        detector = Create();
    }
    void* oneTooMany = nullptr;
    EXPECT_EQ(OrviAiSrvCreateFaceDetector(&oneTooMany, 0, 1, 0, OnFaces), -1);
    EXPECT_EQ(oneTooMany, nullptr);
    ExpectLogged("there are 64 detectors already");

    // Who leaves gives its detectors up.
    ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
    simulator_.Await("clients 0");
    detectors.push_back(Start());
    AwaitServiceTime(THREE_PICTURES);
    Announce();  // the detector has waited for its client
    g_pictures.Next();
    EXPECT_EQ(OrviAiSrvStartFaceDetector(detectors[1]), -1);
    for (void* const detector : detectors) {
        EXPECT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
    }
}

TEST_F(FaceTest, PhotosOfTheFacesInThePicture) {
    Connect();
    void* const detector = Start();
    const Resources baseline = Resources::Now();
    const OrviSimFaceEvent picture = g_pictures.Next();
    ASSERT_GE(picture.faceCount, 2U);

    // Two of the faces, and one between them that nobody has.
    int ids[] = {static_cast<int>(picture.faces[0].faceId), 5, static_cast<int>(picture.faces[1].faceId)};
    tagOrviAiSrvPhotoResult result = {};
    ASSERT_EQ(OrviAiSrvFaceDetectorGetById(detector, ids, 3, &result), 0);
    ASSERT_EQ(result.photoNums, 2);
    Bytes images[2];
    for (int i = 0; i < 2; ++i) {
        const tagOrviAiSrvPhotoInfo& photo = result.photoList[i];
        EXPECT_EQ(photo.faceId, picture.faces[i].faceId);
        ASSERT_GT(photo.imgLen, 100U);
        EXPECT_EQ(std::memcmp(photo.imgData, "\x89PNG\r\n\x1a\n", 8), 0);
        images[i].assign(photo.imgData, photo.imgData + photo.imgLen);
    }
    EXPECT_NE(images[0], images[1]);
    OrviAiService::FreePhotoResult(&result, result.photoNums);

    int nobody[] = {5, -1};
    EXPECT_EQ(OrviAiSrvFaceDetectorGetById(detector, nobody, 2, &result), -1);
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

// What a service may answer by mistake: no data at all, lists that are cut, entries that are not aligned.
TEST_F(FaceTest, MistakenRepliesFailTheCallAndNothingElse) {
    Connect();
    void* const detector = Create();
    const Resources baseline = Resources::Now();
    int id = 1001;
    tagOrviAiSrvPhotoResult result = {};
    for (const char* reply : {"empty face.photos", "nodata face.photos", "reply face.photos 0x10000000 zeros:1000",
                              "reply face.photos 2 1001 3 hex:010203 1002 4 hex:010203"}) {
        simulator_.Command(reply);
        EXPECT_EQ(OrviAiSrvFaceDetectorGetById(detector, &id, 1, &result), -1) << reply;
        EXPECT_EQ(result.photoList, nullptr) << reply;
    }
    simulator_.Command("reply face.photos 2 1001 3 hex:010203 1002 2 hex:0405");
    ASSERT_EQ(OrviAiSrvFaceDetectorGetById(detector, &id, 1, &result), 0);
    ASSERT_EQ(result.photoNums, 2);
    EXPECT_EQ(result.photoList[1].faceId, 1002U);
    EXPECT_EQ(std::memcmp(result.photoList[1].imgData, "\4\5", 2), 0);
    OrviAiService::FreePhotoResult(&result, result.photoNums);

    simulator_.Command("reply face.start zeros:53");
    EXPECT_EQ(OrviAiSrvStartFaceDetector(detector), -1);
    simulator_.Command("empty face.start");
    EXPECT_EQ(OrviAiSrvStartFaceDetector(detector), 0);
    EXPECT_EQ(OrviAiSrvDestroyFaceDetector(detector), 0);
    ExpectBackAt(baseline);
}

TEST_F(FaceTest, TheExampleInAnEventLoopSeesFaces) {
    if (access(ORVI_TEST_BIN_DIR "/sd_event_faces", X_OK) != 0) {
        GTEST_SKIP() << "built where systemd's library is";
    }
    simulator_.Start();
    const std::string errors = sandbox_.Path("sd_event_faces.log");
    ChildProcess example("sd_event_faces", {"2"}, errors);
    EXPECT_TRUE(example.ReadUntil("sd_event_faces: "));
    EXPECT_EQ(example.Wait(), 0) << ReadFile(errors);
    ChildProcess ended("sd_event_faces", {"100000"}, errors);
    EXPECT_TRUE(ended.ReadUntil("sd_event_faces: "));
    simulator_.Kill();
    EXPECT_TRUE(ended.ReadUntil("the service is gone"));
    EXPECT_EQ(ended.Wait(), 1) << ReadFile(errors);
}

}  // namespace
}  // namespace orvi_test
