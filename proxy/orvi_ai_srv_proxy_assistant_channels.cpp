// What the four senders to the voice assistant's tasks say in the log.
#include "client_log.h"
#include "request_rows.h"

namespace OrviAiService {

void SaySendMsgToVisionAssistant(Stage stage, const Sending& sending) {
    switch (stage) {
        case Stage::PROC_UNNAMED:
            ORVI_LOG_ERROR("<SendMsgToVisionAssistant> failed: call memcpy_s set recvProcName failed.");
            break;
        case Stage::TASK_UNNAMED:
            ORVI_LOG_ERROR("<SendMsgToVisionAssistant> failed: call memcpy_s set recvTaskName failed.");
            break;
        case Stage::SEND_FAILED:
            ORVI_LOG_ERROR("<SendMsgToVisionAssistant> failed: msg %x call OsMsgSynSend failed %d.", sending.msgId,
                           sending.result);
            break;
        case Stage::SENT:
            ORVI_LOG_INFO("<SendMsgToVisionAssistant> SendSynMsg %x to Vision> Success!", sending.msgId);
            break;
        case Stage::SENDING:
        case Stage::NO_REPLY:
            break;
    }
}

void SaySendMsgToVisionAssistantFsm(Stage stage, const Sending& sending) {
    switch (stage) {
        case Stage::PROC_UNNAMED:
            ORVI_LOG_ERROR("<SendMsgToVisionAssistantFsm> failed: call memcpy_s set recvProcName failed.");
            break;
        case Stage::TASK_UNNAMED:
            ORVI_LOG_ERROR("<SendMsgToVisionAssistantFsm> failed: call memcpy_s set recvTaskName failed.");
            break;
        case Stage::SEND_FAILED:
            ORVI_LOG_ERROR("<SendMsgToVisionAssistantFsm> failed: msg %x call OsMsgSynSend failed %d.", sending.msgId,
                           sending.result);
            break;
        case Stage::SENT:
            ORVI_LOG_STORM("<SendMsgToVisionAssistantFsm> SendSynMsg %x to Vision> Success!", sending.msgId);
            break;
        case Stage::SENDING:
        case Stage::NO_REPLY:
            break;
    }
}

void SaySendMsgToVisionAssistantHotword(Stage stage, const Sending& sending) {
    switch (stage) {
        case Stage::PROC_UNNAMED:
            ORVI_LOG_ERROR("<SendMsgToVisionAssistantHotword> failed: call memcpy_s set recvProcName failed.");
            break;
        case Stage::TASK_UNNAMED:
            ORVI_LOG_ERROR("<SendMsgToVisionAssistantHotword> failed: call memcpy_s set recvTaskName failed.");
            break;
        case Stage::SEND_FAILED:
            ORVI_LOG_ERROR("<SendMsgToVisionAssistantHotword> failed: msg 0x%x call OsMsgSynSend failed %d.",
                           sending.msgId, sending.result);
            break;
        case Stage::SENT:
            ORVI_LOG_INFO("<SendMsgToVisionAssistantHotword> SendSynMsg 0x%x to Vision> Success!", sending.msgId);
            break;
        case Stage::SENDING:
        case Stage::NO_REPLY:
            break;
    }
}

void SaySendSyncMsgToVisionAssistant(Stage stage, const Sending& sending) {
    switch (stage) {
        case Stage::PROC_UNNAMED:
            ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: call memcpy_s set recvProcName failed.");
            break;
        case Stage::TASK_UNNAMED:
            ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: call memcpy_s set recvTaskName failed.");
            break;
        case Stage::SEND_FAILED:
            ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: msg %x call OsMsgSynSend failed %d.", sending.msgId,
                           sending.result);
            break;
        case Stage::NO_REPLY:
            ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: can not get msg %x response", sending.msgId);
            break;
        case Stage::SENDING:
        case Stage::SENT:
            break;
    }
}

}  // namespace OrviAiService
