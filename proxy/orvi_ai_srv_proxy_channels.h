// What the senders to the service's tasks share.
#ifndef ORVI_AI_SRV_PROXY_CHANNELS_H
#define ORVI_AI_SRV_PROXY_CHANNELS_H

#include "orvi_ai_srv_proxy_request.h"

namespace OrviAiService {

// The line of a sender to the interface task whose block could not be addressed.
void LogInterfaceBlockFailed();

}  // namespace OrviAiService

#endif
