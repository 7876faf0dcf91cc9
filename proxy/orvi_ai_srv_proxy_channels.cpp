#include "orvi_ai_srv_proxy_channels.h"

#include "client_log.h"
#include "client_names.h"
#include "message_ids.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_os_thread.h"
#include "orvi_securec.h"
#include "reply_block.h"

namespace OrviAiService {
namespace {

constexpr char SERVICE_PROCESS[] = "AI_VISION";

// `builder` is the name under which the log knows the failure.
int BuildBlock(TagMsgBlock& block, const ReceiverTask& task, const char* builder) {
    if (AddressToService(block, task) != Addressing::DONE) {
        ORVI_LOG_ERROR("<%s> failed: call memcpy_s failed.", builder);
        return -1;
    }
    return 0;
}

}  // namespace

Addressing AddressToService(TagMsgBlock& block, const ReceiverTask& task) {
    (void)memset_s(&block, sizeof(block), 0, sizeof(block));
    if (memcpy_s(block.recvProcName, sizeof(block.recvProcName), SERVICE_PROCESS, sizeof(SERVICE_PROCESS)) != 0) {
        return Addressing::PROC_FAILED;
    }
    if (memcpy_s(block.recvTaskName, sizeof(block.recvTaskName), task.name, task.size) != 0) {
        return Addressing::TASK_FAILED;
    }
    return Addressing::DONE;
}

bool HasData(TagMsgBlock** reply) {
    if (*reply != nullptr && (*reply)->data != nullptr) {
        return true;
    }
    ReplyPtr(*reply).reset();
    *reply = nullptr;
    return false;
}

int AddressRequest(TagMsgBlock& block, const ReceiverTask& task, const char* sender) {
    switch (AddressToService(block, task)) {
        case Addressing::PROC_FAILED:
            ORVI_LOG_ERROR("<%s> failed: call memcpy_s set recvProcName failed.", sender);
            return -1;
        case Addressing::TASK_FAILED:
            ORVI_LOG_ERROR("<%s> failed: call memcpy_s set recvTaskName failed.", sender);
            return -1;
        case Addressing::DONE:
            break;
    }
    return 0;
}

int SetDefaultMsgBlockToMaster(TagMsgBlock& block) {
    return BuildBlock(block, TASK_MASTER, "SetDefaultMsgBlockToMaster");
}

int SetDefaultIntefMsgBlockToMaster(TagMsgBlock& block) {
    return BuildBlock(block, TASK_INTERFACE, "SetDefaultIntefMsgBlockToMaster");
}

void PauseIfServiceDown() {
    constexpr uint32_t PAUSE_MICROSECONDS = 50;
    if (!AiSrvServiceProxy::isVisionOK.load()) {
        OsUSleep(PAUSE_MICROSECONDS);
    }
}

void SetRequest(TagMsgBlock& block, uint32_t msgId, const void* data, uint32_t len) {
    block.msgId = msgId;
    block.data = const_cast<void*>(data);  // the bus only reads a request's payload
    block.dataLen = len;
}

Addressing FillClientAddress(tagAiTaskBasicInfo& info) {
    (void)memset_s(&info, sizeof(info), 0, sizeof(info));
    const ClientName proc = MsgProcName();
    if (memcpy_s(info.proc, sizeof(info.proc), proc.text, proc.length + 1) != 0) {
        return Addressing::PROC_FAILED;
    }
    const ClientName task = MsgTaskName();
    if (memcpy_s(info.task, sizeof(info.task), task.text, task.length + 1) != 0) {
        return Addressing::TASK_FAILED;
    }
    info.cpu = 1;
    return Addressing::DONE;
}

int SetStAiTaskBasicInfo(tagAiTaskBasicInfo& info) {
    switch (FillClientAddress(info)) {
        case Addressing::PROC_FAILED:
            ORVI_LOG_ERROR("<SetStAiTaskBasicInfo> memcpy_s proc name failed.");
            return -1;
        case Addressing::TASK_FAILED:
            ORVI_LOG_ERROR("<SetStAiTaskBasicInfo> memcpy_s task name failed.");
            return -1;
        case Addressing::DONE:
            break;
    }
    return 0;
}

int AiSrvServiceProxy::SetProxyInfo(tagAiTaskBasicInfo& info) {
    switch (FillClientAddress(info)) {
        case Addressing::PROC_FAILED:
            ORVI_LOG_ERROR("<SetProxyInfo> memcpy_s proc name failed.");
            return -1;
        case Addressing::TASK_FAILED:
            ORVI_LOG_ERROR("<SetProxyInfo> memcpy_s task name failed.");
            return -1;
        case Addressing::DONE:
            break;
    }
    return 0;
}

int AiSrvServiceProxy::SendAsynMsgToVision(uint32_t msgId, uint8_t* data, uint32_t len) const {
    TagMsgBlock block;
    if (SetDefaultIntefMsgBlockToMaster(block) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::SendAsynMsgToVision>: call SetDefaultMsgBlockToMaster failed. msgId: %d.",
                       msgId);
        return -1;
    }
    SetRequest(block, msgId, data, len);
    const int ret = OsMsgAsynSend(&block);
    if (ret != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::SendAsynMsgToVision> failed: msg %x call OsMsgAsynSend failed %d.", msgId,
                       ret);
        return -1;
    }
    ORVI_LOG_INFO("<AiSrvServiceProxy::SendAsynMsgToVision> SendAsynMsg %x to Vision> Success!", msgId);
    return 0;
}

