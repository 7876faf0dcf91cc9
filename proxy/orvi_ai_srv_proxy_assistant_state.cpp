// Running state of the voice assistant and the page that it is on.
#include <cstring>

#include "client_log.h"
#include "message_ids.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_assistant_channels.h"
#include "orvi_securec.h"
#include "reply_block.h"

namespace OrviAiService {
namespace {

// Asks the assistant for a record and copies the answer, `size` bytes at most, to its start; a longer answer leaves
// it zeroed. `method` is the name in the log.
int FetchRecord(uint32_t msgId, void* record, size_t size, const char* method) {
    TagMsgBlock* block = nullptr;
    if (SendSyncMsgToVisionAssistant(msgId, &block) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> call SendSynMsgToVision failed.", method);
        return -1;
    }
    const ReplyPtr reply(block);
    if (reply->dataLen != 0 && memcpy_s(record, size, reply->data, reply->dataLen) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> failed: call memcpy_s failed.", method);
        return -1;
    }
    return 0;
}

}  // namespace

int AiSrvServiceProxy::AssistantWakeUp(OrviAiAssistantRunningMode mode) {
    const auto payload = static_cast<int32_t>(mode);
    if (SendMsgToVisionAssistant(AI_MSG_ASSISTANT_WAKE_UP, &payload, sizeof(payload)) != 0) {
        ORVI_LOG_ERROR("<AssistantWakeUp> call SendSynMsgToVision failed.");
        return -1;
    }
    return 0;
}

int AiSrvServiceProxy::AssistantSleep() {
    if (SendMsgToVisionAssistant(AI_MSG_ASSISTANT_SLEEP, nullptr, 0) != 0) {
        ORVI_LOG_ERROR("<AssistantSleep> call SendSynMsgToVision failed.");
        return -1;
    }
    return 0;
}

int AiSrvServiceProxy::AssistantGetStatus(OrviAiAssistantStatus& status) {
    status = OrviAiAssistantStatus{};
    return FetchRecord(AI_MSG_ASSISTANT_GET_STATUS, &status, sizeof(status), "AssistantGetStatus");
}

int AiSrvServiceProxy::AssistantGetPageInfo(OrviAiAssistantPageInfo& pageInfo) {
    ORVI_LOG_STORM("<AiSrvServiceProxy::AssistantGetPageInfo> enter");
    std::memset(&pageInfo, 0, sizeof(uint32_t));  // only its first word: an answer may leave the rest as it is
    return FetchRecord(AI_MSG_ASSISTANT_GET_PAGE_INFO, &pageInfo, sizeof(pageInfo), "AssistantGetPageInfo");
}

int AiSrvServiceProxy::AssistantSetPageInfo(OrviAiAssistantPageInfo& pageInfo) {
    ORVI_LOG_STORM("<AiSrvServiceProxy::AssistantSetPageInfo> enter");
    if (SendMsgToVisionAssistant(AI_MSG_ASSISTANT_SET_PAGE_INFO, &pageInfo, sizeof(pageInfo)) != 0) {
        ORVI_LOG_ERROR("<AssistantSetPageInfo> call SendSynMsgToVision failed.");
        return -1;
    }
    return 0;
}

}  // namespace OrviAiService
