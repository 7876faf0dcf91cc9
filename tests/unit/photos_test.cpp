#include <climits>
#include <cstring>
#include <memory>

#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy_photos.h"

using OrviAiService::AiSrvServiceProxy;
using OrviAiService::FreePhotoResult;
using OrviAiService::PhotoResultExtract;
using OrviAiService::PhotoResultExtractBounded;

namespace {

struct Photo {
    uint32_t faceId;
    Bytes image;
};

Bytes Number(size_t value) {
    return BytesOf(static_cast<uint32_t>(value));
}

Bytes Reply(const std::vector<Photo>& photos) {
    Bytes reply = Number(photos.size());
    for (const Photo& photo : photos) {
        reply = reply + Number(photo.faceId) + Number(photo.image.size()) + photo.image;
    }
    return reply;
}

// The second photo's head is not aligned, and one image is empty.
const std::vector<Photo> PHOTOS = {{7, {1, 2, 3}}, {0xFFFFFFFE, {}}, {9, {4, 5, 6, 7, 8}}};

// An exact allocation, so that no read past the bytes goes unseen.
std::unique_ptr<uint8_t[]> Exact(const Bytes& bytes) {
    std::unique_ptr<uint8_t[]> copy(new uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return copy;
}

void ExpectPhotos(const tagOrviAiSrvPhotoResult& result) {
    ASSERT_EQ(result.photoNums, static_cast<int32_t>(PHOTOS.size()));
    for (size_t i = 0; i < PHOTOS.size(); ++i) {
        const tagOrviAiSrvPhotoInfo& photo = result.photoList[i];
        EXPECT_EQ(photo.faceId, PHOTOS[i].faceId);
        EXPECT_EQ(photo.reserved, 0U);
        ASSERT_EQ(photo.imgLen, PHOTOS[i].image.size());
        ASSERT_NE(photo.imgData, nullptr);
        EXPECT_EQ(Bytes(photo.imgData, photo.imgData + photo.imgLen), PHOTOS[i].image);
    }
}

// What a trace line says; its prefix names the function.
std::string Trace(const Lines& lines, size_t index, const std::string& function) {
    if (index >= lines.size() || lines[index].find("trace prefix [" + function + ":") != 0) {
        return "no trace of " + function;
    }
    return lines[index].substr(lines[index].find("]:") + 2);
}

constexpr char PARSE[] = "error <AiSrvServiceProxy::GetFaceDetectorById> failed: ";

class Photos : public PlatformTest {
 protected:
    // Parses an exact copy; the record starts as rubbish, which must not be read.
    int Parse(const Bytes& reply) {
        result.photoNums = -77;
        result.photoList = reinterpret_cast<tagOrviAiSrvPhotoInfo*>(&result);
        return PhotoResultExtractBounded(Exact(reply).get(), static_cast<uint32_t>(reply.size()), &result);
    }
    bool Untouched() const {
        return result.photoNums == -77 && result.photoList == reinterpret_cast<const tagOrviAiSrvPhotoInfo*>(&result);
    }

    tagAiDetClientInfo detector = {{"AI_VISION", "face", 1}, 2, 3, 0, 4};
    tagOrviAiSrvPhotoResult result = {};
};

TEST_F(Photos, QuerySendsTheIdsAndHandsThePhotosOver) {
    platform.traceLevel = 3;
    int ids[] = {7, 9, 11, -1, INT_MAX};
    for (int count = 1; count <= 5; ++count) {
        platform.QueueReply(Reply(PHOTOS));
        ASSERT_EQ(OrviAiSrvFaceDetectorGetById(&detector, ids, count, &result), 0);
        const Lines lines = platform.Take();
        EXPECT_EQ(Trace(lines, 0, "OrviAiSrvFaceDetectorGetById"),
                  "<OrviAiSrvFaceDetectorGetById> start face query request begin.");
        EXPECT_EQ(Lines(lines.begin() + 1, lines.end()),
                  (Lines{"syn 0x600006 ai_v_task_i len=76 wait=0", "free reply"}));
        tagAiFaceQuery query = {detector, {}, count};
        std::copy(ids, ids + count, query.faceId);
        EXPECT_EQ(platform.LastPayload(), BytesOf(query));
        ExpectPhotos(result);
        FreePhotoResult(&result, result.photoNums);
        EXPECT_EQ(result.photoList, nullptr);
        EXPECT_EQ(result.photoNums, 3);
        FreePhotoResult(&result, result.photoNums);
    }
}

TEST_F(Photos, QueryRefusesArgumentsInOrder) {
    int ids[] = {1, 2, 3, 4, 5, 6};
    const char* const invalid = "error <OrviAiSrvFaceDetectorGetById> failed: query param invalid";
    EXPECT_EQ(OrviAiSrvFaceDetectorGetById(nullptr, nullptr, 0, nullptr), -1);
    EXPECT_EQ(platform.Take(), Lines{"error <OrviAiSrvFaceDetectorGetById> failed: handle is null."});
    for (const int count : {INT_MIN, -1, 0, 6, INT_MAX}) {
        EXPECT_EQ(OrviAiSrvFaceDetectorGetById(&detector, ids, count, &result), -1);
        EXPECT_EQ(platform.Take(), Lines{invalid});
    }
    EXPECT_EQ(OrviAiSrvFaceDetectorGetById(&detector, nullptr, 1, &result), -1);
    EXPECT_EQ(OrviAiSrvFaceDetectorGetById(&detector, ids, 1, nullptr), -1);
    EXPECT_EQ(platform.Take(), (Lines{invalid, invalid}));
}

TEST_F(Photos, TheMethodTakesNoIdsThatDoNotFit) {
    int ids[] = {1, 2, 3, 4, 5, 6};
    // Four times 2^30, and of -2^30, is 0 in 32 bits.
    for (const int count : {6, 1 << 30, (1 << 30) + 1, -(1 << 30), -1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(proxy.GetFaceDetectorById(detector, ids, count, &result), -1);
        EXPECT_EQ(platform.Take(), Lines{std::string(PARSE) + "faceId call memcpy_s failed."}) << count;
    }
}

TEST_F(Photos, QueryFailuresLeaveTheResultAlone) {
    platform.traceLevel = 1;
    int id = 1;
    const std::string syn = "syn 0x600006 ai_v_task_i len=76 wait=0";
    const auto query = [&] {
        result = {-5, nullptr};
        EXPECT_EQ(OrviAiSrvFaceDetectorGetById(&detector, &id, 1, &result), -1);
        EXPECT_EQ(result.photoNums, -5);
        Lines lines = platform.Take();
        EXPECT_EQ(Trace(lines, lines.size() - 1, "OrviAiSrvFaceDetectorGetById"),
                  "<OrviAiSrvFaceDetectorGetById> call FaceDetectorGetById failed.");
        lines.pop_back();
        return lines;
    };
    platform.QueueSendFailure(1);
    EXPECT_EQ(query(), (Lines{syn, "error <AiSrvServiceProxy::GetFaceDetectorById> send get face image msg failed."}));
    for (int nth = 2; nth <= 3; ++nth) {
        platform.FailCopy(nth);
        EXPECT_EQ(query(), (Lines{"error <SetDefaultIntefMsgBlockToMaster> failed: call memcpy_s failed.",
                                  std::string(PARSE) + "call SetDefaultMsgBlockToMaster failed."}));
    }
    platform.QueueNoReply();
    Lines lines = query();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(Trace(lines, 1, "GetFaceDetectorById"),
              "<AiSrvServiceProxy::GetFaceDetectorById> failed: can not get msg response 600006.");

    const auto expectUnparsed = [&](const std::string& reason) {
        lines = query();
        ASSERT_EQ(lines.size(), 4U);
        EXPECT_EQ(Trace(lines, 1, "PhotoResultExtract"), "<AiSrvServiceProxy::GetFaceDetectorById> failed: " + reason);
        EXPECT_EQ(Trace(lines, 2, "GetFaceDetectorById"),
                  "<AiSrvServiceProxy::GetFaceDetectorById> failed: call PhotoResultExtract failed.");
        EXPECT_EQ(lines[3], "free reply");
    };
    platform.QueueReplyWithoutData(8);
    expectUnparsed("imgBuff is nullptr.");
    platform.QueueReply({0, 0, 0, 0});
    expectUnparsed("photoNums < 0.");
}

TEST_F(Photos, ATraceThatIsOffOrDoesNotFitChangesNoResult) {
    platform.tracePrefix = std::string(399, 'p');  // the whole line
    int id = 1;
    for (const uint8_t level : {uint8_t{0}, uint8_t{1}, uint8_t{3}}) {
        platform.traceLevel = level;
        platform.QueueNoReply();
        platform.QueueReplyWithoutData(8);
        platform.QueueReply(Number(UINT32_MAX));
        for (int failure = 0; failure < 3; ++failure) {
            EXPECT_EQ(OrviAiSrvFaceDetectorGetById(&detector, &id, 1, &result), -1);
        }
        platform.QueueReply(Reply(PHOTOS));
        ASSERT_EQ(OrviAiSrvFaceDetectorGetById(&detector, &id, 1, &result), 0);
        ExpectPhotos(result);
        FreePhotoResult(&result, result.photoNums);
        for (const std::string& line : platform.Take()) {
            EXPECT_EQ(line.find("ppp"), std::string::npos) << line;
        }
    }
}

TEST_F(Photos, AReplyCutAnywhereFailsWhole) {
    const Bytes whole = Reply(PHOTOS);
    for (size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_EQ(Parse(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length))), -1);
        EXPECT_EQ(platform.Take().size(), 1U);
        if (length < 4) {
            EXPECT_TRUE(Untouched());
        } else {
            EXPECT_EQ(result.photoNums, 3);
            EXPECT_EQ(result.photoList, nullptr);
        }
    }
    for (const size_t more : {0U, 1U, 100U}) {
        Bytes reply = whole;
        reply.resize(whole.size() + more, 0xEE);
        ASSERT_EQ(Parse(reply), 0);
        ExpectPhotos(result);
        FreePhotoResult(&result, result.photoNums);
    }
}

TEST_F(Photos, CountsThatTheReplyCannotHoldFailBeforeTheList) {
    Bytes reply = Reply(PHOTOS);
    reply.resize(4 + 3 * 8 + 7);  // three heads and seven bytes of a fourth
    for (const int32_t count : {4, 1 << 27, 1 << 28, INT32_MAX}) {
        memcpy(reply.data(), &count, sizeof(count));
        EXPECT_EQ(Parse(reply), -1);
        EXPECT_EQ(platform.Take(), Lines{PARSE + ("the reply cannot hold " + std::to_string(count) + " photos.")});
        EXPECT_EQ(result.photoNums, count);
        EXPECT_EQ(result.photoList, nullptr);
    }
    for (const int32_t count : {0, -1, INT32_MIN}) {
        memcpy(reply.data(), &count, sizeof(count));
        EXPECT_EQ(Parse(reply), -1);
        EXPECT_EQ(platform.Take(), Lines{}) << "traced only";
        EXPECT_TRUE(Untouched());
    }
}

TEST_F(Photos, LengthsThatLieReleaseWhatWasParsed) {
    const size_t lengthsAt[] = {8, 19, 27};  // of the three heads
    for (const size_t at : lengthsAt) {
        Bytes reply = Reply(PHOTOS);
        const auto left = static_cast<uint32_t>(reply.size() - at - 4);
        for (const uint32_t lie : {left + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFFFU}) {
            memcpy(&reply[at], &lie, sizeof(lie));
            EXPECT_EQ(Parse(reply), -1);
            EXPECT_EQ(result.photoNums, 3);
            EXPECT_EQ(result.photoList, nullptr);
            EXPECT_EQ(platform.Take(),
                      Lines{PARSE + ("the reply ends inside a photo, imgLen=" + std::to_string(lie) + ".")});
        }
    }
}

TEST_F(Photos, TheParserWithoutALengthReadsWhatTheReplyAnnounces) {
    const auto whole = Exact(Reply(PHOTOS));
    ASSERT_EQ(PhotoResultExtract(whole.get(), &result), 0);
    ExpectPhotos(result);
    FreePhotoResult(&result, result.photoNums);

    EXPECT_EQ(PhotoResultExtract(nullptr, &result), -1);
    EXPECT_EQ(PhotoResultExtract(whole.get(), nullptr), -1);
    // The second of the images' copies fails: the one before it and the list are released.
    platform.FailCopy(2);
    (void)platform.Take();
    EXPECT_EQ(PhotoResultExtract(whole.get(), &result), -1);
    EXPECT_EQ(platform.Take(), Lines{std::string(PARSE) + "imgData call memcpy_s failed."});
    EXPECT_EQ(result.photoList, nullptr);
}

TEST_F(Photos, ReleaseFollowsItsCount) {
    FreePhotoResult(nullptr, 5);
    FreePhotoResult(&result, 5);
    ASSERT_EQ(Parse(Reply(PHOTOS)), 0);
    uint8_t* const images[] = {result.photoList[0].imgData, result.photoList[1].imgData, result.photoList[2].imgData};
    FreePhotoResult(&result, 0);
    EXPECT_EQ(result.photoList, nullptr);
    for (uint8_t* const image : images) {
        ::operator delete[](image);  // a count of 0 has left them
    }
}

}  // namespace
