// The camera director and the device's lock state: numbers for one task of the service, whose replies are not read.
#include "orvi_ai_srv_proxy_director.h"

#include "client_log.h"
#include "dispatch_scope.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_os_thread.h"
#include "request_rows.h"

namespace OrviAiService {

constexpr Sender Senders::DirectorSendMsgToVision = {
    [](const TagMsgBlock& block) {
        ORVI_LOG_INFO(
            "<DirectorSendMsgToVision> AiSrvServiceProxy send create-director-client msg: msgId=%x, recvProc=%s. "
            "recvTask=%s, recvCpu=%x.",
            block.msgId, block.recvProcName, block.recvTaskName, block.recvCpu);
    },
    [](uint32_t msgId) { ORVI_LOG_INFO("<DirectorSendMsgToVision> msgId=%x, get msg response.", msgId); },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
                ORVI_LOG_ERROR("<DirectorSendMsgToVision> failed: call memcpy_s set recvProcName failed.");
                break;
            case Failure::TASK_UNNAMED:
                ORVI_LOG_ERROR("<DirectorSendMsgToVision> failed: call memcpy_s set recvTaskName failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<DirectorSendMsgToVision> OsMsgSynSend failed. msgId=%x, ret = %d", error.msgId,
                               error.result);
                break;
            case Failure::NO_REPLY:
                ORVI_LOG_ERROR("<DirectorSendMsgToVision> msgId=%x, can not get msg response.", error.msgId);
                break;
        }
    },
};

constexpr Sender Senders::AiLockStateChange = {
    [](const TagMsgBlock& block) {
        ORVI_LOG_INFO(
            "<AiLockStateChange> AiSrvServiceProxy send lock-state msg: msgId=%x, recvProc=%s. recvTask=%s, "
            "recvCpu=%x.",
            block.msgId, block.recvProcName, block.recvTaskName, block.recvCpu);
    },
    [](uint32_t msgId) { ORVI_LOG_INFO("<AiLockStateChange> msgId=%x, get msg response.", msgId); },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
                ORVI_LOG_ERROR("<AiLockStateChange> failed: call memcpy_s set recvProcName failed.");
                break;
            case Failure::TASK_UNNAMED:
                ORVI_LOG_ERROR("<AiLockStateChange> failed: call memcpy_s set recvTaskName failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<AiLockStateChange> OsMsgSynSend failed. msgId=%x, ret = %d", error.msgId,
                               error.result);
                break;
            case Failure::NO_REPLY:
                ORVI_LOG_ERROR("<AiLockStateChange> msgId=%x, can not get msg response.", error.msgId);
                break;
        }
    },
};

namespace {

// `failed` is the method's line.
int DirectorSendMsgToVision(const Request& request, LogLine failed) {
    constexpr int32_t NUMBER = 0;
    return Transact(request, &NUMBER, failed);
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
    if (RefusedInForkedChild(AI_MSG_DIRECTOR_CREATE)) {
        return false;  // nobody would tell this process of the start
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

int AiSrvServiceProxy::CreateDirectorTrackProxy() const {
    if (!isInited.load()) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CreateDirectorTrackProxy> failed: need call init first.");
        return -1;
    }
    if (!WaitForDirector(DIRECTOR_WAIT_LIMIT)) {
        return -1;
    }
    ORVI_LOG_INFO("<AiSrvServiceProxy::CreateDirectorTrackProxy> send create director msg");
    return DirectorSendMsgToVision(Requests::DIRECTOR_CREATE, [] {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CreateDirectorTrackProxy> DirectorSendMsgToVision failed.");
    });
}

int AiSrvServiceProxy::RemoveDirectorTrackProxy() const {
    ORVI_LOG_INFO("<AiSrvServiceProxy::RemoveDirectorTrackProxy> send  remove director msg.");
    return DirectorSendMsgToVision(Requests::DIRECTOR_REMOVE, [] {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::RemoveDirectorTrackProxy> DirectorSendMsgToVision failed.");
    });
}

int AiSrvServiceProxy::StartDirectorTrackProxy() const {
    ORVI_LOG_INFO("<AiSrvServiceProxy::StartDirectorTrackProxy> send start director msg.");
    return DirectorSendMsgToVision(Requests::DIRECTOR_START, [] {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::StartDirectorTrackProxy> DirectorSendMsgToVision failed.");
    });
}

int AiSrvServiceProxy::StopDirectorTrackProxy() const {
    ORVI_LOG_INFO("<AiSrvServiceProxy::StopDirectorTrackProxy> send stop director msg.");
    return DirectorSendMsgToVision(Requests::DIRECTOR_STOP, [] {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::StopDirectorTrackProxy> DirectorSendMsgToVision failed.");
    });
}

int AiSrvServiceProxy::AiLockStateChange(int lockState) const {
    ORVI_LOG_INFO("<AiSrvServiceProxy::AiLockStateChange> send msg.");
    const int32_t number = lockState;
    return Transact(Requests::LOCK_STATE_CHANGE, &number);
}

}  // namespace OrviAiService
