// What the device's capability record, which the common AI library keeps, says about this library's features.
#ifndef ORVI_PROXY_DEVICE_CAPABILITY_H
#define ORVI_PROXY_DEVICE_CAPABILITY_H

#include <cstdint>

namespace OrviAiService {

struct DeviceCapability {
    int32_t minutesSignature;
    int32_t sign;
    int32_t caption;
    int32_t nameplate;
    int32_t faceDetector;
    int32_t director;
    int32_t fastDirector;
    int32_t autoFrame;
    int32_t speakTrack;
    int32_t splitScreen;
    int32_t largeModelB;
    int32_t largeModelA;
};

// Reads these values and no other byte of the record. False when there is no record.
bool ReadDeviceCapability(DeviceCapability& device);

}  // namespace OrviAiService

#endif
