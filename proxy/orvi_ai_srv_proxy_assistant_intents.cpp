// What an application tells the voice assistant: its intents, answers, speech, cards and choices. All one-way.
#include <cstddef>
#include <cstring>

#include "client_log.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_os_mem.h"
#include "orvi_securec.h"
#include "request_rows.h"

namespace OrviAiService {
namespace {

// Copies a text of an application's record into a payload's zeroed field. A text that does not end inside
// its record is refused without a look behind it.
template <size_t RECORD_SIZE>
int CopyTts(char (&field)[ASSISTANT_TTS_SIZE], const char (&tts)[RECORD_SIZE], LogLine endless, LogLine tooLong) {
    const size_t length = strnlen(tts, RECORD_SIZE);
    if (length == RECORD_SIZE) {
        endless();
        return -1;
    }
    if (memcpy_s(field, sizeof(field), tts, length) != 0) {
        tooLong();
        return -1;
    }
    return 0;
}

}  // namespace

int AiSrvServiceProxy::AssistantInitIntent(OrviAiAssistantIntentName* intents, int num) {
    const auto count = static_cast<uint32_t>(num);  // a negative number is too many
    if (count > ORVI_AI_ASSISTANT_INTENTS_MAX) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantInitIntent> over max num, cur num %d", num);
        return -1;
    }
    if (intents == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantInitIntent> intents is nullptr.");
        return -1;
    }
    if (RefusedInForkedChild(AI_MSG_ASSISTANT_INIT_INTENT)) {
        return -1;  // before the monitored memory, which has locks of its own
    }
    constexpr size_t NAME_SIZE = sizeof(AssistantIntentList::names[0]);
    const auto size = static_cast<uint32_t>(offsetof(AssistantIntentList, names) + count * NAME_SIZE);
    auto* const payload = static_cast<unsigned char*>(OsMemMallocSetCharMon(size, 0, 0, 0, __LINE__, ORVI_SOURCE_NAME));
    if (payload == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantInitIntent> failed: call OsMemMallocSetCharMon failed, size %u.",
                       size);
        return -1;
    }
    unsigned char* slot = payload + offsetof(AssistantIntentList, names);
    for (uint32_t i = 0; i < count; ++i, slot += NAME_SIZE) {
        if (memcpy_s(slot, NAME_SIZE, intents[i].name, NAME_SIZE) != 0) {
            // The slot is zero now; the other names go out all the same.
            ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantInitIntent> failed: call memcpy_s failed.");
        }
    }
    std::memcpy(payload, &count, sizeof(count));
    Request request = Requests::INIT_INTENT;
    request.length = size;
    const int result = Transact(request, payload);
    OSMemTypeFreeMon(payload, 0, 0, __LINE__, ORVI_SOURCE_NAME);
    if (result != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantInitIntent> call SendSynMsgToVision failed.");
        return -1;
    }
    return 0;
}

int AiSrvServiceProxy::AssistantNotifyIntentResult(uint32_t seq, OrviAiAssistantIntentResult& result) {
    ORVI_LOG_STORM("<AiSrvServiceProxy::AssistantNotifyIntentResult> enter");
    ORVI_LOG_INFO("<AiSrvServiceProxy::AssistantNotifyIntentResult> enter");
    AssistantIntentAnswer payload;
    (void)memset_s(&payload, sizeof(payload), 0, sizeof(payload));
    payload.seq = seq;
    payload.flag0 = result.flag0;
    payload.isFinal = result.isFinal;
    payload.isMulti = result.isMulti;
    payload.flag3 = result.flag3;
    if (CopyTts(
            payload.tts, result.tts,
            [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantNotifyIntentResult> failed: tts is not terminated."); },
            [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantNotifyIntentResult> failed: call memcpy_s failed."); }) !=
        0) {
        return -1;
    }
    return Transact(Requests::NOTIFY_INTENT_RESULT, &payload,
                    [] { ORVI_LOG_ERROR("<AssistantNotifyIntentResult> call SendSynMsgToVision failed."); });
}

int AiSrvServiceProxy::AssistantRequestTts(uint32_t seq, OrviAiAssistantSpeechText& speech) {
    ORVI_LOG_STORM("<AiSrvServiceProxy::AssistantRequestTts> enter");
    AssistantTtsRequest payload;
    (void)memset_s(&payload, sizeof(payload), 0, sizeof(payload));
    payload.seq = seq;
    payload.param = speech.param;
    if (CopyTts(
            payload.tts, speech.tts,
            [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantRequestTts> failed: tts is not terminated."); },
            [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantRequestTts> failed: call memcpy_s failed."); }) != 0) {
        return -1;
    }
    return Transact(Requests::REQUEST_TTS, &payload,
                    [] { ORVI_LOG_ERROR("<AssistantRequestTts> call SendSynMsgToVision failed."); });
}

int AiSrvServiceProxy::AssistantDisplayCard(uint32_t seq, OrviAiAssistantCard& card) {
    ORVI_LOG_STORM("<AiSrvServiceProxy::AssistantDisplayCard> enter");
    AssistantCardRequest payload;
    payload.seq = seq;
    if (memcpy_s(&payload.card, sizeof(payload.card), &card, sizeof(card)) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::AssistantDisplayCard> failed: call memcpy_s failed.");
        return -1;
    }
    return Transact(Requests::DISPLAY_CARD, &payload,
                    [] { ORVI_LOG_ERROR("<AssistantDisplayCard> call SendSynMsgToVision failed."); });
}

int AiSrvServiceProxy::AssistantChooseItem(uint32_t seq, uint32_t itemId) {
    ORVI_LOG_STORM("<AiSrvServiceProxy::AssistantChooseItem> enter");
    AssistantChoice payload;
    (void)memset_s(&payload, sizeof(payload), 0, sizeof(payload));
    payload.seq = seq;
    payload.itemId = itemId;
    return Transact(Requests::CHOOSE_ITEM, &payload,
                    [] { ORVI_LOG_ERROR("<AssistantChooseItem> call SendSynMsgToVision failed."); });
}

}  // namespace OrviAiService
