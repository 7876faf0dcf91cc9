// Running state of the voice assistant and the page that it is on.
#include <cstring>

#include "client_log.h"
#include "orvi_ai_srv_proxy.h"
#include "request_rows.h"

namespace OrviAiService {
int AiSrvServiceProxy::AssistantWakeUp(OrviAiAssistantRunningMode mode) {
    const auto payload = static_cast<int32_t>(mode);
    return Transact(Requests::WAKE_UP, &payload,
                    [] { ORVI_LOG_ERROR("<AssistantWakeUp> call SendSynMsgToVision failed."); });
}

int AiSrvServiceProxy::AssistantSleep() {
    return Transact(Requests::SLEEP, nullptr,
                    [] { ORVI_LOG_ERROR("<AssistantSleep> call SendSynMsgToVision failed."); });
}

int AiSrvServiceProxy::AssistantGetStatus(OrviAiAssistantStatus& status) {
    status = OrviAiAssistantStatus{};
    return Transact(
        Requests::GET_STATUS, nullptr,
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantGetStatus> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantGetStatus> failed: call memcpy_s failed."); }, &status);
}

int AiSrvServiceProxy::AssistantGetPageInfo(OrviAiAssistantPageInfo& pageInfo) {
    ORVI_LOG_STORM("<AiSrvServiceProxy::AssistantGetPageInfo> enter");
    std::memset(&pageInfo, 0, sizeof(uint32_t));  // only its first word: a reply may leave the rest as it is
    return Transact(
        Requests::GET_PAGE_INFO, nullptr,
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantGetPageInfo> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantGetPageInfo> failed: call memcpy_s failed."); }, &pageInfo);
}

int AiSrvServiceProxy::AssistantSetPageInfo(OrviAiAssistantPageInfo& pageInfo) {
    ORVI_LOG_STORM("<AiSrvServiceProxy::AssistantSetPageInfo> enter");
    return Transact(Requests::SET_PAGE_INFO, &pageInfo,
                    [] { ORVI_LOG_ERROR("<AssistantSetPageInfo> call SendSynMsgToVision failed."); });
}

}  // namespace OrviAiService
