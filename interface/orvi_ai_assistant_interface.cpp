// The exported functions of the voice assistant: check, log, one call of the proxy, map the result.
#include "bounded_text.h"
#include "client_log.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"

using OrviAiService::AiSrvServiceProxy;
using OrviAiService::BoundedText;

// --- Hot words ---

int OrviAiAssistantInitKeyWord(tagOrviAppInfo appInfo) {
    ORVI_LOG_STORM("OrviAiAssistantInitKeyWord enter");
    if (AiSrvServiceProxy::GetInstance().AssistantInitKeyWord(appInfo) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantInitKeyWord> request failed.");
        return -1;
    }
    return 0;
}

int OrviAiAssistantUpdateKeyWord(tagOrviAppInfo appInfo, OrviAiHotwordUpdateType type, std::string& words) {
    ORVI_LOG_ERROR("OrviAiAssistantUpdateKeyWord enter");  // at error level, so that it shows by default
    if (AiSrvServiceProxy::GetInstance().AssistantUpdateKeyWord(appInfo, type, words) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantUpdateKeyWord> request failed.");
        return -1;
    }
    return 0;
}

// --- Intents, speech, cards ---

int OrviAiAssistantInitIntent(OrviAiAssistantIntentName* intents, int num) {
    if (intents == nullptr) {
        ORVI_LOG_ERROR("<OrviAiAssistantInitIntent> intents is nullptr.");
        return -1;
    }
    ORVI_LOG_STORM("OrviAiAssistantInitIntent enter, intents num %d", num);
    if (AiSrvServiceProxy::GetInstance().AssistantInitIntent(intents, num) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantInitIntent> request failed.");
        return -1;
    }
    return 0;
}

int OrviAiAssistantNotifyIntentResult(uint32_t seq, OrviAiAssistantIntentResult result) {
    ORVI_LOG_STORM("OrviAiAssistantNotifyIntentResult seq=%u isFinal=%d isMulti=%d tts: %s", seq, result.isFinal,
                   result.isMulti, BoundedText(result.tts).Text());
    if (AiSrvServiceProxy::GetInstance().AssistantNotifyIntentResult(seq, result) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantNotifyIntentResult> notify failed.");
        return -1;
    }
    return 0;
}

int OrviAiAssistantRequestTts(uint32_t seq, OrviAiAssistantSpeechText speech) {
    ORVI_LOG_STORM("OrviAiAssistantRequestTts seq=%u tts: %s", seq, BoundedText(speech.tts).Text());
    if (AiSrvServiceProxy::GetInstance().AssistantRequestTts(seq, speech) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantRequestTts> request failed.");
        return -1;
    }
    return 0;
}

int OrviAiAssistantDisplayCard(uint32_t seq, OrviAiAssistantCard card) {
    ORVI_LOG_STORM("OrviAiAssistantDisplayCard seq=%u", seq);
    if (AiSrvServiceProxy::GetInstance().AssistantDisplayCard(seq, card) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantDisplayCard> display failed.");
        return -1;
    }
    return 0;
}

int OrviAiAssistantChooseItem(uint32_t seq, uint32_t itemId) {
    ORVI_LOG_STORM("OrviAiAssistantChooseItem seq=%u itemId=%u", seq, itemId);
    if (AiSrvServiceProxy::GetInstance().AssistantChooseItem(seq, itemId) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantChooseItem> choose item failed.");
        return -1;
    }
    return 0;
}

// --- Running state, page info ---

int OrviAiAssistantWakeUp(OrviAiAssistantRunningMode mode) {
    ORVI_LOG_STORM("OrviAiAssistantRunningMode mode=%d", static_cast<int>(mode));
    if (AiSrvServiceProxy::GetInstance().AssistantWakeUp(mode) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantWakeUp> wake up failed.");
        return -1;
    }
    return 0;
}

int OrviAiAssistantSleep() {
    ORVI_LOG_STORM("OrviAiAssistantSleep");
    if (AiSrvServiceProxy::GetInstance().AssistantSleep() != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantSleep> sleep failed.");
        return -1;
    }
    return 0;
}

OrviAiAssistantStatus OrviAiAssistantGetStatus() {
    OrviAiAssistantStatus status = ORVI_AI_ASSISTANT_STATUS_NONE;
    if (AiSrvServiceProxy::GetInstance().AssistantGetStatus(status) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantGetStatus> get status failed.");
        return ORVI_AI_ASSISTANT_STATUS_NONE;
    }
    return status;
}

int OrviAiAssistantGetPageInfo(OrviAiAssistantPageInfo* pageInfo) {
    if (pageInfo == nullptr) {
        ORVI_LOG_ERROR("<OrviAiAssistantGetPageInfo> pageInfo is nullptr.");
        return -1;
    }
    ORVI_LOG_STORM("OrviAiAssistantGetPageInfo");
    if (AiSrvServiceProxy::GetInstance().AssistantGetPageInfo(*pageInfo) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantGetPageInfo> get page info failed.");
        return -1;
    }
    return 0;
}

int OrviAiAssistantSetPageInfo(OrviAiAssistantPageInfo pageInfo) {
    ORVI_LOG_STORM("OrviAiAssistantSetPageInfo");
    if (AiSrvServiceProxy::GetInstance().AssistantSetPageInfo(pageInfo) != 0) {
        ORVI_LOG_ERROR("<OrviAiAssistantSetPageInfo> set page info failed.");
        return -1;
    }
    return 0;
}

int OrviAiAssistantGetAbility(OrviAiAssistantAbility* ability) {
    if (ability == nullptr) {
        return -1;
    }
    ability->value1 = 100;
    ability->value2 = 50;
    return 0;
}
