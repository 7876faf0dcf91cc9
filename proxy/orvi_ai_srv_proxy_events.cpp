// Everything that arrives at the process's task: what it means and which callback it goes to.
#include <cstddef>
#include <cstring>
#include <exception>

#include "client_log.h"
#include "dispatch_scope.h"
#include "face_registry.h"
#include "message_ids.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_os_thread.h"

namespace OrviAiService {
namespace {

// How a status message's first integer becomes a status.
enum class StatusRule { ONE_WHEN_ZERO, ONE_WHEN_NOT_ZERO, AS_IT_IS };

struct StatusMessage {
    uint32_t msgId;
    OrviAiStatusType type;
    StatusRule rule;
};

constexpr StatusMessage STATUS_MESSAGES[] = {
    {AI_EVT_CAPTION_START, ORVI_AI_STATUS_CAPTION, StatusRule::ONE_WHEN_ZERO},
    {AI_EVT_CAPTION_STOP, ORVI_AI_STATUS_CAPTION, StatusRule::ONE_WHEN_NOT_ZERO},
    {AI_EVT_NAMEPLATE_START, ORVI_AI_STATUS_NAMEPLATE, StatusRule::ONE_WHEN_ZERO},
    {AI_EVT_NAMEPLATE_STOP, ORVI_AI_STATUS_NAMEPLATE, StatusRule::ONE_WHEN_NOT_ZERO},
    {AI_EVT_STATUS_2B, ORVI_AI_STATUS_2B, StatusRule::AS_IT_IS},
    {AI_EVT_STATUS_37, ORVI_AI_STATUS_37, StatusRule::AS_IT_IS},
    {AI_EVT_LLM_INIT, ORVI_AI_STATUS_LARGE_MODEL, StatusRule::ONE_WHEN_ZERO},
};

// Messages whose payload goes to the main callback.
struct MainMessage {
    uint32_t msgId;
    OrviAiEventId event;
};

constexpr MainMessage MAIN_MESSAGES[] = {
    {AI_EVT_NOTICE_2D, ORVI_AI_EVENT_NOTICE_2D},   {AI_EVT_NOTICE_39, ORVI_AI_EVENT_NOTICE_39},
    {AI_EVT_LLM_3F, ORVI_AI_EVENT_LARGE_MODEL_3F}, {AI_EVT_LLM_3E, ORVI_AI_EVENT_LARGE_MODEL_3E},
    {AI_EVT_LLM_40, ORVI_AI_EVENT_LARGE_MODEL_40},
};

// The assistant's messages from AI_EVT_ASSISTANT_FIRST on, with the names that the log gives them.
struct AssistantMessage {
    OrviAiEventId event;
    char name[20];  // no pointer, which the loader would have to set
};

constexpr AssistantMessage ASSISTANT_MESSAGES[] = {
    {ORVI_AI_EVENT_ASSISTANT_WAKE_UP, "wake up"},
    {ORVI_AI_EVENT_ASSISTANT_SLEEP, "sleep"},
    {ORVI_AI_EVENT_ASSISTANT_LISTEN, "listen"},
    {ORVI_AI_EVENT_ASSISTANT_NO_LISTEN, "no listen"},
    {ORVI_AI_EVENT_ASSISTANT_INTENT_NOTIFY, "intent notify"},
    {ORVI_AI_EVENT_ASSISTANT_ASR_TEXT, "asr text"},
    {ORVI_AI_EVENT_ASSISTANT_TTS_TEXT, "tts replay text"},
    {ORVI_AI_EVENT_ASSISTANT_CHOOSE_ONE, "choose one"},  // 108 stands before 107: the ids cross here
    {ORVI_AI_EVENT_ASSISTANT_DISPLAY_CARD, "display card"},
    {ORVI_AI_EVENT_ASSISTANT_SERVER_ERROR, "notify server error"},
    {ORVI_AI_EVENT_ASSISTANT_MIC, "mic event"},
    {ORVI_AI_EVENT_ASSISTANT_RESET, "reset event"},
};
constexpr uint32_t ASSISTANT_COUNT = sizeof(ASSISTANT_MESSAGES) / sizeof(ASSISTANT_MESSAGES[0]);

int32_t FirstInteger(const void* data) {
    int32_t value;
    std::memcpy(&value, data, sizeof(value));
    return value;
}

int32_t StatusOf(StatusRule rule, int32_t n) {
    switch (rule) {
        case StatusRule::ONE_WHEN_ZERO:
            return n == 0 ? 1 : 0;
        case StatusRule::ONE_WHEN_NOT_ZERO:
            return n != 0 ? 1 : 0;
        case StatusRule::AS_IT_IS:
            break;
    }
    return n;
}

bool NamesProcess(const TagMsgBlock& msg, const char* process) {
    return std::strncmp(msg.procName, process, sizeof(msg.procName)) == 0;
}

// To be called in a catch (...) handler: a callback's exception ends here, with one line. A thread that is being
// cancelled or ends itself unwinds without an exception of the language, and goes on doing so.
void SwallowException(const char* callback) {
    if (std::current_exception() == nullptr) {
        throw;
    }
    ORVI_LOG_ERROR("<AiSrvServiceProxy::AiVisionProxyMsgHandler> the %s callback threw an exception.", callback);
}

// True when the callback was called and returned.
bool CallMain(OrviAiEventId event, void* payload) {
    const OrviAiMainCallback callback = AiSrvServiceProxy::gOrviAiVisionCallBackFun.load();
    if (callback == nullptr) {
        return false;
    }
    try {
        callback(event, payload);
    } catch (...) {
        SwallowException("main");
        return false;
    }
    return true;
}

bool CallCaption(OrviAiCaptionEventId event, void* payload) {
    const OrviAiCaptionCallback callback = AiSrvServiceProxy::m_captionCallBackFun.load();
    if (callback == nullptr) {
        return false;
    }
    try {
        callback(event, payload);
    } catch (...) {
        SwallowException("caption");
        return false;
    }
    return true;
}

void HandleFaceEvent(TagMsgBlock& msg) {
    if (msg.data == nullptr || msg.dataLen < sizeof(tagOrviAiSrvFaceDetEvent)) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::AiVisionProxyMsgHandler> detInfo is null");
        return;
    }
    const int sourceId =
        FirstInteger(static_cast<const char*>(msg.data) + offsetof(tagOrviAiSrvFaceDetEvent, sourceId));
    try {
        if (!CallFaceCallback(sourceId, static_cast<tagOrviAiSrvFaceDetEvent*>(msg.data))) {
            ORVI_LOG_ERROR("<AiSrvServiceProxy::AiVisionProxyMsgHandler> sourceId not in g_callBackFuncMap.");
        }
    } catch (...) {
        SwallowException("face");
    }
}

// A process of another user may send only when this process does not run as one of the device's two users.
bool AcceptsSender(uint32_t senderUid) {
    constexpr uint32_t ROOT = 0;
    constexpr uint32_t APPLICATION = 1000;
    const uint32_t ownUid = OsGetUId();
    return (ownUid != ROOT && ownUid != APPLICATION) || senderUid == ROOT || senderUid == APPLICATION;
}

}  // namespace

