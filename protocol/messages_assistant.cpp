// The voice assistant: hot words, intents, speech, cards, and what it is doing.
#include "common_records.h"
#include "message.h"
#include "message_ids.h"

namespace orvi_protocol {
namespace {

using namespace OrviAiService;

// --- Requests ---

constexpr Field HOT_WORD_FIELDS[] = {
    Text("key", AtStart(0, false), "param_hot_word_ and the application's id; for an update ':' and the words as well")
        .Ends(Extent::Rest)
        .Private(),
};
constexpr Record HOT_WORD = {"hot words", 1, UNBOUNDED, HOT_WORD_FIELDS};

constexpr Field INTENTS_FIELDS[] = {
    Number("count", ORVI_PLACE(AssistantIntentList, count), "of the names").In(0, ORVI_AI_ASSISTANT_INTENTS_MAX),
    List(Text("names", ORVI_PLACE(AssistantIntentList, names), "of the intents that the application handles"),
         ORVI_PLACE(AssistantIntentList, names))
        .CountedBy("count")
        .Ends(Extent::Cut),
};
constexpr Record INTENTS = {"intents", offsetof(AssistantIntentList, names), sizeof(AssistantIntentList),
                            INTENTS_FIELDS};

constexpr Field SPEECH_FIELDS[] = {
    Number("seq", ORVI_PLACE(AssistantTtsRequest, seq), "the turn"),
    Number("param", ORVI_PLACE(AssistantTtsRequest, param), "agreed with the service"),
    Text("text", ORVI_PLACE(AssistantTtsRequest, tts), "to be spoken").MayFill().Private(),
};
constexpr Record SPEECH = Whole<AssistantTtsRequest>("speech", SPEECH_FIELDS);

constexpr Field ANSWER_FIELDS[] = {
    Number("seq", ORVI_PLACE(AssistantIntentAnswer, seq), "the turn"),
    Number("flag0", ORVI_PLACE(AssistantIntentAnswer, flag0), "agreed with the service"),
    Flag("final", ORVI_PLACE(AssistantIntentAnswer, isFinal), "no further answer follows"),
    Flag("multi", ORVI_PLACE(AssistantIntentAnswer, isMulti), "the assistant listens once more"),
    Reserved("zero7", ORVI_PLACE(AssistantIntentAnswer, zero7)),
    Number("flag3", ORVI_PLACE(AssistantIntentAnswer, flag3), "agreed with the service"),
    Reserved("zero13", ORVI_PLACE(AssistantIntentAnswer, zero13)),
    Text("text", ORVI_PLACE(AssistantIntentAnswer, tts), "to be spoken").MayFill().Private(),
    Reserved("zero1048", ORVI_PLACE(AssistantIntentAnswer, zero1048)),
};
constexpr Record ANSWER = Whole<AssistantIntentAnswer>("answer to an intent", ANSWER_FIELDS);

constexpr Field ITEM_FIELDS[] = {
    Number("id", ORVI_PLACE(OrviSimAssistantItem, id), "not 0").In(1, UINT32_MAX).Initially("1"),
    Text("text", ORVI_PLACE(OrviSimAssistantItem, text), "of the item").Private(),
};
constexpr Record ITEM = Whole<OrviSimAssistantItem>("item", ITEM_FIELDS);

constexpr Field CARD_FIELDS[] = {
    Number("count", ORVI_PLACE(OrviSimAssistantCard, itemCount), "of the items").In(0, ORVI_SIM_ASSISTANT_MOST_ITEMS),
    Text("title", ORVI_PLACE(OrviSimAssistantCard, title), "of the card").Private(),
    Text("body", ORVI_PLACE(OrviSimAssistantCard, body), "of the card").Private(),
    List(Sub("items", ORVI_PLACE(OrviSimAssistantCard, items), ITEM, "to choose from"),
         ORVI_PLACE(OrviSimAssistantCard, items))
        .CountedBy("count"),
    Reserved("reserved", ORVI_PLACE(OrviSimAssistantCard, reserved)),
};
constexpr Record CARD = Whole<OrviSimAssistantCard>("card", CARD_FIELDS);
static_assert(sizeof(OrviSimAssistantCard) == sizeof(OrviAiAssistantCard));

constexpr Field CARD_REQUEST_FIELDS[] = {
    Number("seq", ORVI_PLACE(AssistantCardRequest, seq), "the turn"),
    Inline(ORVI_PLACE(AssistantCardRequest, card), CARD),
};
constexpr Record CARD_REQUEST = Whole<AssistantCardRequest>("card to be shown", CARD_REQUEST_FIELDS);

constexpr Field CHOICE_FIELDS[] = {
    Number("seq", ORVI_PLACE(AssistantChoice, seq), "the turn"),
    Reserved("zero4", ORVI_PLACE(AssistantChoice, zero4)),
    Number("item", ORVI_PLACE(AssistantChoice, itemId), "what was chosen"),
};
constexpr Record CHOICE = Whole<AssistantChoice>("choice", CHOICE_FIELDS);

constexpr Word MODE_WORDS[] = {
    {ORVI_SIM_ASSISTANT_MODE_CONVERSE, "converse"},
    {ORVI_SIM_ASSISTANT_MODE_ANNOUNCE, "announce"},
};
constexpr Field MODE_FIELDS[] = {
    Number("mode", AtStart(4, true), "in which it wakes up").Named(MODE_WORDS),
};
constexpr Record MODE = {"running mode", sizeof(OrviAiAssistantRunningMode), sizeof(OrviAiAssistantRunningMode),
                         MODE_FIELDS};

constexpr Field PAGE_FIELDS[] = {
    Number("page", ORVI_PLACE(OrviSimPageInfo, page), "the number of the page"),
    Text("name", ORVI_PLACE(OrviSimPageInfo, name), "of the page"),
};
constexpr Record PAGE = Whole<OrviSimPageInfo>("page info", PAGE_FIELDS);
static_assert(sizeof(OrviSimPageInfo) == sizeof(OrviAiAssistantPageInfo));

constexpr Word STATUS_WORDS[] = {
    {ORVI_AI_ASSISTANT_STATUS_NONE, "none"},   {ORVI_SIM_ASSISTANT_ASLEEP, "asleep"},
    {ORVI_SIM_ASSISTANT_AWAKE, "awake"},       {ORVI_SIM_ASSISTANT_LISTENING, "listening"},
    {ORVI_SIM_ASSISTANT_SPEAKING, "speaking"},
};
constexpr Field STATUS_FIELDS[] = {
    Number("status", AtStart(4, true), "what the assistant is doing").Named(STATUS_WORDS),
};
constexpr Record STATUS = {"assistant status", sizeof(OrviAiAssistantStatus), sizeof(OrviAiAssistantStatus),
                           STATUS_FIELDS};

// --- Events ---

constexpr Word CAUSE_WORDS[] = {
    {ORVI_SIM_ASSISTANT_ON_REQUEST, "request"}, {ORVI_SIM_ASSISTANT_HOT_WORD, "hot-word"},
    {ORVI_SIM_ASSISTANT_HEARD, "heard"},        {ORVI_SIM_ASSISTANT_SPEAKS, "speaks"},
    {ORVI_SIM_ASSISTANT_MUTED, "muted"},        {ORVI_SIM_ASSISTANT_OUT_OF_TIME, "out-of-time"},
    {ORVI_SIM_ASSISTANT_DONE, "done"},          {ORVI_SIM_ASSISTANT_FALLS_ASLEEP, "falls-asleep"},
    {ORVI_SIM_ASSISTANT_TURN, "turn"},
};

constexpr Field WAKE_UP_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimAssistantWakeUp, length)),
    Number("cause", ORVI_PLACE(OrviSimAssistantWakeUp, cause), "why").Named(CAUSE_WORDS).Initially("request"),
    Number("mode", ORVI_PLACE(OrviSimAssistantWakeUp, mode), "the running mode").Named(MODE_WORDS),
    Reserved("reserved", ORVI_PLACE(OrviSimAssistantWakeUp, reserved)),
    Text("app", ORVI_PLACE(OrviSimAssistantWakeUp, appId), "whose hot word it was; empty for the assistant's own"),
    Text("word", ORVI_PLACE(OrviSimAssistantWakeUp, word), "the hot word").Private(),
};
constexpr Record WAKE_UP = Whole<OrviSimAssistantWakeUp>("wake-up", WAKE_UP_FIELDS);

