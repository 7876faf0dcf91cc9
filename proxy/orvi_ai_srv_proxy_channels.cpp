// The senders to the service's interface, OM and face tasks: their lines in the log, and the methods that send any
// message there.
#include "orvi_ai_srv_proxy_channels.h"

#include "client_log.h"
#include "orvi_ai_srv_proxy.h"
#include "request_rows.h"

namespace OrviAiService {

void LogInterfaceBlockFailed() {
    ORVI_LOG_ERROR("<SetDefaultIntefMsgBlockToMaster> failed: call memcpy_s failed.");
}

constexpr Sender Senders::SendAsynMsgToVision = {
    nullptr,
    [](uint32_t msgId) {
        ORVI_LOG_INFO("<AiSrvServiceProxy::SendAsynMsgToVision> SendAsynMsg %x to Vision> Success!", msgId);
    },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
            case Failure::TASK_UNNAMED:
                LogInterfaceBlockFailed();
                ORVI_LOG_ERROR(
                    "<AiSrvServiceProxy::SendAsynMsgToVision>: call SetDefaultMsgBlockToMaster failed. msgId: %d.",
                    error.msgId);
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<AiSrvServiceProxy::SendAsynMsgToVision> failed: msg %x call OsMsgAsynSend failed %d.",
                               error.msgId, error.result);
                break;
            case Failure::NO_REPLY:
                break;
        }
    },
};

constexpr Sender Senders::SendSynMsgToVision = {
    [](const TagMsgBlock& block) {
        ORVI_LOG_INFO("<AiSrvServiceProxy::SendSynMsgToVision> send msg: recvProc=%s. recvTask=%s.", block.recvProcName,
                      block.recvTaskName);
    },
    [](uint32_t msgId) {
        ORVI_LOG_INFO("<AiSrvServiceProxy::SendSynMsgToVision> SendSynMsg %x to Vision> Success!", msgId);
    },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
            case Failure::TASK_UNNAMED:
                LogInterfaceBlockFailed();
                ORVI_LOG_ERROR(
                    "<AiSrvServiceProxy::SendSynMsgToVision>: call SetDefaultMsgBlockToMaster failed. msgId: %d.",
                    error.msgId);
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR(
                    "<AiSrvServiceProxy::SendSynMsgToVision> failed: msg %x call OsMsgSynSend failed %d, waitTime %u.",
                    error.msgId, error.result, error.waitMs);
                break;
            case Failure::NO_REPLY:
                ORVI_LOG_ERROR("<AiSrvServiceProxy::SendSynMsgToVision> failed: can not get msg %x response",
                               error.msgId);
                break;
        }
    },
};

// The same function, on its other channel.
constexpr Sender Senders::SendSynMsgToVisionOm = {
    Senders::SendSynMsgToVision.sending,
    Senders::SendSynMsgToVision.sent,
    [](Failure failure, const SendError& error) {
        if (failure != Failure::PROC_UNNAMED && failure != Failure::TASK_UNNAMED) {
            Senders::SendSynMsgToVision.failed(failure, error);
            return;
        }
        ORVI_LOG_ERROR("<SetDefaultOmMsgBlockToMaster> failed: call memcpy_s failed.");
        ORVI_LOG_ERROR("<AiSrvServiceProxy::SendSynMsgToVision>: call SetDefaultOmMsgBlockToMaster failed. msgId: %d.",
                       error.msgId);
    },
};

constexpr Sender Senders::SendSynMsgToVisionFaceTask = {
    nullptr,
    [](uint32_t msgId) {
        ORVI_LOG_INFO("<SendSynMsgToVisionFaceTask> SendSynMsg %x to Vision FaceTask> Success!", msgId);
    },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
            case Failure::TASK_UNNAMED:
                ORVI_LOG_ERROR("<SetFaceTaskMsgBlockToMaster> failed: call memcpy_s failed.");
                ORVI_LOG_ERROR("<SendSynMsgToVisionFaceTask>: call SetFaceTaskMsgBlockToMaster failed. msgId: %d.",
                               error.msgId);
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<SendSynMsgToVisionFaceTask> failed: msg %x call OsMsgSynSend failed %d.", error.msgId,
                               error.result);
                break;
            case Failure::NO_REPLY:
                ORVI_LOG_ERROR("<SendSynMsgToVisionFaceTask> failed: can not get msg %x response", error.msgId);
                break;
        }
    },
};

// --- Any message: a row of its own ---

namespace {

int HandOver(const Request& request, const void* payload, TagMsgBlock** reply) {
    *reply = Send(request, payload).reply;
    return *reply != nullptr ? 0 : -1;
}

}  // namespace

int AiSrvServiceProxy::SendAsynMsgToVision(uint32_t msgId, uint8_t* data, uint32_t len) const {
    constexpr Channel CHANNEL = {TASK_INTERFACE, WAIT_NONE, Senders::SendAsynMsgToVision};
    return Transact({msgId, CHANNEL, len, ONE_WAY}, data);
}

int AiSrvServiceProxy::SendSynMsgToVision(uint32_t msgId, uint8_t* data, uint32_t len, uint32_t waitTime,
                                          TagMsgBlock** reply) {
    if (reply == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::SendSynMsgToVision> failed: input is nullptr.");
        return -1;
    }
    Channel channel = msgId == AI_MSG_LLM_ABILITY ? Requests::OM : Requests::INTERFACE;
    channel.waitMs = waitTime;
    return HandOver({msgId, channel, len, DATA}, data, reply);
}

int AiSrvServiceProxy::SendSynMsgToVisionFaceTask(uint32_t msgId, uint8_t* data, uint32_t len, TagMsgBlock** reply) {
    if (reply == nullptr) {
        ORVI_LOG_ERROR("<SendSynMsgToVisionFaceTask> failed: input is nullptr.");
        return -1;
    }
    return HandOver({msgId, Requests::FACE, len, DATA}, data, reply);
}

int AiSrvServiceProxy::SendSynMsgToFaceReturnInt(uint32_t msgId, uint8_t* data, uint32_t len) {
    return OrviAiService::SendSynMsgToFaceReturnInt({msgId, Requests::FACE, len, VERDICT}, data);
}

}  // namespace OrviAiService
