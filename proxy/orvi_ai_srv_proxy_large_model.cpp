// The large model: records handed to the service as they are, and what the device offers.
#include <utility>

#include "client_log.h"
#include "message_ids.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_channels.h"
#include "orvi_securec.h"
#include "reply_block.h"
#include "wire_records.h"

namespace OrviAiService {
namespace {

// `method` is the name in the log.
bool HasReplyData(const ReplyPtr& reply, const char* method) {
    if (reply != nullptr && reply->data != nullptr) {
        return true;
    }
    ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> ppstRespBlock->data is nullptr.", method);
    return false;
}

// Copies the answer, which may be shorter than the record; the rest of the record stays zero.
int CopyReply(OrviAiLLMReply& record, const ReplyPtr& reply, const char* method) {
    (void)memset_s(&record, sizeof(record), 0, sizeof(record));
    if (reply->dataLen != 0 && memcpy_s(&record, sizeof(record), reply->data, reply->dataLen) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> failed: call memcpy_s failed.", method);
        return -1;
    }
    return 0;
}

// Sends a request and waits; null after a failure, which is logged.
ReplyPtr Request(AiSrvServiceProxy& proxy, uint32_t msgId, void* params, uint32_t size, const char* method) {
    TagMsgBlock* block = nullptr;
    if (proxy.SendSynMsgToVision(msgId, static_cast<uint8_t*>(params), size, WAIT_REPLY, &block) != 0) {
        ORVI_LOG_ERROR("<%s> call SendSynMsgToVision failed.", method);
        return nullptr;
    }
    ReplyPtr reply(block);
    return HasReplyData(reply, method) ? std::move(reply) : nullptr;
}

// The same with an answer that has to fit its record; its contents do not matter.
int RequestWithReply(AiSrvServiceProxy& proxy, uint32_t msgId, void* params, uint32_t size, const char* method) {
    const ReplyPtr reply = Request(proxy, msgId, params, size, method);
    if (reply == nullptr) {
        return -1;
    }
    OrviAiLLMReply unused;
    return CopyReply(unused, reply, method);
}

}  // namespace

int AiSrvServiceProxy::LargeModelInit(OrviAiLLMInitParams params) {
    ORVI_LOG_INFO("<AiSrvServiceProxy::LargeModelInit> enter serverType[%d]", params.serverType);
    return Request(*this, AI_MSG_LLM_INIT, &params, sizeof(params), "LargeModelInit") != nullptr ? 0 : -1;
}

int AiSrvServiceProxy::LargeModelRequest(OrviAiModelParams params) {
    ORVI_LOG_INFO("<AiSrvServiceProxy::LargeModelRequest> enter");
    return RequestWithReply(*this, AI_MSG_LLM_REQUEST, &params, sizeof(params), "LargeModelRequest");
}

int AiSrvServiceProxy::LargeModelDeInit(OrviAiLLMInitParams params) {
    ORVI_LOG_INFO("<AiSrvServiceProxy::LargeModelDeInit> enter");
    return RequestWithReply(*this, AI_MSG_LLM_DEINIT, &params, sizeof(params), "LargeModelDeInit");
}

int AiSrvServiceProxy::GetLargeModelAbility(tagOrviAiAbility* ability) {
    if (ability == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetLargeModelAbility> ability is nullptr.");
        return -1;
    }
    TagMsgBlock* block = nullptr;
    const int ret = SendSynMsgToVision(AI_MSG_LLM_ABILITY, nullptr, 0, WAIT_REPLY, &block);
    if (ret != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetLargeModelAbility> SendSynMsgToVision msg:0x%x failed. ret:%d",
                       AI_MSG_LLM_ABILITY, ret);
        return -1;
    }
    ReplyPtr reply(block);
    OrviAiLLMReply answer;
    if (!HasReplyData(reply, "GetLargeModelAbility") || CopyReply(answer, reply, "GetLargeModelAbility") != 0) {
        return -1;
    }
    reply.reset();
    ability->isTzCloudLLM = answer.cloudLargeModel;
    ability->isVoiceAssistSupported = answer.voiceAssistant;
    return 0;
}

}  // namespace OrviAiService