constexpr Field NOTICE_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimAssistantNotice, length)),
    Number("cause", ORVI_PLACE(OrviSimAssistantNotice, cause), "why").Named(CAUSE_WORDS).Initially("request"),
    Number("seq", ORVI_PLACE(OrviSimAssistantNotice, seq), "the turn; 0 when there is none"),
    Number("value", ORVI_PLACE(OrviSimAssistantNotice, value), "agreed with the service"),
};
constexpr Record NOTICE = Whole<OrviSimAssistantNotice>("notice", NOTICE_FIELDS);

constexpr Field MIC_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimAssistantNotice, length)),
    Number("cause", ORVI_PLACE(OrviSimAssistantNotice, cause), "why").Named(CAUSE_WORDS).Initially("request"),
    Number("seq", ORVI_PLACE(OrviSimAssistantNotice, seq), "the turn; 0 when there is none"),
    Flag("on", ORVI_PLACE(OrviSimAssistantNotice, value), "the microphone is on").Initially("1"),
};
constexpr Record MIC = Whole<OrviSimAssistantNotice>("microphone", MIC_FIELDS);

constexpr Word PHASE_WORDS[] = {
    {ORVI_SIM_ASSISTANT_TEXT_PARTIAL, "partial"}, {ORVI_SIM_ASSISTANT_TEXT_FINAL, "final"},
    {ORVI_SIM_ASSISTANT_TEXT_BEGINS, "begins"},   {ORVI_SIM_ASSISTANT_TEXT_ENDED, "ended"},
    {ORVI_SIM_ASSISTANT_TEXT_CUT, "cut"},
};
constexpr Field TEXT_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimAssistantText, length)),
    Number("seq", ORVI_PLACE(OrviSimAssistantText, seq), "the turn"),
    Number("phase", ORVI_PLACE(OrviSimAssistantText, phase), "how far it is").Named(PHASE_WORDS).Initially("final"),
    Number("textLength", ORVI_PLACE(OrviSimAssistantText, textLength), "of the text").Unit("bytes"),
    Text("text", ORVI_PLACE(OrviSimAssistantText, text), "what is said").CountedBy("textLength").Private(),
};
constexpr Record TEXT = Whole<OrviSimAssistantText>("assistant text", TEXT_FIELDS);

