#include "features/face/face_scene.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace orvi_sim {
namespace {

// A person sits at a place and sways about it, or walks from left to right, again and again.
struct Person {
    const char* name;
    int centerX;
    int centerY;
    int size;      // height of the face
    int swayX;     // pixels to each side
    int swayMs;    // one sway to and fro
    int inViewMs;  // of each round; 0 = always
    int roundMs;
};

constexpr Person PEOPLE[] = {
    // name, center, size, sway, in view, round
    {"Ada", 420, 560, 190, 40, 4100, 0, 0},
    {"Boris", 860, 520, 170, 60, 5300, 0, 0},
    {"Chen", 1310, 590, 210, 30, 3700, 0, 0},
    {"Dalia", 0, 380, 130, 0, 2900, 2000, 3000},
};
constexpr uint32_t PEOPLE_COUNT = std::size(PEOPLE);
static_assert(PEOPLE_COUNT <= ORVI_SIM_MAX_FACES);

// Ids: the person's number from 1001 on, and 100 more for each visit before the present one.
constexpr uint32_t FIRST_ID = 1001;
constexpr uint32_t VISIT_STEP = 100;

int Sway(int64_t ms, int period, int reach) {
    constexpr double TURN = 6.283185307179586;
    return static_cast<int>(std::lround(reach * std::sin(TURN * static_cast<double>(ms % period) / period)));
}

// Visits that have begun before `ms`, the present one included. The first begins with the scene.
uint32_t VisitsUpTo(const Person& person, int64_t ms) {
    return person.roundMs == 0 ? 1 : static_cast<uint32_t>(ms / person.roundMs) + 1;
}

}  // namespace

std::vector<OrviSimFace> FacesAt(std::chrono::milliseconds moment, bool keepIds) {
    const int64_t ms = moment.count();
    std::vector<OrviSimFace> faces;
    for (uint32_t i = 0; i < PEOPLE_COUNT; ++i) {
        const Person& person = PEOPLE[i];
        const bool walks = person.roundMs != 0;
        const int64_t inView = walks ? ms % person.roundMs : ms;
        if (walks && inView >= person.inViewMs) {
            continue;
        }
        OrviSimFace face = {};
        face.faceId = FaceIdOf(i) + (keepIds ? 0 : (VisitsUpTo(person, ms) - 1) * VISIT_STEP);
        face.height = person.size + Sway(ms, person.swayMs * 2, 8);
        face.width = face.height * 3 / 4;
        const int turn = Sway(ms, person.swayMs, 100);
        if (walks) {
            const int64_t way = ORVI_SIM_PICTURE_WIDTH - 1 - face.width;
            face.left = static_cast<int32_t>(way * inView / person.inViewMs);
        } else {
            face.left = person.centerX + person.swayX * turn / 100 - face.width / 2;
        }
        face.top = person.centerY + Sway(ms, person.swayMs / 2, 6) - face.height / 2;
        face.score = static_cast<uint32_t>(92 + turn / 15);
        face.yaw = walks ? -60 : turn / 5;
        face.pitch = Sway(ms, person.swayMs * 3, 8);
        face.roll = Sway(ms, person.swayMs, 4);
        face.inViewMs = static_cast<uint32_t>(inView);
        faces.push_back(face);
    }
    return faces;
}

std::chrono::milliseconds PictureDue(uint64_t number, uint32_t rate) {
    return std::chrono::milliseconds((number * 1000 + rate - 1) / rate);
}

uint64_t NextPicture(uint64_t number, std::chrono::milliseconds elapsed, uint32_t rate) {
    return std::max(number, static_cast<uint64_t>(elapsed.count()) * rate / 1000) + 1;
}

std::optional<uint32_t> PersonOf(uint32_t faceId, std::chrono::milliseconds moment) {
    if (faceId < FIRST_ID) {
        return std::nullopt;
    }
    const uint32_t person = (faceId - FIRST_ID) % VISIT_STEP;
    const uint32_t visit = (faceId - FIRST_ID) / VISIT_STEP;
    if (person >= PEOPLE_COUNT || visit >= VisitsUpTo(PEOPLE[person], moment.count())) {
        return std::nullopt;
    }
    return person;
}

uint32_t FaceIdOf(uint32_t person) {
    return FIRST_ID + person;
}

const char* NameOf(uint32_t person) {
    return PEOPLE[person].name;
}

uint32_t PersonCount() {
    return PEOPLE_COUNT;
}

}  // namespace orvi_sim
