// The voice assistant: three tasks, most messages one-way.
#include "features/assistant.h"

#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

#include "dialogue.h"
#include "hot_words.h"
#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

constexpr uint32_t INTENT_NAME_SIZE = 256;
constexpr uint32_t MOST_INTENTS = 64;
constexpr uint32_t LONGEST_HOTWORD_KEY = 1U << 20;
constexpr char HOTWORD_PREFIX[] = "param_hot_word_";
constexpr uint32_t TTS_SIZE = 1024;
constexpr uint32_t CARD_SIZE = sizeof(OrviSimAssistantCard);

HotWords& TheHotWords() {
    static HotWords& hotWords = *new HotWords;  // never destroyed: messages may come until the process ends
    return hotWords;
}

Dialogue& TheDialogue(Service& service) {
    static Dialogue& dialogue = *new Dialogue(service, TheHotWords());
    return dialogue;
}

// Belongs to the assistant task's thread.
Payload g_pageInfo(sizeof(OrviSimPageInfo));

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

// --- The assistant's task ---

void InitIntents(Service& service, const Request& request, Answer& answer) {
    const uint32_t count = request.IntegerAt(0);
    if (count > MOST_INTENTS || request.length != 4 + INTENT_NAME_SIZE * count) {
        answer.Refuse(std::to_string(count) + " intents do not fill " + std::to_string(request.length) + " bytes");
        return;
    }
    std::vector<std::string> names(count);
    for (uint32_t i = 0; i < count; ++i) {
        if (!request.TextAt(4 + INTENT_NAME_SIZE * i, INTENT_NAME_SIZE, names[i]) || names[i].empty()) {
            answer.Refuse("the name of intent " + std::to_string(i) + " is empty or has no end");
            return;
        }
    }
    TheDialogue(service).SetIntents(std::move(names));
}

void IntentResult(Service& service, const Request& request, Answer&) {
    const Payload flags = request.BytesAt(5, 2);
    TheDialogue(service).AnswerIntent(request.IntegerAt(0), flags[0] != 0, flags[1] != 0, PaddedText(request, 24));
}

void DisplayCard(Service& service, const Request& request, Answer& answer) {
    const uint32_t seq = request.IntegerAt(0);
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
        TheDialogue(service).ShowCard(seq, card);
    } else {
        TheDialogue(service).Refuse(seq, fault);
        answer.Refuse(fault);
    }
}

void ChooseItem(Service& service, const Request& request, Answer&) {
    TheDialogue(service).Choose(request.IntegerAt(0), request.IntegerAt(268));
}

void Sleep(Service& service, const Request&, Answer&) {
    TheDialogue(service).Sleep();
}

void WakeUp(Service& service, const Request& request, Answer& answer) {
    const uint32_t mode = request.IntegerAt(0);
    if (!TheDialogue(service).WakeUp(mode)) {
        const std::string reason = "there is no running mode " + std::to_string(static_cast<int32_t>(mode));
        TheDialogue(service).Refuse(0, reason);
        answer.Refuse(reason);
    }
}

void SetPageInfo(Service&, const Request& request, Answer&) {
    g_pageInfo = request.BytesAt(0, sizeof(OrviSimPageInfo));
}

void GetPageInfo(Service&, const Request&, Answer& answer) {
    answer.Data(g_pageInfo);
}

void GetStatus(Service& service, const Request&, Answer& answer) {
    Payload status;
    AppendInteger(status, TheDialogue(service).Status());
    answer.Data(std::move(status));
}

// --- The state machine's task ---

void RequestTts(Service& service, const Request& request, Answer&) {
    TheDialogue(service).Speak(request.IntegerAt(0), PaddedText(request, 8));
}

// --- The hot-word task ---

// Takes the prefix from the text; false, with a refusal, when it is no hot-word text.
bool ReadHotWordText(const Request& request, std::string& text, Answer& answer) {
    if (!request.TextAt(0, request.length, text) || text.size() + 1 != request.length) {
        answer.Refuse("the hot-word key does not end with the payload");
        return false;
    }
    if (text.rfind(HOTWORD_PREFIX, 0) != 0) {
        answer.Refuse("the hot-word key does not begin with param_hot_word_");
        return false;
    }
    text.erase(0, sizeof(HOTWORD_PREFIX) - 1);
    return true;
}