constexpr Field INTENT_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimAssistantIntent, length)),
    Number("seq", ORVI_PLACE(OrviSimAssistantIntent, seq), "the turn"),
    Number("item", ORVI_PLACE(OrviSimAssistantIntent, itemId), "what was chosen; 0 when there was no choice"),
    Reserved("reserved", ORVI_PLACE(OrviSimAssistantIntent, reserved)),
    Text("name", ORVI_PLACE(OrviSimAssistantIntent, name), "of the intent; empty for a card that belongs to none"),
    Text("text", ORVI_PLACE(OrviSimAssistantIntent, text), "what was said, or the text of the item").Private(),
};
constexpr Record INTENT = Whole<OrviSimAssistantIntent>("intent", INTENT_FIELDS);

constexpr Field CHOOSE_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimAssistantChoice, length)),
    Number("seq", ORVI_PLACE(OrviSimAssistantChoice, seq), "the turn"),
    Number("count", ORVI_PLACE(OrviSimAssistantChoice, itemCount), "of the items").In(0, ORVI_SIM_ASSISTANT_MOST_ITEMS),
    Reserved("reserved", ORVI_PLACE(OrviSimAssistantChoice, reserved)),
    List(Sub("items", ORVI_PLACE(OrviSimAssistantChoice, items), ITEM, "to choose from"),
         ORVI_PLACE(OrviSimAssistantChoice, items))
        .CountedBy("count")
        .Ends(Extent::Cut),
};
constexpr Record CHOOSE = {"choose one", ORVI_SIM_ASSISTANT_CHOICE_HEAD, sizeof(OrviSimAssistantChoice), CHOOSE_FIELDS};

