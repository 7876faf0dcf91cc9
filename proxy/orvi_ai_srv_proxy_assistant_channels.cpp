#include "orvi_ai_srv_proxy_assistant_channels.h"

#include "client_log.h"
#include "orvi_ai_srv_proxy_channels.h"

namespace OrviAiService {
namespace {

constexpr ReceiverTask TASK_ASSISTANT = {"ai_assist_task", sizeof("ai_assist_task")};
constexpr ReceiverTask TASK_STATE_MACHINE = {"ai_state_mach", sizeof("ai_state_mach")};
constexpr ReceiverTask TASK_HOT_WORD = {"ai_hotword_task", sizeof("ai_hotword_task")};

}  // namespace

int SendMsgToVisionAssistantFsm(uint32_t msgId, const void* data, uint32_t dataLen) {
    TagMsgBlock block;
    if (AddressRequest(block, TASK_STATE_MACHINE, "SendMsgToVisionAssistantFsm") != 0) {
        return -1;
    }
    SetRequest(block, msgId, data, dataLen);
    const int ret = OsMsgAsynSend(&block);
    if (ret != 0) {
        ORVI_LOG_ERROR("<SendMsgToVisionAssistantFsm> failed: msg %x call OsMsgSynSend failed %d.", msgId, ret);
        return -1;
    }
    ORVI_LOG_STORM("<SendMsgToVisionAssistantFsm> SendSynMsg %x to Vision> Success!", msgId);
    return 0;
}

int SendMsgToVisionAssistantHotword(uint32_t msgId, const void* data, uint32_t dataLen) {
    ORVI_LOG_STORM("SendMsgToVisionAssistantHotword msgId %d, msgDataLen %d", msgId, dataLen);
    ORVI_LOG_INFO("SendMsgToVisionAssistantHotword msgId %d, msgDataLen %d", msgId, dataLen);
    TagMsgBlock block;
    if (AddressRequest(block, TASK_HOT_WORD, "SendMsgToVisionAssistantHotword") != 0) {
        return -1;
    }
    SetRequest(block, msgId, dataLen != 0 ? data : nullptr, dataLen);
    const int ret = OsMsgAsynSend(&block);
    if (ret != 0) {
        ORVI_LOG_ERROR("<SendMsgToVisionAssistantHotword> failed: msg 0x%x call OsMsgSynSend failed %d.", msgId, ret);
        return -1;
    }
    ORVI_LOG_INFO("<SendMsgToVisionAssistantHotword> SendSynMsg 0x%x to Vision> Success!", msgId);
    return 0;
}

int SendMsgToVisionAssistant(uint32_t msgId, const void* data, uint32_t dataLen) {
    TagMsgBlock block;
    if (AddressRequest(block, TASK_ASSISTANT, "SendMsgToVisionAssistant") != 0) {
        return -1;
    }
    SetRequest(block, msgId, data, dataLen);
    const int ret = OsMsgAsynSend(&block);
    if (ret != 0) {
        ORVI_LOG_ERROR("<SendMsgToVisionAssistant> failed: msg %x call OsMsgSynSend failed %d.", msgId, ret);
        return -1;
    }
    ORVI_LOG_INFO("<SendMsgToVisionAssistant> SendSynMsg %x to Vision> Success!", msgId);
    return 0;
}

int SendSyncMsgToVisionAssistant(uint32_t msgId, TagMsgBlock** ppstRespBlock) {
    if (ppstRespBlock == nullptr) {
        ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: input is nullptr.");
        return -1;
    }
    TagMsgBlock block;
    if (AddressRequest(block, TASK_ASSISTANT, "SendSyncMsgToVisionAssistant") != 0) {
        return -1;
    }
    SetRequest(block, msgId, nullptr, 0);
    const int ret = OsMsgSynSend(&block, ppstRespBlock, WAIT_REPLY);
    if (ret != 0) {
        ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: msg %x call OsMsgSynSend failed %d.", msgId, ret);
        return -1;
    }
    if (!HasData(ppstRespBlock)) {
        ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: can not get msg %x response", msgId);
        return -1;
    }
    return 0;
}

}  // namespace OrviAiService