void RegisterHotWords(Service&, const Request& request, Answer& answer) {
    std::string appId;
    if (!ReadHotWordText(request, appId, answer)) {
        return;
    }
    if (const std::string reason = TheHotWords().Register(appId); !reason.empty()) {
        answer.Refuse(reason);
    }
}

void ChangeHotWords(const Request& request, HotWords::Change change, Answer& answer) {
    std::string text;
    if (!ReadHotWordText(request, text, answer)) {
        return;
    }
    const size_t colon = text.find(':');
    if (colon == std::string::npos) {
        answer.Refuse("there is no ':' between the hot-word key and the words");
        return;
    }
    const std::string reason = TheHotWords().Update(text.substr(0, colon), change, text.substr(colon + 1));
    if (!reason.empty()) {
        answer.Refuse(reason);
    }
}

void ReplaceHotWords(Service&, const Request& request, Answer& answer) {
    ChangeHotWords(request, HotWords::Change::Replace, answer);
}

void AddHotWords(Service&, const Request& request, Answer& answer) {
    ChangeHotWords(request, HotWords::Change::Add, answer);
}

void RemoveHotWords(Service&, const Request& request, Answer& answer) {
    ChangeHotWords(request, HotWords::Change::Remove, answer);
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600056, "assistant init intent", TASK_ASSISTANT, 4, 4 + INTENT_NAME_SIZE* MOST_INTENTS, InitIntents},
    {0x600057, "assistant request tts", TASK_STATE_MACHINE, 1032, 1032, RequestTts},
    {0x600058, "assistant intent result", TASK_ASSISTANT, 1052, 1052, IntentResult},
    {0x600059, "assistant display card", TASK_ASSISTANT, 4 + CARD_SIZE, 4 + CARD_SIZE, DisplayCard},
    {0x60005A, "assistant choose item", TASK_ASSISTANT, 272, 272, ChooseItem},
    {0x60005B, "assistant sleep", TASK_ASSISTANT, 0, 0, Sleep},
    {0x60005C, "assistant wake up", TASK_ASSISTANT, 4, 4, WakeUp},
    {0x60005D, "assistant set page info", TASK_ASSISTANT, sizeof(OrviSimPageInfo), sizeof(OrviSimPageInfo),
     SetPageInfo},
    {0x60005E, "assistant get page info", TASK_ASSISTANT, 0, 0, GetPageInfo},
    {0x60005F, "assistant get status", TASK_ASSISTANT, 0, 0, GetStatus},
    {0x600060, "assistant init key word", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, RegisterHotWords},
    {0x600061, "assistant update key word", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, ReplaceHotWords},
    {0x600062, "assistant update key word, type 1", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, AddHotWords},
    {0x600063, "assistant update key word, type 2", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, RemoveHotWords},
};

}  // namespace

RequestTable AssistantRequests() {
    return {ROWS, std::size(ROWS)};
}

bool SayToAssistant(Service& service, const std::string& text, std::string& outcome) {
    if (text.size() > Dialogue::LONGEST_TEXT) {
        outcome = "say takes at most " + std::to_string(Dialogue::LONGEST_TEXT) + " bytes";
        return false;
    }
    outcome = TheDialogue(service).Hear(text);
    return true;
}

void SetAssistantMicrophone(Service& service, bool on) {
    TheDialogue(service).SetMicrophone(on);
}

void SetAssistantPatience(Service& service, std::chrono::milliseconds patience) {
    TheDialogue(service).SetPatience(patience);
}

void SetAssistantSpeech(Service& service, std::chrono::milliseconds timePerCharacter) {
    TheDialogue(service).SetTimePerCharacter(timePerCharacter);
}

std::string DescribeAssistant(Service& service) {
    const std::string words = TheHotWords().Describe();
    return TheDialogue(service).Describe() + (words.empty() ? "" : " hotwords " + words);
}

}  // namespace orvi_sim