constexpr Field SHOWN_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimAssistantCardShown, length)),
    Number("seq", ORVI_PLACE(OrviSimAssistantCardShown, seq), "the turn"),
    Inline(ORVI_PLACE(OrviSimAssistantCardShown, card), CARD),
};
constexpr Record SHOWN = Whole<OrviSimAssistantCardShown>("card shown", SHOWN_FIELDS);

constexpr Word ERROR_WORDS[] = {
    {ORVI_SIM_ASSISTANT_NOT_UNDERSTOOD, "not-understood"}, {ORVI_SIM_ASSISTANT_NO_SUCH_TURN, "no-such-turn"},
    {ORVI_SIM_ASSISTANT_NO_ANSWER, "no-answer"},           {ORVI_SIM_ASSISTANT_TOO_MUCH, "too-much"},
    {ORVI_SIM_ASSISTANT_MALFORMED, "malformed"},
};
constexpr Field ERROR_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimAssistantError, length)),
    Number("code", ORVI_PLACE(OrviSimAssistantError, code), "what went wrong")
        .Named(ERROR_WORDS)
        .Initially("not-understood"),
    Number("seq", ORVI_PLACE(OrviSimAssistantError, seq), "the turn"),
    Reserved("reserved", ORVI_PLACE(OrviSimAssistantError, reserved)),
    Text("text", ORVI_PLACE(OrviSimAssistantError, text), "the reason in words"),
};
constexpr Record ERROR = Whole<OrviSimAssistantError>("assistant error", ERROR_FIELDS);

constexpr uint32_t AssistantEvent(OrviAiEventId event) {
    // The ids follow the events but for two that cross.
    const auto distance = static_cast<uint32_t>(event - ORVI_AI_EVENT_ASSISTANT_WAKE_UP);
    const uint32_t crossed = event == ORVI_AI_EVENT_ASSISTANT_DISPLAY_CARD ? distance + 1
                             : event == ORVI_AI_EVENT_ASSISTANT_CHOOSE_ONE ? distance - 1
                                                                           : distance;
    return AI_EVT_ASSISTANT_FIRST + crossed;
}

constexpr Message Tells(std::string_view name, OrviAiEventId event, const Record& payload, std::string_view meaning) {
    return Event(name, AssistantEvent(event), Callback::Main, event, &payload, meaning);
}

