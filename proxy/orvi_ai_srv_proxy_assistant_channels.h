// The four ways in which a request leaves for the voice assistant. The payload is the caller's again at return.
#ifndef ORVI_AI_SRV_PROXY_ASSISTANT_CHANNELS_H
#define ORVI_AI_SRV_PROXY_ASSISTANT_CHANNELS_H

#include <cstdint>

#include "orvi_os_msg.h"

namespace OrviAiService {

// One-way, to the assistant's state machine, to its hot-word task and to the assistant itself; 0 or -1.
int SendMsgToVisionAssistantFsm(uint32_t msgId, const void* data, uint32_t dataLen);
int SendMsgToVisionAssistantHotword(uint32_t msgId, const void* data, uint32_t dataLen);
int SendMsgToVisionAssistant(uint32_t msgId, const void* data, uint32_t dataLen);

// Asks the assistant without a payload. On 0 `*ppstRespBlock`, null before, is a block with data that the caller
// releases; on -1 there is nothing to release. The data is the record asked for, without a verdict before it.
int SendSyncMsgToVisionAssistant(uint32_t msgId, TagMsgBlock** ppstRespBlock);

}  // namespace OrviAiService

#endif