int AiSrvServiceProxy::SendSynMsgToVision(uint32_t msgId, uint8_t* data, uint32_t len, uint32_t waitTime,
                                          TagMsgBlock** reply) {
    if (reply == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::SendSynMsgToVision> failed: input is nullptr.");
        return -1;
    }
    TagMsgBlock block;
    if (msgId == AI_MSG_LLM_ABILITY) {
        if (BuildBlock(block, TASK_OM, "SetDefaultOmMsgBlockToMaster") != 0) {
            ORVI_LOG_ERROR(
                "<AiSrvServiceProxy::SendSynMsgToVision>: call SetDefaultOmMsgBlockToMaster failed. msgId: %d.", msgId);
            return -1;
        }
    } else if (SetDefaultIntefMsgBlockToMaster(block) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::SendSynMsgToVision>: call SetDefaultMsgBlockToMaster failed. msgId: %d.",
                       msgId);
        return -1;
    }
    ORVI_LOG_INFO("<AiSrvServiceProxy::SendSynMsgToVision> send msg: recvProc=%s. recvTask=%s.", block.recvProcName,
                  block.recvTaskName);
    SetRequest(block, msgId, data, len);
    const int ret = OsMsgSynSend(&block, reply, waitTime);
    if (ret != 0) {
        ORVI_LOG_ERROR(
            "<AiSrvServiceProxy::SendSynMsgToVision> failed: msg %x call OsMsgSynSend failed %d, waitTime %u.", msgId,
            ret, waitTime);
        return -1;
    }
    if (!HasData(reply)) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::SendSynMsgToVision> failed: can not get msg %x response", msgId);
        return -1;
    }
    ORVI_LOG_INFO("<AiSrvServiceProxy::SendSynMsgToVision> SendSynMsg %x to Vision> Success!", msgId);
    return 0;
}

int AiSrvServiceProxy::SendSynMsgToVisionFaceTask(uint32_t msgId, uint8_t* data, uint32_t len, TagMsgBlock** reply) {
    if (reply == nullptr) {
        ORVI_LOG_ERROR("<SendSynMsgToVisionFaceTask> failed: input is nullptr.");
        return -1;
    }
    TagMsgBlock block;
    if (BuildBlock(block, TASK_FACE, "SetFaceTaskMsgBlockToMaster") != 0) {
        ORVI_LOG_ERROR("<SendSynMsgToVisionFaceTask>: call SetFaceTaskMsgBlockToMaster failed. msgId: %d.", msgId);
        return -1;
    }
    SetRequest(block, msgId, data, len);
    const int ret = OsMsgSynSend(&block, reply, WAIT_REPLY);
    if (ret != 0) {
        ORVI_LOG_ERROR("<SendSynMsgToVisionFaceTask> failed: msg %x call OsMsgSynSend failed %d.", msgId, ret);
        return -1;
    }
    if (!HasData(reply)) {
        ORVI_LOG_ERROR("<SendSynMsgToVisionFaceTask> failed: can not get msg %x response", msgId);
        return -1;
    }
    ORVI_LOG_INFO("<SendSynMsgToVisionFaceTask> SendSynMsg %x to Vision FaceTask> Success!", msgId);
    return 0;
}

int AiSrvServiceProxy::SendSynMsgToFaceReturnInt(uint32_t msgId, uint8_t* data, uint32_t len) {
    TagMsgBlock* block = nullptr;
    if (SendSynMsgToVisionFaceTask(msgId, data, len, &block) != 0) {
        ORVI_LOG_ERROR("<SendSynMsgToFaceReturnInt> call SendSynMsgToVision failed, msgId=%x.", msgId);
        return -1;
    }
    ReplyPtr reply(block);
    const int verdict = Verdict(*reply);
    reply.reset();
    if (verdict != 0) {
        ORVI_LOG_ERROR("<SendSynMsgToFaceReturnInt> msgId=%x response VOS_ERROR.", msgId);
    }
    return verdict;
}

}  // namespace OrviAiService