constexpr Message MESSAGES[] = {
    OneWay("assistant.intents", AI_MSG_ASSISTANT_INIT_INTENT, TASK_ASSISTANT, "OrviAiAssistantInitIntent", &INTENTS,
           "the intents that an application handles"),
    OneWay("assistant.speak", AI_MSG_ASSISTANT_REQUEST_TTS, TASK_STATE_MACHINE, "OrviAiAssistantRequestTts", &SPEECH,
           "a text to be spoken"),
    OneWay("assistant.answer", AI_MSG_ASSISTANT_NOTIFY_INTENT_RESULT, TASK_ASSISTANT,
           "OrviAiAssistantNotifyIntentResult", &ANSWER, "an application answers an intent"),
    OneWay("assistant.card", AI_MSG_ASSISTANT_DISPLAY_CARD, TASK_ASSISTANT, "OrviAiAssistantDisplayCard", &CARD_REQUEST,
           "a card to be shown"),
    OneWay("assistant.choose", AI_MSG_ASSISTANT_CHOOSE_ITEM, TASK_ASSISTANT, "OrviAiAssistantChooseItem", &CHOICE,
           "an item has been chosen"),
    OneWay("assistant.sleep", AI_MSG_ASSISTANT_SLEEP, TASK_ASSISTANT, "OrviAiAssistantSleep", nullptr,
           "the assistant is to sleep"),
    OneWay("assistant.wake", AI_MSG_ASSISTANT_WAKE_UP, TASK_ASSISTANT, "OrviAiAssistantWakeUp", &MODE,
           "the assistant is to wake up"),
    OneWay("assistant.set-page", AI_MSG_ASSISTANT_SET_PAGE_INFO, TASK_ASSISTANT, "OrviAiAssistantSetPageInfo", &PAGE,
           "the page that the assistant is on"),
    Request("assistant.page", AI_MSG_ASSISTANT_GET_PAGE_INFO, TASK_ASSISTANT, "OrviAiAssistantGetPageInfo", WAIT_REPLY,
            nullptr, ReplyRule::DataUpTo, &PAGE, "the page that the assistant is on")
        .RefusedBy(REFUSAL_OF<PAGE.longest>),
    Request("assistant.status", AI_MSG_ASSISTANT_GET_STATUS, TASK_ASSISTANT, "OrviAiAssistantGetStatus", WAIT_REPLY,
            nullptr, ReplyRule::DataUpTo, &STATUS, "what the assistant is doing")
        .RefusedBy(REFUSAL_OF<STATUS.longest>),
    OneWay("hotword.register", AI_MSG_ASSISTANT_INIT_KEY_WORD, TASK_HOT_WORD, "OrviAiAssistantInitKeyWord", &HOT_WORD,
           "an application registers its hot-word key"),
    OneWay("hotword.replace", AI_MSG_ASSISTANT_UPDATE_KEY_WORD, TASK_HOT_WORD, "OrviAiAssistantUpdateKeyWord",
           &HOT_WORD, "hot words in the place of those before"),
    OneWay("hotword.add", AI_MSG_ASSISTANT_UPDATE_KEY_WORD_TYPE1, TASK_HOT_WORD, "OrviAiAssistantUpdateKeyWord",
           &HOT_WORD, "more hot words"),
    OneWay("hotword.remove", AI_MSG_ASSISTANT_UPDATE_KEY_WORD_TYPE2, TASK_HOT_WORD, "OrviAiAssistantUpdateKeyWord",
           &HOT_WORD, "hot words that are no longer wanted"),

    Tells("assistant.woken", ORVI_AI_EVENT_ASSISTANT_WAKE_UP, WAKE_UP, "the assistant has woken up"),
    Tells("assistant.asleep", ORVI_AI_EVENT_ASSISTANT_SLEEP, NOTICE, "the assistant sleeps"),
    Tells("assistant.listening", ORVI_AI_EVENT_ASSISTANT_LISTEN, NOTICE, "the assistant listens"),
    Tells("assistant.not-listening", ORVI_AI_EVENT_ASSISTANT_NO_LISTEN, NOTICE, "the assistant listens no more"),
    Tells("assistant.intent", ORVI_AI_EVENT_ASSISTANT_INTENT_NOTIFY, INTENT, "an intent was recognised"),
    Tells("assistant.heard", ORVI_AI_EVENT_ASSISTANT_ASR_TEXT, TEXT, "what somebody says"),
    Tells("assistant.spoken", ORVI_AI_EVENT_ASSISTANT_TTS_TEXT, TEXT, "what the assistant says"),
    Tells("assistant.choice", ORVI_AI_EVENT_ASSISTANT_CHOOSE_ONE, CHOOSE, "one of several is to be chosen"),
    Tells("assistant.shown", ORVI_AI_EVENT_ASSISTANT_DISPLAY_CARD, SHOWN, "a card is on the screen"),
    Tells("assistant.error", ORVI_AI_EVENT_ASSISTANT_SERVER_ERROR, ERROR, "something went wrong"),
    Tells("assistant.mic", ORVI_AI_EVENT_ASSISTANT_MIC, MIC, "the microphone was switched"),
    Tells("assistant.reset", ORVI_AI_EVENT_ASSISTANT_RESET, NOTICE, "the turn is over without an end"),
};

}  // namespace

Rows<Message> AssistantMessages() {
    return MESSAGES;
}

}  // namespace orvi_protocol
