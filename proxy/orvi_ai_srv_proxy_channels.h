// What the senders to the service's tasks share.
#ifndef ORVI_AI_SRV_PROXY_CHANNELS_H
#define ORVI_AI_SRV_PROXY_CHANNELS_H

#include "orvi_ai_srv_proxy_request.h"

namespace OrviAiService {

// The line of a sender to the interface task whose block could not be addressed.
void LogInterfaceBlockFailed();

// Sends a request of the face task whose reply is a verdict: 0, the service's non-zero byte, or -1 when the send fails.
int SendSynMsgToFaceReturnInt(const Request& request, const void* payload);

}  // namespace OrviAiService

#endif