int AiSrvServiceProxy::AiVisionProxyMsgHandler(TagMsgBlock* msg) {
    if (msg == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::AiVisionProxyMsgHandler> failed: msg is nullptr pointer.");
        return -1;
    }
    if (DispatchClosed()) {
        return -1;
    }
    const DispatchScope dispatching;
    ORVI_TRACE(LOG_INFO, "AiVisionProxyMsgHandler", "<AiSrvServiceProxy::AiVisionProxyMsgHandler> process msg %x.",
               msg->msgId);
    if (!AcceptsSender(msg->senderUid)) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::AiVisionProxyMsgHandler> process uid %d.", msg->senderUid);
        return -1;
    }
    // The status handler gets no length: a payload too short for its integer counts as none.
    auto* const payload = msg->dataLen < sizeof(int32_t) ? nullptr : static_cast<unsigned char*>(msg->data);
    if (AiVisionExecResProcess(static_cast<int>(msg->msgId), payload) == 0) {
        return 0;
    }
    return AiVisionProcResMsg(msg) == 0 ? 0 : -1;
}

int AiSrvServiceProxy::AiVisionExecResProcess(int msgId, unsigned char* data) {
    if (data == nullptr) {
        return -1;
    }
    const int32_t n = FirstInteger(data);
    const auto id = static_cast<uint32_t>(msgId);
    for (const StatusMessage& row : STATUS_MESSAGES) {
        if (row.msgId == id) {
            tagOrviAiServiceStatusEvent status = {row.type, StatusOf(row.rule, n)};
            (void)AiVisionAPICallBack(ORVI_AI_EVENT_STATUS, &status);
            return 0;
        }
    }
    switch (id) {
        case AI_EVT_CHECKIN_CLEARED:
            (void)AiVisionAPICallBack(ORVI_AI_EVENT_CHECKIN_CLEARED, nullptr);
            return 0;
        case AI_EVT_NOTICE_2F:
            (void)AiVisionAPICallBack(ORVI_AI_EVENT_NOTICE_2F, nullptr);
            return 0;
        case AI_EVT_SERVICE_UP_DOWN:
            (void)AiVisionAPICallBack(n != 0 ? ORVI_AI_EVENT_SERVICE_START : ORVI_AI_EVENT_SERVICE_EXIT, nullptr);
            return 0;
        default:
            return -1;
    }
}

