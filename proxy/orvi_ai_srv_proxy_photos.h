// Photo replies of the service.
#ifndef ORVI_AI_SRV_PROXY_PHOTOS_H
#define ORVI_AI_SRV_PROXY_PHOTOS_H

#include <cstdint>

#include "orvi_ai_srv.h"

namespace OrviAiService {

// PhotoResultExtract for a reply whose length is known: reads nothing past it, and allocates no list for more photos
// than it can hold.
int PhotoResultExtractBounded(const uint8_t* imgBuff, uint32_t length, tagOrviAiSrvPhotoResult* result);

}  // namespace OrviAiService

#endif
