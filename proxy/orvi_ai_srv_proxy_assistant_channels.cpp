// What the four senders to the voice assistant's tasks say in the log.
#include "client_log.h"
#include "request_rows.h"

namespace OrviAiService {

constexpr Sender Senders::SendMsgToVisionAssistant = {
    nullptr,
    [](uint32_t msgId) { ORVI_LOG_INFO("<SendMsgToVisionAssistant> SendSynMsg %x to Vision> Success!", msgId); },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
                ORVI_LOG_ERROR("<SendMsgToVisionAssistant> failed: call memcpy_s set recvProcName failed.");
                break;
            case Failure::TASK_UNNAMED:
                ORVI_LOG_ERROR("<SendMsgToVisionAssistant> failed: call memcpy_s set recvTaskName failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<SendMsgToVisionAssistant> failed: msg %x call OsMsgSynSend failed %d.", error.msgId,
                               error.result);
                break;
            case Failure::NO_REPLY:
                break;
        }
    },
};

constexpr Sender Senders::SendMsgToVisionAssistantFsm = {
    nullptr,
    [](uint32_t msgId) { ORVI_LOG_STORM("<SendMsgToVisionAssistantFsm> SendSynMsg %x to Vision> Success!", msgId); },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
                ORVI_LOG_ERROR("<SendMsgToVisionAssistantFsm> failed: call memcpy_s set recvProcName failed.");
                break;
            case Failure::TASK_UNNAMED:
                ORVI_LOG_ERROR("<SendMsgToVisionAssistantFsm> failed: call memcpy_s set recvTaskName failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<SendMsgToVisionAssistantFsm> failed: msg %x call OsMsgSynSend failed %d.", error.msgId,
                               error.result);
                break;
            case Failure::NO_REPLY:
                break;
        }
    },
};

constexpr Sender Senders::SendMsgToVisionAssistantHotword = {
    nullptr,
    [](uint32_t msgId) {
        ORVI_LOG_INFO("<SendMsgToVisionAssistantHotword> SendSynMsg 0x%x to Vision> Success!", msgId);
    },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
                ORVI_LOG_ERROR("<SendMsgToVisionAssistantHotword> failed: call memcpy_s set recvProcName failed.");
                break;
            case Failure::TASK_UNNAMED:
                ORVI_LOG_ERROR("<SendMsgToVisionAssistantHotword> failed: call memcpy_s set recvTaskName failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<SendMsgToVisionAssistantHotword> failed: msg 0x%x call OsMsgSynSend failed %d.",
                               error.msgId, error.result);
                break;
            case Failure::NO_REPLY:
                break;
        }
    },
};

constexpr Sender Senders::SendSyncMsgToVisionAssistant = {
    nullptr,
    nullptr,
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
                ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: call memcpy_s set recvProcName failed.");
                break;
            case Failure::TASK_UNNAMED:
                ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: call memcpy_s set recvTaskName failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: msg %x call OsMsgSynSend failed %d.",
                               error.msgId, error.result);
                break;
            case Failure::NO_REPLY:
                ORVI_LOG_ERROR("<SendSyncMsgToVisionAssistant> failed: can not get msg %x response", error.msgId);
                break;
        }
    },
};

}  // namespace OrviAiService
