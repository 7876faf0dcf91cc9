#include "annotated_mutex.h"
#include "client_log.h"
#include "client_names.h"
#include "face_registry.h"
#include "forked_child.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_os_thread.h"
#include "orvi_securec.h"
#include "request_rows.h"

namespace OrviAiService {
namespace {

// Serialises the first initialisation, so that two threads cannot both start a message thread.
Mutex g_initMutex;

constexpr OsMsgSubscribeEntry Watch(uint32_t eventId, const char* process) {
    OsMsgSubscribeEntry entry = {};
    entry.eventId = eventId;
    for (size_t i = 0; process[i] != '\0'; ++i) {
        entry.procName[i] = process[i];
        entry.procNameAgain[i] = process[i];
    }
    return entry;
}

// What the message thread watches. The subscriber's task is filled in at run time.
constexpr uint32_t WATCH_COUNT = 4;
constexpr OsMsgSubscribeEntry WATCHES[WATCH_COUNT] = {
    Watch(OS_MSG_PROC_STARTRESULT, "AI_VISION"),
    Watch(OS_MSG_PROC_EXITRESULT, "AI_VISION"),
    Watch(OS_MSG_PROC_STARTRESULT, "omlog"),
    Watch(OS_MSG_PROC_EXITRESULT, "omlog"),
};

// The line of the two announcements when their block could not be addressed.
void LogMasterBlockFailed() {
    ORVI_LOG_ERROR("<SetDefaultMsgBlockToMaster> failed: call memcpy_s failed.");
}

}  // namespace

std::atomic<bool> AiSrvServiceProxy::isVisionOK{true};
std::atomic<OrviAiMainCallback> AiSrvServiceProxy::gOrviAiVisionCallBackFun{nullptr};
std::atomic<OrviAiCaptionCallback> AiSrvServiceProxy::m_captionCallBackFun{nullptr};

AiSrvServiceProxy& AiSrvServiceProxy::GetInstance() {
    static AiSrvServiceProxy uniqueInstance;
    return uniqueInstance;
}

int AiSrvServiceProxy::Initiate(tagOrviAppInfo /*appInfo*/, OrviAiMainCallback callback) {
    if (RefusedInForkedChild(AI_MSG_INIT)) {
        return -1;
    }
    NoteJoining();
    const MutexLock lock(g_initMutex);
    if (isInited.load()) {
        if (AiSrvSendInitMsgToVision() != 0) {
            ORVI_LOG_ERROR("<AiSrvServiceProxy::Initiate> failed: SendInitiateMsg failed isInited.");
            return -1;
        }
        ORVI_LOG_ERROR("<AiSrvServiceProxy::Initiate> AiVisionProxy has been inited.");
        return 0;
    }
    if (GenerateProcAndTaskName() != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::Initiate> failed: GenerateProcAndTaskName fail.");
        return -1;
    }
    gOrviAiVisionCallBackFun.store(callback);
    CloseDispatchAtExit();
    (void)AiVisionAPILogInit();  // without the log service the library works all the same
    ORVI_LOG_INFO("<AiSrvServiceProxy::Initiate> msg proc name is %s.", MsgProcName().text);
    if (CreatePthread() != 0) {
        ORVI_LOG_ERROR("<Initiate> Failed to create the msg thread.");
        return -1;
    }
    if (AiSrvSendInitMsgToVision() != 0) {
        ORVI_LOG_ERROR("<Initiate> Failed to send the initialization message.");
        return -1;
    }
    isInited.store(true);
    ORVI_LOG_INFO("<AiSrvServiceProxy::Initiate> succeed.");
    return 0;
}

int AiSrvServiceProxy::UnInitiate() {
    if (AiSrvSendUninitMsgToVision() != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::UnInitiate> failed: SendUnInitiateMsg failed.");
        return -1;
    }
    return 0;
}

int AiSrvServiceProxy::GenerateProcAndTaskName() const {
    char joined[OS_MSG_NAME_SIZE] = {};
    if (OsMsgGetProcName(joined, sizeof(joined)) == 0) {
        SetMsgProcName(NameFromField(joined, sizeof(joined)));
    } else {
        const ClientName procName = NumberedName("ai_vpp", OsGetPId());
        SetMsgProcName(procName);
        const int ret = OsMsgInit(procName.text);
        if (ret != 0) {
            ORVI_LOG_ERROR("<AiSrvServiceProxy::Initiate> failed: call OsMsgInit return %d.", ret);
            return -1;
        }
    }
    SetMsgTaskName(NumberedName("ai_vpt", OsGetPId()));
    return 0;
}

int AiSrvServiceProxy::CreatePthread() {
    if (threadId != 0) {
        ORVI_LOG_ERROR("<CreatePthread> The thread has been created.");
        return 0;
    }
    const ClientName taskName = MsgTaskName();
    int ret = OsMsgRegTask(taskName.text, 64, AiVisionProxyMsgHandler);
    if (ret != 0) {
        ORVI_LOG_ERROR("<CreatePthread> failed: call OsMsgRegTask return %d.", ret);
        return -1;
    }
    uint32_t attributes = 0;
    ret = OsPthreadCreateId(&threadId, &attributes, 0, AiVisionProxyThread, nullptr);
    if (ret != 0) {
        ORVI_LOG_ERROR("<CreatePthread> failed: call OsPthreadCreateId return %d.", ret);
        (void)OsMsgUnregTask(MsgProcName().text, 1, taskName.text);
        threadId = 0;
        return -1;
    }
    return 0;
}

int AiSrvServiceProxy::AiVisionAPILogInit() {
    if (OrviAiClientLogInit() != 0) {
        ORVI_LOG_ERROR("<AiVisionAPILogInit> OrviAiClientLogInit failed.");
        return -1;
    }
    return 1;
}

void* AiSrvServiceProxy::AiVisionProxyThread(void* /*unused*/) {
    const ClientName taskName = MsgTaskName();
    OsMsgSubscribeEntry entries[WATCH_COUNT];
    for (uint32_t i = 0; i < WATCH_COUNT; ++i) {
        entries[i] = WATCHES[i];
        if (strcpy_s(entries[i].taskName, sizeof(entries[i].taskName), taskName.text) != 0) {
            ORVI_LOG_ERROR("strcpy_s  %s error", entries[i].procName);
        }
    }
    (void)OsMsgSubscribeEvent(entries, WATCH_COUNT);  // without events the service's messages still arrive
    (void)OsPthreadSetName(taskName.text);
    const int ret = OsMsgTaskRoutineByName(taskName.text);
    ORVI_LOG_INFO("OsMsgTaskRoutineByName ret: %d \r\n", ret);
    return nullptr;
}

constexpr Sender Senders::AiSrvSendInitMsgToVision = {
    nullptr,
    nullptr,
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
            case Failure::TASK_UNNAMED:
                LogMasterBlockFailed();
                ORVI_LOG_ERROR("<AiSrvSendInitMsgToVision> call SetMsgBlock failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<AiSrvSendInitMsgToVision> failed, call OsMsgAsynSend return %x.", error.result);
                break;
            case Failure::NO_REPLY:
                break;
        }
    },
};

