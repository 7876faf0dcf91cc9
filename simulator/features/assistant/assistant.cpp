#include "features/assistant/assistant.h"

#include <cstring>
#include <iterator>
#include <utility>

namespace orvi_sim {
namespace {

constexpr uint32_t INTENT_NAME_SIZE = 256;
constexpr uint32_t MOST_INTENTS = 64;
constexpr uint32_t LONGEST_INTENTS = 4 + INTENT_NAME_SIZE * MOST_INTENTS;
constexpr uint32_t LONGEST_HOTWORD_KEY = 1U << 20;
constexpr char HOTWORD_PREFIX[] = "param_hot_word_";
constexpr uint32_t TTS_SIZE = 1024;
constexpr uint32_t CARD_SIZE = sizeof(OrviSimAssistantCard);
constexpr uint32_t PAGE_SIZE = sizeof(OrviSimPageInfo);

// These begin with the number of a turn.
constexpr uint32_t REQUEST_TTS = 0x600057;
constexpr uint32_t CHOOSE_ITEM = 0x60005A;

// A text that fills its field when it has no NUL.
std::string PaddedText(const Request& request, uint32_t offset) {
    const Payload field = request.BytesAt(offset, TTS_SIZE);
    const auto* const text = reinterpret_cast<const char*>(field.data());
    return std::string(text, strnlen(text, field.size()));
}

template <size_t N>
bool HasEnd(const char (&field)[N]) {
    return strnlen(field, N) < N;
}

// Takes the prefix from the text; false, with a refusal, when it is no hot-word text.
bool ReadHotWordText(const Request& request, std::string& text, Answer& answer) {
    if (!request.TextAt(0, request.length, text) || text.size() + 1 != request.length) {
        answer.Refuse(ORVI_SIM_MALFORMED, "the hot-word key does not end with the payload");
        return false;
    }
    if (text.rfind(HOTWORD_PREFIX, 0) != 0) {
        answer.Refuse(ORVI_SIM_MALFORMED, "the hot-word key does not begin with param_hot_word_");
        return false;
    }
    text.erase(0, sizeof(HOTWORD_PREFIX) - 1);
    return true;
}

}  // namespace

RequestTable Assistant::Requests() const {
    using A = Assistant;
    constexpr Told NOBODY = Told::Nobody;
    static const RequestRow ROWS[] = {
        // id, name, task, shortest, longest, reply, address, told, handler
        {0x600056, "assistant init intent", TASK_ASSISTANT, 4, LONGEST_INTENTS, ONE_WAY, false, NOBODY,
         HandledBy(&A::InitIntents)},
        {REQUEST_TTS, "assistant request tts", TASK_STATE_MACHINE, 1032, 1032, ONE_WAY, false, NOBODY,
         HandledBy(&A::RequestTts)},
        {0x600058, "assistant intent result", TASK_ASSISTANT, 1052, 1052, ONE_WAY, false, NOBODY,
         HandledBy(&A::IntentResult)},
        {0x600059, "assistant display card", TASK_ASSISTANT, 4 + CARD_SIZE, 4 + CARD_SIZE, ONE_WAY, false, NOBODY,
         HandledBy(&A::DisplayCard)},
        {CHOOSE_ITEM, "assistant choose item", TASK_ASSISTANT, 272, 272, ONE_WAY, false, NOBODY,
         HandledBy(&A::ChooseItem)},
        {0x60005B, "assistant sleep", TASK_ASSISTANT, 0, 0, ONE_WAY, false, NOBODY, HandledBy(&A::Sleep)},
        {0x60005C, "assistant wake up", TASK_ASSISTANT, 4, 4, ONE_WAY, false, NOBODY, HandledBy(&A::WakeUp)},
        {0x60005D, "assistant set page info", TASK_ASSISTANT, PAGE_SIZE, PAGE_SIZE, ONE_WAY, false, NOBODY,
         HandledBy(&A::SetPageInfo)},
        {0x60005E, "assistant get page info", TASK_ASSISTANT, 0, 0, PAGE_SIZE, false, NOBODY,
         HandledBy(&A::GetPageInfo)},
        {0x60005F, "assistant get status", TASK_ASSISTANT, 0, 0, 4, false, NOBODY, HandledBy(&A::GetStatus)},
        {0x600060, "assistant init key word", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, ONE_WAY, false, NOBODY,
         HandledBy(&A::RegisterHotWords)},
        {0x600061, "assistant update key word", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, ONE_WAY, false, NOBODY,
         HandledBy(&A::ReplaceHotWords)},
        {0x600062, "assistant update key word, type 1", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, ONE_WAY, false, NOBODY,
         HandledBy(&A::AddHotWords)},
        {0x600063, "assistant update key word, type 2", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, ONE_WAY, false, NOBODY,
         HandledBy(&A::RemoveHotWords)},
    };
    return {ROWS, std::size(ROWS)};
}

std::vector<Direction> Assistant::Directions() {
    return {
        {"say", [this](const Arguments& a) { return Say(a[0].text); }},
        {"assistant", [this](const Arguments&) { return Done(Describe()); }},
        {"assistant chooses",
         [this](const Arguments& a) {
             const uint32_t item = a[0].number;
             return dialogue_.ChooseAloud(item) ? Done()
                                                : Refused("there is no item " + std::to_string(item) + " to choose");
         }},
        {"assistant fails",
         [this](const Arguments& a) {
             if (a[0].text.size() >= sizeof(OrviSimAssistantError::text)) {
                 return Refused("the text is too long");
             }
             dialogue_.Fail(a[0].isGiven ? a[0].text : "the assistant has failed");
             return Done();
         }},
        {"mic",
         [this](const Arguments& a) {
             dialogue_.SetMicrophone(a[0].text == "on");
             return Done();
         }},
        {"patience",
         [this](const Arguments& a) {
             dialogue_.SetPatience(a[0].time);
             return Done();
         }},
        {"speech",
         [this](const Arguments& a) {
             dialogue_.SetTimePerCharacter(a[0].time);
             return Done();
         }},
    };
}

void Assistant::OnGone(const ApplicationId& application) {
    hotWords_.Forget(application);
    dialogue_.Forget(application);
}

void Assistant::OnRefused(const Request& request, const std::string& reason) {
    const bool hasTurn = request.id >= REQUEST_TTS && request.id <= CHOOSE_ITEM && request.length >= 4;
    dialogue_.Refuse(request.sender, hasTurn ? request.IntegerAt(0) : 0, reason);
}

std::string Assistant::Describe() const {
    const std::string words = hotWords_.Describe();
    return dialogue_.Describe() + (words.empty() ? "" : " hotwords " + words);
}

Outcome Assistant::Say(const std::string& text) {
    if (text.size() > Dialogue::LONGEST_TEXT) {
        return Refused("say takes at most " + std::to_string(Dialogue::LONGEST_TEXT) + " bytes");
    }
    return Done(dialogue_.Hear(text));
}

// --- The assistant's task ---

void Assistant::InitIntents(const Request& request, Answer& answer) {
    const uint32_t count = request.IntegerAt(0);
    if (count > MOST_INTENTS || request.length != 4 + INTENT_NAME_SIZE * count) {
        answer.Refuse(ORVI_SIM_MALFORMED,
                      std::to_string(count) + " intents do not fill " + std::to_string(request.length) + " bytes");
        return;
    }
    std::vector<std::string> names(count);
    for (uint32_t i = 0; i < count; ++i) {
        if (!request.TextAt(4 + INTENT_NAME_SIZE * i, INTENT_NAME_SIZE, names[i]) || names[i].empty()) {
            answer.Refuse(ORVI_SIM_MALFORMED, "the name of intent " + std::to_string(i) + " is empty or has no end");
            return;
        }
    }
    dialogue_.SetIntents(request.sender, names);
}

void Assistant::IntentResult(const Request& request, Answer&) {
    const Payload flags = request.BytesAt(5, 2);
    dialogue_.AnswerIntent(request.sender, request.IntegerAt(0), flags[0] != 0, flags[1] != 0, PaddedText(request, 24));
}

void Assistant::DisplayCard(const Request& request, Answer& answer) {
    const Payload bytes = request.BytesAt(4, CARD_SIZE);
    OrviSimAssistantCard card;
    std::memcpy(&card, bytes.data(), sizeof(card));
    std::string fault;
    if (card.itemCount > ORVI_SIM_ASSISTANT_MOST_ITEMS) {
        fault = std::to_string(card.itemCount) + " items on a card";
    } else if (!HasEnd(card.title) || !HasEnd(card.body)) {
        fault = "a text of the card has no end";
    }
    for (uint32_t i = 0; fault.empty() && i < card.itemCount; ++i) {
        if (card.items[i].id == 0 || !HasEnd(card.items[i].text)) {
            fault = "item " + std::to_string(i) + " of the card has no id, or its text no end";
        }
    }
    if (fault.empty()) {
        dialogue_.ShowCard(request.sender, request.IntegerAt(0), card);
    } else {
        answer.Refuse(ORVI_SIM_MALFORMED, fault);
    }
}

void Assistant::ChooseItem(const Request& request, Answer&) {
    dialogue_.Choose(request.sender, request.IntegerAt(0), request.IntegerAt(268));
}

void Assistant::Sleep(const Request&, Answer&) {
    dialogue_.Sleep();
}

void Assistant::WakeUp(const Request& request, Answer& answer) {
    const uint32_t mode = request.IntegerAt(0);
    if (!dialogue_.WakeUp(request.sender, mode)) {
        answer.Refuse(ORVI_SIM_MALFORMED, "there is no running mode " + std::to_string(static_cast<int32_t>(mode)));
    }
}

void Assistant::SetPageInfo(const Request& request, Answer&) {
    pageInfo_ = request.BytesAt(0, PAGE_SIZE);
}

void Assistant::GetPageInfo(const Request&, Answer& answer) {
    answer.Data(pageInfo_);
}

void Assistant::GetStatus(const Request&, Answer& answer) {
    answer.Data(IntegerPayload(dialogue_.Status()));
}

// --- The state machine's task ---

void Assistant::RequestTts(const Request& request, Answer&) {
    dialogue_.Speak(request.sender, request.IntegerAt(0), PaddedText(request, 8));
}

// --- The hot-word task ---

void Assistant::RegisterHotWords(const Request& request, Answer& answer) {
    std::string appId;
    if (!ReadHotWordText(request, appId, answer)) {
        return;
    }
    if (const std::string reason = hotWords_.Register(request.sender, appId); !reason.empty()) {
        answer.Refuse(ORVI_SIM_MALFORMED, reason);
    }
}

void Assistant::ChangeHotWords(const Request& request, HotWords::Change change, Answer& answer) {
    std::string text;
    if (!ReadHotWordText(request, text, answer)) {
        return;
    }
    const size_t colon = text.find(':');
    if (colon == std::string::npos) {
        answer.Refuse(ORVI_SIM_MALFORMED, "there is no ':' between the hot-word key and the words");
        return;
    }
    const std::string reason = hotWords_.Update(request.sender, text.substr(0, colon), change, text.substr(colon + 1));
    if (!reason.empty()) {
        answer.Refuse(ORVI_SIM_MALFORMED, reason);
    }
}

void Assistant::ReplaceHotWords(const Request& request, Answer& answer) {
    ChangeHotWords(request, HotWords::Change::Replace, answer);
}

void Assistant::AddHotWords(const Request& request, Answer& answer) {
    ChangeHotWords(request, HotWords::Change::Add, answer);
}

void Assistant::RemoveHotWords(const Request& request, Answer& answer) {
    ChangeHotWords(request, HotWords::Change::Remove, answer);
}

}  // namespace orvi_sim
