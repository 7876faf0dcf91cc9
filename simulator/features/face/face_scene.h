// What the simulated camera sees: people who sit and move a little, and one who walks through the room.
#ifndef ORVI_SIM_FEATURES_FACE_SCENE_H
#define ORVI_SIM_FEATURES_FACE_SCENE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "orvi_vision_sim_payloads.h"

namespace orvi_sim {

// The faces in view at a moment, counted from the start of the scene. With `keepIds` a face that comes back has its
// former id. The same moment always shows the same.
std::vector<OrviSimFace> FacesAt(std::chrono::milliseconds moment, bool keepIds);

// Pictures keep to a grid from the start of the camera on, so that their rate does not drift: when the picture `number`
// is due, and which one comes next after `elapsed`; those whose time has passed are left out. `rate` in pictures per
// second, 1 to 1000.
std::chrono::milliseconds PictureDue(uint64_t number, uint32_t rate);
uint64_t NextPicture(uint64_t number, std::chrono::milliseconds elapsed, uint32_t rate);

// Number of the person who has, or at that moment has had, the face id; nothing for an id that nobody had yet.
std::optional<uint32_t> PersonOf(uint32_t faceId, std::chrono::milliseconds moment);

// The person's face id where ids are kept, and the name.
uint32_t FaceIdOf(uint32_t person);
const char* NameOf(uint32_t person);
uint32_t PersonCount();

}  // namespace orvi_sim

#endif
