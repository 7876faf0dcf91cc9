// The voice assistant.
#include <algorithm>

#include "calls.h"
#include "library_log.h"
#include "wire_records.h"

namespace orvi_ai {
namespace {

Outcome UpdateHotWords(Session& session, const Call& call, OrviAiHotwordUpdateType type) {
    std::string words;
    for (const std::string& word : call.words) {
        words += (words.empty() ? "" : ",") + word;
    }
    if (!session.IsScript() && OrviAiAssistantInitKeyWord(session.App()) != 0) {
        return Failed("the hot-word key could not be registered");
    }
    return Returned(OrviAiAssistantUpdateKeyWord(session.App(), type, words));
}

// A text that may fill its field on the wire, as the application's records hold it.
template <size_t N>
void CopyText(const char (&from)[ASSISTANT_TTS_SIZE], char (&to)[N]) {
    static_assert(N > ASSISTANT_TTS_SIZE);
    std::memcpy(to, from, sizeof(from));
}

}  // namespace

Outcome HotwordRegister(Session& session, const Call&) {
    return Returned(OrviAiAssistantInitKeyWord(session.App()));
}

Outcome HotwordReplace(Session& session, const Call& call) {
    return UpdateHotWords(session, call, ORVI_AI_HOTWORD_UPDATE);
}

Outcome HotwordAdd(Session& session, const Call& call) {
    return UpdateHotWords(session, call, ORVI_AI_HOTWORD_UPDATE_TYPE1);
}

Outcome HotwordRemove(Session& session, const Call& call) {
    return UpdateHotWords(session, call, ORVI_AI_HOTWORD_UPDATE_TYPE2);
}

Outcome AssistantIntents(Session&, const Call& call) {
    const auto list = As<AssistantIntentList>(call.payload);
    std::vector<OrviAiAssistantIntentName> intents(ORVI_AI_ASSISTANT_INTENTS_MAX);
    for (uint32_t i = 0; i < list.count; ++i) {
        std::memcpy(intents[i].name, list.names[i], sizeof(intents[i].name));
    }
    return Returned(OrviAiAssistantInitIntent(intents.data(), static_cast<int>(list.count)));
}

Outcome AssistantSpeak(Session&, const Call& call) {
    const auto request = As<AssistantTtsRequest>(call.payload);
    OrviAiAssistantSpeechText speech{};
    speech.param = request.param;
    CopyText(request.tts, speech.tts);
    return Returned(OrviAiAssistantRequestTts(request.seq, speech));
}

Outcome AssistantAnswer(Session&, const Call& call) {
    const auto request = As<AssistantIntentAnswer>(call.payload);
    OrviAiAssistantIntentResult result{};
    result.flag0 = request.flag0;
    result.isFinal = request.isFinal;
    result.isMulti = request.isMulti;
    result.flag3 = request.flag3;
    CopyText(request.tts, result.tts);
    return Returned(OrviAiAssistantNotifyIntentResult(request.seq, result));
}

Outcome AssistantCard(Session&, const Call& call) {
    const auto request = As<AssistantCardRequest>(call.payload);
    return Returned(OrviAiAssistantDisplayCard(request.seq, request.card));
}

Outcome AssistantChoose(Session&, const Call& call) {
    const auto choice = As<AssistantChoice>(call.payload);
    return Returned(OrviAiAssistantChooseItem(choice.seq, choice.itemId));
}

Outcome AssistantWake(Session&, const Call& call) {
    return Returned(OrviAiAssistantWakeUp(static_cast<OrviAiAssistantRunningMode>(As<int32_t>(call.payload))));
}

Outcome AssistantStatus(Session& session, const Call& call) {
    const auto status = static_cast<int32_t>(OrviAiAssistantGetStatus());
    Outcome outcome;
    if (status == ORVI_AI_ASSISTANT_STATUS_NONE) {  // which is also how a failed request ends
        return Failed("no status");
    }
    ShowReply(session, MessageOf(*call.command)->reply, &status, sizeof(status), outcome);
    return outcome;
}

Outcome AssistantPage(Session& session, const Call& call) {
    OrviAiAssistantPageInfo page{};
    Outcome outcome;
    outcome.result = OrviAiAssistantGetPageInfo(&page);
    if (outcome.result == 0) {
        ShowReply(session, MessageOf(*call.command)->reply, &page, sizeof(page), outcome);
    }
    return outcome;
}

Outcome AssistantSetPage(Session&, const Call& call) {
    return Returned(OrviAiAssistantSetPageInfo(As<OrviAiAssistantPageInfo>(call.payload)));
}

Outcome AssistantAbility(Session&, const Call&) {
    OrviAiAssistantAbility ability{};
    Outcome outcome;
    outcome.result = OrviAiAssistantGetAbility(&ability);
    ShowNumbers({{"value1", ability.value1}, {"value2", ability.value2}}, outcome);
    return outcome;
}

}  // namespace orvi_ai
