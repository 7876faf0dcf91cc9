#include "device_capability.h"

#include <cstddef>
#include <cstring>

#include "orvi_ai_common.h"

namespace OrviAiService {
namespace {

// Where the record has them, in bytes from its start.
constexpr struct {
    size_t offset;
    int32_t DeviceCapability::*value;
} FIELDS[] = {
    {184, &DeviceCapability::minutesSignature}, {188, &DeviceCapability::sign},
    {192, &DeviceCapability::caption},          {196, &DeviceCapability::nameplate},
    {200, &DeviceCapability::faceDetector},     {204, &DeviceCapability::director},
    {208, &DeviceCapability::fastDirector},     {220, &DeviceCapability::autoFrame},
    {224, &DeviceCapability::speakTrack},       {228, &DeviceCapability::splitScreen},
    {348, &DeviceCapability::largeModelB},      {352, &DeviceCapability::largeModelA},
};

}  // namespace

bool ReadDeviceCapability(DeviceCapability& device) {
    const auto* const record = static_cast<const unsigned char*>(OrviAiGetXmlData());
    if (record == nullptr) {
        return false;
    }
    for (const auto& field : FIELDS) {
        std::memcpy(&(device.*field.value), record + field.offset, sizeof(int32_t));
    }
    return true;
}

}  // namespace OrviAiService