int AiSrvServiceProxy::AiVisionAPICallBack(OrviAiEventId event, tagOrviAiServiceStatusEvent* status) {
    if (gOrviAiVisionCallBackFun.load() == nullptr) {
        ORVI_LOG_INFO("<AiSrvServiceProxy::AiVisionAPICallBack> gOrviAiVisionCallBackFun is nullptr");
        return 0;
    }
    if (event != ORVI_AI_EVENT_NOTICE_2F && event != ORVI_AI_EVENT_NOTICE_2D) {
        if (status != nullptr) {
            ORVI_LOG_INFO("<AiVisionExecResProcess> call AiVisionAPICallBack event:%d, type:%d, status:%d",
                          static_cast<int>(event), status->type, status->status);
        } else {
            ORVI_LOG_INFO("<AiVisionExecResProcess> call AiVisionAPICallBack event:%d", static_cast<int>(event));
        }
    }
    if (CallMain(event, status)) {
        ORVI_LOG_INFO("<AiSrvServiceProxy::AiVisionAPICallBack> succeed.");
    }
    return 0;
}

int AiSrvServiceProxy::AiVisionProcResMsg(TagMsgBlock* msg) {
    if (msg == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::AiVisionProcResMsg> failed: msg is nullptr pointer.");
        return -1;
    }
    const uint32_t assistantIndex = msg->msgId - AI_EVT_ASSISTANT_FIRST;  // wraps below the first
    if (assistantIndex < ASSISTANT_COUNT) {
        const AssistantMessage& row = ASSISTANT_MESSAGES[assistantIndex];
        ORVI_LOG_INFO("client callback %s", row.name);
        (void)CallMain(row.event, msg->data);
        return 0;
    }
    for (const MainMessage& row : MAIN_MESSAGES) {
        if (row.msgId == msg->msgId) {
            (void)CallMain(row.event, msg->data);
            return 0;
        }
    }
    switch (msg->msgId) {
        case AI_EVT_FACE:
            HandleFaceEvent(*msg);
            return 0;
        case AI_EVT_CAPTION_SWITCH:
            if (CallCaption(ORVI_AI_CAPTION_EVENT_SWITCH, msg->data)) {
                ORVI_LOG_ERROR("<AiSrvServiceProxy> send caption switch success!");
            }
            return 0;
        case AI_EVT_CAPTION_38:
            (void)CallCaption(ORVI_AI_CAPTION_EVENT_38, msg->data);
            return 0;
        case AI_EVT_CAPTION_1A:
            (void)CallCaption(ORVI_AI_CAPTION_EVENT_1A, msg->data);
            return 0;
        default:
            break;
    }
    if (AiVisionProxyRestoresMsgHandler(msg) != 0) {
        ORVI_LOG_INFO("<AiSrvServiceProxy::AiVisionProxyMsgHandler> invalid msgId:%x.", msg->msgId);
        return -1;
    }
    return 0;
}

int AiSrvServiceProxy::AiVisionProxyRestoresMsgHandler(TagMsgBlock* msg) {
    if (msg == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::AiVisionProxyRestoresMsgHandler> failed: msg is nullptr pointer.");
        return -1;
    }
    switch (msg->msgId) {
        case OS_MSG_PROC_EXITRESULT:
            if (NamesProcess(*msg, "omlog")) {
                (void)OrviAiLogUinit();
            } else if (NamesProcess(*msg, "AI_VISION")) {
                ORVI_LOG_INFO("<AiSrvServiceProxy::AiVisionProxyRestoresMsgHandler> aivision OS_MSG_PROC_EXITRESULT");
                (void)AiVisionAPICallBack(ORVI_AI_EVENT_SERVICE_EXIT, nullptr);
                isVisionOK.exchange(false);
            }
            return 0;
        case OS_MSG_PROC_STARTRESULT:
            if (NamesProcess(*msg, "omlog")) {
                (void)GetInstance().AiVisionAPILogInit();
            } else if (NamesProcess(*msg, "AI_VISION")) {
                ORVI_LOG_INFO("<AiSrvServiceProxy::AiVisionProxyRestoresMsgHandler> aivision OS_MSG_PROC_STARTRESULT");
                (void)AiVisionAPICallBack(ORVI_AI_EVENT_SERVICE_START, nullptr);
                isVisionOK.exchange(true);
            }
            return 0;
        case AI_EVT_SERVICE_STATUS: {
            if (msg->data == nullptr || msg->dataLen < sizeof(int32_t)) {
                return -1;
            }
            tagOrviAiServiceStatusEvent status = {ORVI_AI_STATUS_SERVICE, FirstInteger(msg->data)};
            (void)AiVisionAPICallBack(ORVI_AI_EVENT_STATUS, &status);
            return 0;
        }
        default:
            return -1;
    }
}

}  // namespace OrviAiService