int AiSrvServiceProxy::AiSrvSendInitMsgToVision() {
    tagAiTaskBasicInfo info;
    if (SetStAiTaskBasicInfo(info) != 0) {
        ORVI_LOG_ERROR("<AiSrvSendInitMsgToVision> call SetStAiTaskBasicInfo failed.");
        return -1;
    }
    return Transact(Requests::CLIENT_INIT, &info);
}

constexpr Sender Senders::AiSrvSendUninitMsgToVision = {
    nullptr,
    nullptr,
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
            case Failure::TASK_UNNAMED:
                LogMasterBlockFailed();
                ORVI_LOG_ERROR("<AiSrvSendUninitMsgToVision> call SetMsgBlock failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<AiSrvSendUninitMsgToVision> failed: call OsMsgAsynSend return %x.", error.result);
                break;
            case Failure::NO_REPLY:
                break;
        }
    },
};

int AiSrvServiceProxy::AiSrvSendUninitMsgToVision() {
    tagAiTaskBasicInfo info;
    if (SetStAiTaskBasicInfo(info) != 0) {
        ORVI_LOG_ERROR("<AiSrvSendUninitMsgToVision> failed: call SetStAiTaskBasicInfo failed.");
        return -1;
    }
    return Transact(Requests::CLIENT_UNINIT, &info);
}

}  // namespace OrviAiService
