// The large model: records handed to the service as they are, and what the device offers.
#include "client_log.h"
#include "orvi_ai_srv_proxy.h"
#include "request_rows.h"
#include "wire_records.h"

namespace OrviAiService {
int AiSrvServiceProxy::LargeModelInit(OrviAiLLMInitParams params) {
    ORVI_LOG_INFO("<AiSrvServiceProxy::LargeModelInit> enter serverType[%d]", params.serverType);
    return Transact(Requests::LLM_INIT, &params,
                    [] { ORVI_LOG_ERROR("<LargeModelInit> call SendSynMsgToVision failed."); });
}

int AiSrvServiceProxy::LargeModelRequest(OrviAiModelParams params) {
    ORVI_LOG_INFO("<AiSrvServiceProxy::LargeModelRequest> enter");
    OrviAiLLMReply unread;  // the reply has to fit its record; its contents do not matter
    return Transact(
        Requests::LLM_REQUEST, &params, [] { ORVI_LOG_ERROR("<LargeModelRequest> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::LargeModelRequest> failed: call memcpy_s failed."); }, &unread);
}

int AiSrvServiceProxy::LargeModelDeInit(OrviAiLLMInitParams params) {
    ORVI_LOG_INFO("<AiSrvServiceProxy::LargeModelDeInit> enter");
    OrviAiLLMReply unread;  // the reply has to fit its record; its contents do not matter
    return Transact(
        Requests::LLM_DEINIT, &params, [] { ORVI_LOG_ERROR("<LargeModelDeInit> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::LargeModelDeInit> failed: call memcpy_s failed."); }, &unread);
}

int AiSrvServiceProxy::GetLargeModelAbility(tagOrviAiAbility* ability) {
    if (ability == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetLargeModelAbility> ability is nullptr.");
        return -1;
    }
    OrviAiLLMReply reply = {};  // one that is shorter leaves the rest zero
    const Exchange exchange = Send(Requests::LLM_ABILITY, nullptr, &reply);
    const ReplyPtr released(exchange.reply);
    if (exchange.outcome == Outcome::NOT_SENT) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetLargeModelAbility> SendSynMsgToVision msg:0x%x failed. ret:%d",
                       AI_MSG_LLM_ABILITY, -1);
        return -1;
    }
    if (exchange.outcome != Outcome::DONE) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetLargeModelAbility> failed: call memcpy_s failed.");
        return -1;
    }
    ability->isTzCloudLLM = reply.cloudLargeModel;
    ability->isVoiceAssistSupported = reply.voiceAssistant;
    return 0;
}

}  // namespace OrviAiService
