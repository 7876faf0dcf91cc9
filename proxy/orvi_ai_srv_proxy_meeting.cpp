// Nameplates, the camera director and the device's lock state.
#include "orvi_ai_srv_proxy_meeting.h"

#include "client_log.h"
#include "dispatch_scope.h"
#include "message_ids.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_channels.h"
#include "orvi_os_thread.h"
#include "reply_block.h"

namespace OrviAiService {
namespace {

constexpr ReceiverTask TASK_DIRECTOR = {"VDirector", sizeof("VDirector")};

// Sends one number to the director's task. Any reply means success: it is released unread. The log lines stand
// under the name `sender`; `sending` begins the one before the send.
int SendNumberToDirector(uint32_t msgId, int32_t number, const char* sender, const char* sending) {
    TagMsgBlock block;
    if (AddressRequest(block, TASK_DIRECTOR, sender) != 0) {
        return -1;
    }
    SetRequest(block, msgId, &number, sizeof(number));
    ORVI_LOG_INFO("<%s> AiSrvServiceProxy %s: msgId=%x, recvProc=%s. recvTask=%s, recvCpu=%x.", sender, sending,
                  block.msgId, block.recvProcName, block.recvTaskName, block.recvCpu);
    TagMsgBlock* received = nullptr;
    const int ret = OsMsgSynSend(&block, &received, WAIT_BUS_LIMIT);
    if (ret != 0) {
        ORVI_LOG_ERROR("<%s> OsMsgSynSend failed. msgId=%x, ret = %d", sender, msgId, ret);
        return -1;
    }
    const ReplyPtr reply(received);
    if (reply == nullptr) {
        ORVI_LOG_ERROR("<%s> msgId=%x, can not get msg response.", sender, msgId);
        return -1;
    }
    ORVI_LOG_INFO("<%s> msgId=%x, get msg response.", sender, msgId);
    return 0;
}

// `method` has logged what it sends; its failure is logged here.
int DirectorSendMsgToVision(uint32_t msgId, const char* method) {
    if (SendNumberToDirector(msgId, 0, "DirectorSendMsgToVision", "send create-director-client msg") != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> DirectorSendMsgToVision failed.", method);
        return -1;
    }
    return 0;
}

// Switches the nameplates for this client.
int SwitchNameplate(AiSrvServiceProxy& proxy, uint32_t msgId, const char* method) {
    tagAiTaskBasicInfo info;
    if (proxy.SetProxyInfo(info) != 0) {
        ORVI_LOG_ERROR("<%s> call SetProxyInfo failed.", method);
        return -1;
    }
    return proxy.SendSynMsgToFaceReturnInt(msgId, reinterpret_cast<uint8_t*>(&info), sizeof(info));
}

}  // namespace

bool WaitForDirector(std::chrono::steady_clock::duration limit) {
    constexpr uint32_t PAUSE_US = 50;
    if (AiSrvServiceProxy::isVisionOK.load()) {
        return true;
    }
    if (DispatchScope::Active()) {
        ORVI_LOG_ERROR(
            "<AiSrvServiceProxy::CreateDirectorTrackProxy> failed: the service is down, cannot wait in a callback.");
        return false;
    }
    const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    while (!AiSrvServiceProxy::isVisionOK.load()) {
        if (std::chrono::steady_clock::now() - start >= limit) {
            ORVI_LOG_ERROR("<AiSrvServiceProxy::CreateDirectorTrackProxy> failed: the service is still down.");
            return false;
        }
        OsUSleep(PAUSE_US);
    }
    return true;
}

int AiSrvServiceProxy::NameplateInit() {
    ORVI_LOG_INFO("<AiSrvServiceProxy::NameplateInit> enter NameplateInit");
    return SendSynMsgToFaceReturnInt(AI_MSG_NAMEPLATE_INIT, nullptr, 0);
}

int AiSrvServiceProxy::NameplateDeinit() {
    ORVI_LOG_INFO("<AiSrvServiceProxy::NameplateDeinit> enter NameplateDeinit");
    return SendSynMsgToFaceReturnInt(AI_MSG_NAMEPLATE_DEINIT, nullptr, 0);
}

int AiSrvServiceProxy::StartNameplateProxy() {
    return SwitchNameplate(*this, AI_MSG_NAMEPLATE_START, "StartNameplateProxy");
}

int AiSrvServiceProxy::StopNameplateProxy() {
    return SwitchNameplate(*this, AI_MSG_NAMEPLATE_STOP, "StopNameplateProxy");
}

int AiSrvServiceProxy::CreateDirectorTrackProxy() const {
    if (!isInited.load()) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CreateDirectorTrackProxy> failed: need call init first.");
        return -1;
    }
    if (!WaitForDirector(DIRECTOR_WAIT_LIMIT)) {
        return -1;
    }
    ORVI_LOG_INFO("<AiSrvServiceProxy::CreateDirectorTrackProxy> send create director msg");
    return DirectorSendMsgToVision(AI_MSG_DIRECTOR_CREATE, "CreateDirectorTrackProxy");
}

int AiSrvServiceProxy::RemoveDirectorTrackProxy() const {
    ORVI_LOG_INFO("<AiSrvServiceProxy::RemoveDirectorTrackProxy> send  remove director msg.");
    return DirectorSendMsgToVision(AI_MSG_DIRECTOR_REMOVE, "RemoveDirectorTrackProxy");
}

int AiSrvServiceProxy::StartDirectorTrackProxy() const {
    ORVI_LOG_INFO("<AiSrvServiceProxy::StartDirectorTrackProxy> send start director msg.");
    return DirectorSendMsgToVision(AI_MSG_DIRECTOR_START, "StartDirectorTrackProxy");
}

int AiSrvServiceProxy::StopDirectorTrackProxy() const {
    ORVI_LOG_INFO("<AiSrvServiceProxy::StopDirectorTrackProxy> send stop director msg.");
    return DirectorSendMsgToVision(AI_MSG_DIRECTOR_STOP, "StopDirectorTrackProxy");
}

int AiSrvServiceProxy::AiLockStateChange(int lockState) const {
    ORVI_LOG_INFO("<AiSrvServiceProxy::AiLockStateChange> send msg.");
    return SendNumberToDirector(AI_MSG_LOCK_STATE_CHANGE, lockState, "AiLockStateChange", "send lock-state msg");
}

}  // namespace OrviAiService
