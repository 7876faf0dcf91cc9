// The device's capability record as the common AI library keeps it. Only the named values are the library's business.
#ifndef ORVI_PROXY_CAPABILITY_RECORD_H
#define ORVI_PROXY_CAPABILITY_RECORD_H

#include <cstdint>

#include "wire_records.h"

namespace OrviAiService {

struct CapabilityRecord {
    uint8_t opaque0[184];
    int32_t minutesSignature;
    int32_t sign;
    int32_t caption;
    int32_t nameplate;
    int32_t faceDetector;
    int32_t director;
    int32_t fastDirector;
    uint8_t opaque212[8];
    int32_t autoFrame;
    int32_t speakTrack;
    int32_t splitScreen;
    uint8_t opaque232[116];
    int32_t largeModelB;
    int32_t largeModelA;
};
WIRE_SIZE(CapabilityRecord, 356);
WIRE_AT(CapabilityRecord, minutesSignature, 184);
WIRE_AT(CapabilityRecord, fastDirector, 208);
WIRE_AT(CapabilityRecord, autoFrame, 220);
WIRE_AT(CapabilityRecord, splitScreen, 228);
WIRE_AT(CapabilityRecord, largeModelB, 348);
WIRE_AT(CapabilityRecord, largeModelA, 352);

}  // namespace OrviAiService

#endif
