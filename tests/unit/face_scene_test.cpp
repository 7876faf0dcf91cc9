// The simulated camera's faces, over as long as a visitor needs to come three times.
#include "features/face/face_scene.h"

#include <gtest/gtest.h>
#include <map>
#include <set>

namespace orvi_sim {
namespace {

using std::chrono::milliseconds;

// Ids of the visitor in the order of the visits, as many times as there were pictures.
std::vector<uint32_t> IdsOfTheVisitor(bool keepIds) {
    std::vector<uint32_t> ids;
    bool inView = false;
    for (int ms = 0; ms < 9000; ms += 33) {
        const std::vector<OrviSimFace> faces = FacesAt(milliseconds(ms), keepIds);
        const bool was = inView;
        inView = faces.size() == PersonCount();
        if (inView && !was) {
            ids.push_back(faces.back().faceId);
        }
        EXPECT_TRUE(!inView || faces.back().faceId == ids.back()) << "the id changed in view";
    }
    return ids;
}

TEST(FaceScene, FacesStayInThePictureAndMoveInSmallSteps) {
    std::map<uint32_t, OrviSimFace> last;
    std::map<uint32_t, std::set<int>> places;
    for (int ms = 0; ms < 9000; ms += 33) {
        std::map<uint32_t, OrviSimFace> now;
        for (const OrviSimFace& face : FacesAt(milliseconds(ms), false)) {
            EXPECT_TRUE(now.emplace(face.faceId, face).second) << "two faces share an id";
            EXPECT_GE(face.left, 0);
            EXPECT_GE(face.top, 0);
            EXPECT_GT(face.width, 0);
            EXPECT_GT(face.height, 0);
            EXPECT_LE(face.left + face.width, ORVI_SIM_PICTURE_WIDTH);
            EXPECT_LE(face.top + face.height, ORVI_SIM_PICTURE_HEIGHT);
            EXPECT_LE(face.score, 100U);
            if (const auto before = last.find(face.faceId); before != last.end()) {
                EXPECT_LT(std::abs(face.left - before->second.left), 60);
                EXPECT_LT(std::abs(face.top - before->second.top), 20);
            }
            places[face.faceId].insert(face.left);
        }
        EXPECT_GE(now.size(), PersonCount() - 1);
        last = now;
    }
    for (const auto& [faceId, lefts] : places) {
        EXPECT_GT(lefts.size(), 20U) << faceId << " does not move";
    }
}

TEST(FaceScene, WhoComesBackHasTheFormerIdOnlyWhereIdsAreKept) {
    const std::vector<uint32_t> kept = IdsOfTheVisitor(true);
    const std::vector<uint32_t> fresh = IdsOfTheVisitor(false);
    ASSERT_EQ(kept.size(), 3U);
    ASSERT_EQ(fresh.size(), 3U);
    EXPECT_EQ(std::set<uint32_t>(kept.begin(), kept.end()).size(), 1U);
    EXPECT_EQ(std::set<uint32_t>(fresh.begin(), fresh.end()).size(), 3U);

    // Each of these ids leads to the person, but not before the visit that gave it out.
    for (const uint32_t faceId : fresh) {
        EXPECT_EQ(PersonOf(faceId, milliseconds(9000)), PersonOf(kept[0], milliseconds(0)));
    }
    EXPECT_FALSE(PersonOf(fresh[2], milliseconds(0)));
    for (const uint32_t faceId : {0U, kept[0] - PersonCount(), FaceIdOf(PersonCount()), 0xFFFFFFFFU}) {
        EXPECT_FALSE(PersonOf(faceId, milliseconds(9000))) << faceId;
    }
}

// A camera on a busy machine: now and then a picture is sent late, once by more than a second.
TEST(FaceScene, PicturesKeepToTheirRateWithoutDrift) {
    for (const uint32_t rate : {1U, 7U, 25U, 30U}) {
        milliseconds now{0};
        uint64_t picture = 1;
        uint64_t sent = 0;
        while (now < milliseconds(60000)) {
            const milliseconds late(sent % 5 == 0 ? 20 : sent == 13 ? 1100 : 0);
            ASSERT_GE(PictureDue(picture, rate) * rate, milliseconds(picture * 1000)) << "too early";
            ASSERT_LT(PictureDue(picture, rate) * rate, milliseconds(picture * 1000 + rate)) << "drifts";
            now = std::max(now, PictureDue(picture, rate)) + late;
            ++sent;
            const uint64_t next = NextPicture(picture, now, rate);
            ASSERT_GT(next, picture);
            ASSERT_GT(PictureDue(next, rate), now - milliseconds(1)) << "its time has passed";
            picture = next;
        }
        EXPECT_LE(sent, 60 * rate + 1);
        EXPECT_GE(sent, 58 * rate - 1);
    }
}

}  // namespace
}  // namespace orvi_sim
