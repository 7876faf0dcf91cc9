// The voice assistant: conversations of an application and the people in the room with the simulated service.
#include <algorithm>
#include <map>
#include <memory>

#include "child_process.h"
#include "orvi_vision_sim_payloads.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

using Lines = std::vector<std::string>;
using WakeUp = OrviSimAssistantWakeUp;
using Intent = OrviSimAssistantIntent;
using Choice = OrviSimAssistantChoice;

// What a record holds behind its length.
const struct {
    int event;
    const char* name;
    std::vector<std::string> integers;
    std::vector<size_t> texts;  // offsets
} RECORDS[] = {
    {ORVI_AI_EVENT_ASSISTANT_WAKE_UP, "wake up", {"cause", "mode"}, {offsetof(WakeUp, appId), offsetof(WakeUp, word)}},
    {ORVI_AI_EVENT_ASSISTANT_SLEEP, "sleep", {"cause", "turn"}, {}},
    {ORVI_AI_EVENT_ASSISTANT_LISTEN, "listen", {"cause", "turn"}, {}},
    {ORVI_AI_EVENT_ASSISTANT_NO_LISTEN, "no listen", {"cause", "turn"}, {}},
    {ORVI_AI_EVENT_ASSISTANT_INTENT_NOTIFY,
     "intent",
     {"turn", "item"},
     {offsetof(Intent, name), offsetof(Intent, text)}},
    {ORVI_AI_EVENT_ASSISTANT_ASR_TEXT, "asr", {"turn", "phase", "length"}, {offsetof(OrviSimAssistantText, text)}},
    {ORVI_AI_EVENT_ASSISTANT_TTS_TEXT, "tts", {"turn", "phase", "length"}, {offsetof(OrviSimAssistantText, text)}},
    {ORVI_AI_EVENT_ASSISTANT_DISPLAY_CARD, "card", {"turn"}, {offsetof(OrviSimAssistantCardShown, card.title)}},
    {ORVI_AI_EVENT_ASSISTANT_CHOOSE_ONE,
     "choose",
     {"turn", "items"},
     {offsetof(Choice, items[0].text), offsetof(Choice, items[1].text)}},
    {ORVI_AI_EVENT_ASSISTANT_SERVER_ERROR, "error", {"code", "turn"}, {offsetof(OrviSimAssistantError, text)}},
    {ORVI_AI_EVENT_ASSISTANT_MIC, "mic", {"cause", "turn", "value"}, {}},
    {ORVI_AI_EVENT_ASSISTANT_RESET, "reset", {"cause", "turn"}, {}},
};

// An event as one line: its name and what its record says.
std::string LineOf(const Event& event) {
    for (const auto& row : RECORDS) {
        if (row.event == event.id) {
            std::string line = row.name;
            for (size_t i = 0; i < row.integers.size(); ++i) {
                uint32_t value = 0;
                std::memcpy(&value, &event.record.at(4 + 4 * i), sizeof(value));
                line += ", " + row.integers[i] + " " + std::to_string(value);
            }
            for (const size_t offset : row.texts) {
                line += ", '" + std::string(reinterpret_cast<const char*>(&event.record.at(offset))) + "'";
            }
            return line;
        }
    }
    return "no event of the assistant";
}

std::string Turn(uint32_t turn) {
    return ", turn " + std::to_string(turn);
}

tagOrviAppInfo App(const char* appId) {
    tagOrviAppInfo info = {};
    std::strncpy(info.appId, appId, sizeof(info.appId) - 1);
    return info;
}

OrviSimAssistantCard Rooms() {
    OrviSimAssistantCard card = {};
    card.itemCount = 2;
    std::strcpy(card.title, "Free rooms");
    card.items[0] = {11, "Large room"};
    card.items[1] = {12, "Garden room"};
    return card;
}

class AssistantTest : public VisionTest {
 protected:
    // With an assistant that waits longer than any test.
    void SetUp() override {
        EventRecorder::CopyRecords();
        Connect();
        simulator_.Command("patience 1000s");
    }

    // The next events, compared with what they should be.
    static void Expect(const Lines& expected) {
        for (const std::string& line : expected) {
            ASSERT_EQ(LineOf(EventRecorder::Next()), line);
        }
    }

    static std::string Text(const char* event, uint32_t turn, OrviSimAssistantTextPhase phase,
                            const std::string& text) {
        return event + Turn(turn) + ", phase " + std::to_string(phase) + ", length " + std::to_string(text.size()) +
               ", '" + text + "'";
    }

    // The assistant hears words; what it has recognised before the last of them, when they are several.
    static void ExpectHeard(uint32_t turn, const std::string& firstHalf, const std::string& words) {
        if (!firstHalf.empty()) {
            Expect({Text("asr", turn, ORVI_SIM_ASSISTANT_TEXT_PARTIAL, firstHalf)});
        }
        Expect({Text("asr", turn, ORVI_SIM_ASSISTANT_TEXT_FINAL, words), "no listen, cause 3" + Turn(turn)});
    }
    void Say(uint32_t turn, const std::string& firstHalf, const std::string& words) {
        EXPECT_EQ(simulator_.Command("say " + words), "heard");
        ExpectHeard(turn, firstHalf, words);
    }

    static void ExpectSpoken(uint32_t turn, const std::string& text) {
        Expect({Text("tts", turn, ORVI_SIM_ASSISTANT_TEXT_BEGINS, text),
                Text("tts", turn, ORVI_SIM_ASSISTANT_TEXT_ENDED, text)});
    }

    static void ExpectNotUnderstood(uint32_t turn) {
        Expect({"error, code 1" + Turn(turn) + ", 'not understood'"});
        ExpectSpoken(turn, "I did not understand that.");
        Expect({"listen, cause 9" + Turn(turn)});
    }

    // One-way requests have been handled when this returns.
    void Handled(uint32_t id) { simulator_.Await("request " + std::to_string(id) + " " + std::to_string(++sent_[id])); }

    void Intents(const Lines& names) {
        std::vector<OrviAiAssistantIntentName> intents(names.size());
        for (size_t i = 0; i < names.size(); ++i) {
            std::memcpy(intents[i].name, names[i].data(), names[i].size());
        }
        ASSERT_EQ(OrviAiAssistantInitIntent(intents.data(), static_cast<int>(names.size())), 0);
        Handled(0x600056);
    }

    void HotWords(const char* appId, OrviAiHotwordUpdateType type, std::string words) {
        ASSERT_EQ(OrviAiAssistantUpdateKeyWord(App(appId), type, words), 0);
        Handled(type == ORVI_AI_HOTWORD_UPDATE_TYPE1   ? 0x600062
                : type == ORVI_AI_HOTWORD_UPDATE_TYPE2 ? 0x600063
                                                       : 0x600061);
    }

    void Register(const char* appId) {
        ASSERT_EQ(OrviAiAssistantInitKeyWord(App(appId)), 0);
        Handled(0x600060);
    }

    static void Wake() {
        ASSERT_EQ(OrviAiAssistantWakeUp(ORVI_AI_ASSISTANT_MODE_DEFAULT), 0);
        Expect({"wake up, cause 1, mode 0, '', ''", "listen, cause 9, turn 0"});
    }

    static void Result(uint32_t seq, bool isFinal, bool isMulti, const std::string& text) {
        OrviAiAssistantIntentResult result = {};
        result.isFinal = isFinal ? 1 : 0;
        result.isMulti = isMulti ? 1 : 0;
        std::memcpy(result.tts, text.data(), text.size());
        EXPECT_EQ(OrviAiAssistantNotifyIntentResult(seq, result), 0);
    }

    static void Speak(uint32_t seq, const std::string& text) {
        OrviAiAssistantSpeechText speech = {};
        std::memcpy(speech.tts, text.data(), text.size());
        EXPECT_EQ(OrviAiAssistantRequestTts(seq, speech), 0);
    }

    static void Show(uint32_t seq, const OrviSimAssistantCard& card) {
        OrviAiAssistantCard record;
        std::memcpy(&record, &card, sizeof(record));
        EXPECT_EQ(OrviAiAssistantDisplayCard(seq, record), 0);
    }

    static void ExpectStatus(OrviSimAssistantStatus status) {
        EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), status);
    }

    std::map<uint32_t, int> sent_;
};

TEST_F(AssistantTest, AHotWordAnIntentAndItsAnswer) {
    Intents({"open_blinds", "book_room"});
    Register("blinds");
    HotWords("blinds", ORVI_AI_HOTWORD_UPDATE, "hey blinds");
    EXPECT_EQ(simulator_.Command("say open the blinds"), "not heard: the assistant sleeps");
    EXPECT_EQ(simulator_.Command("say Hey Blinds, open the blinds!"), "woken up");
    Expect({"wake up, cause 2, mode 0, 'blinds', 'hey blinds'", "listen, cause 9, turn 0"});
    ExpectHeard(1, "open", "open the blinds!");
    Expect({"intent, turn 1, item 0, 'open_blinds', 'open the blinds!'"});
    ExpectStatus(ORVI_SIM_ASSISTANT_AWAKE);
    Result(1, false, false, "One moment.");
    ExpectSpoken(1, "One moment.");
    Result(1, true, true, "");  // the assistant listens once more, in the same turn
    Expect({"listen, cause 9, turn 1"});
    ExpectStatus(ORVI_SIM_ASSISTANT_LISTENING);
    Say(1, "what", "what is that");
    ExpectNotUnderstood(1);
    Say(1, "blinds", "blinds open please");
    ExpectNotUnderstood(1);  // not in the order of the name
    Say(1, "OPEN", "OPEN all BLINDS");
    Expect({"intent, turn 1, item 0, 'open_blinds', 'OPEN all BLINDS'"});
    Result(1, true, false, "They are open.");
    ExpectSpoken(1, "They are open.");
    Expect({"sleep, cause 7, turn 0"});
    ExpectStatus(ORVI_SIM_ASSISTANT_ASLEEP);
    EventRecorder::ExpectNoMore();
}

TEST_F(AssistantTest, ACardAndAChoice) {
    Intents({"book_room"});
    enum { ON_THE_SCREEN, BY_WORDS, BY_PLACE };
    uint32_t turn = 0;
    for (const int chosen : {ON_THE_SCREEN, BY_WORDS, BY_PLACE}) {
        ++turn;
        Wake();
        Say(turn, "", "book");
        ExpectNotUnderstood(turn);
        Say(turn, "book", "book room");
        Expect({"intent" + Turn(turn) + ", item 0, 'book_room', 'book room'"});
        Show(turn, Rooms());
        Expect({"card" + Turn(turn) + ", 'Free rooms'",
                "choose" + Turn(turn) + ", items 2, 'Large room', 'Garden room'", "listen, cause 9" + Turn(turn)});
        if (chosen == ON_THE_SCREEN) {
            ASSERT_EQ(OrviAiAssistantChooseItem(turn, 13), 0);
            Expect({"error, code 2" + Turn(turn) + ", 'there is no item 13 to choose'"});
            ASSERT_EQ(OrviAiAssistantChooseItem(turn, 12), 0);
            Expect({"no listen, cause 3" + Turn(turn)});
        } else if (chosen == BY_WORDS) {
            Say(turn, "the garden", "the garden room please");
        } else {
            Say(turn, "", "2");
        }
        Expect({"intent" + Turn(turn) + ", item 12, 'book_room', 'Garden room'"});
        Result(turn, true, false, "");
        Expect({"sleep, cause 7, turn 0"});
    }
}

TEST_F(AssistantTest, SeveralIntentsMayBeMeant) {
    Intents({"lights", "lights on", "blinds"});
    Wake();
    Say(1, "turn the", "turn the lights on");
    Expect({"choose, turn 1, items 2, 'lights', 'lights on'", "listen, cause 9, turn 1"});
    EXPECT_EQ(OrviAiAssistantChooseItem(1, 2), 0);
    Expect({"no listen, cause 3, turn 1", "intent, turn 1, item 2, 'lights on', 'turn the lights on'"});
    // The choice is over, and so is the turn after a new awakening.
    EXPECT_EQ(OrviAiAssistantChooseItem(1, 1), 0);
    Expect({"error, code 2, turn 1, 'there is no item 1 to choose'"});
    EXPECT_EQ(OrviAiAssistantWakeUp(ORVI_AI_ASSISTANT_MODE_DEFAULT), 0);
    Expect({"reset, cause 1, turn 1", "wake up, cause 1, mode 0, '', ''", "listen, cause 9, turn 0"});
    Result(1, true, false, "too late");
    Expect({"error, code 2, turn 1, 'nobody waits for this answer'"});
}

TEST_F(AssistantTest, SleepMicrophoneAndWhatIsRefused) {
    Intents({"lights"});
    Wake();
    simulator_.Command("mic off");
    Expect({"mic, cause 1, turn 0, value 0", "no listen, cause 5, turn 0"});
    EXPECT_EQ(simulator_.Command("say lights"), "not heard: the microphone is off");
    simulator_.Command("mic on");
    Expect({"mic, cause 1, turn 0, value 1", "listen, cause 9, turn 0"});
    Say(1, "", "lights");
    Expect({"intent, turn 1, item 0, 'lights', 'lights'"});
    EXPECT_EQ(simulator_.Command("say lights"), "not heard: the assistant does not listen");
    EXPECT_EQ(OrviAiAssistantSleep(), 0);
    Expect({"reset, cause 1, turn 1", "sleep, cause 1, turn 0"});

    EXPECT_EQ(OrviAiAssistantWakeUp(static_cast<OrviAiAssistantRunningMode>(-7)), 0);
    Expect({"error, code 5, turn 0, 'there is no running mode -7'"});
    OrviSimAssistantCard card = Rooms();
    std::memset(card.items[1].text, 'x', sizeof(card.items[1].text));
    Show(4, card);
    Expect({"error, code 5, turn 4, 'item 1 of the card has no id, or its text no end'"});
    card.itemCount = 0xFFFFFFFF;
    Show(4, card);
    Expect({"error, code 5, turn 4, '4294967295 items on a card'"});

    Intents({""});
    Expect({"error, code 5, turn 0, 'the name of intent 0 is empty or has no end'"});

    // A card that asks for a choice wakes the assistant.
    Show(5, Rooms());
    Expect({"wake up, cause 1, mode 0, '', ''", "card, turn 5, 'Free rooms'",
            "choose, turn 5, items 2, 'Large room', 'Garden room'", "listen, cause 9, turn 5"});

    // The announcing mode shows and speaks, and never listens.
    EXPECT_EQ(OrviAiAssistantWakeUp(static_cast<OrviAiAssistantRunningMode>(ORVI_SIM_ASSISTANT_MODE_ANNOUNCE)), 0);
    Expect({"no listen, cause 1, turn 5", "reset, cause 1, turn 5", "wake up, cause 1, mode 1, '', ''"});
    Speak(9, "Lunch!");
    ExpectSpoken(9, "Lunch!");
    EXPECT_EQ(OrviAiAssistantSleep(), 0);
    Expect({"sleep, cause 1, turn 0"});
}

TEST_F(AssistantTest, PatienceEnds) {
    simulator_.Command("patience 20ms");
    Intents({"lights"});
    Wake();
    Expect({"no listen, cause 6, turn 0", "sleep, cause 6, turn 0"});
    EXPECT_EQ(simulator_.Command("say hello assistant lights"), "woken up");
    Expect({"wake up, cause 2, mode 0, '', 'hello assistant'", "listen, cause 9, turn 0"});
    ExpectHeard(1, "", "lights");
    Expect({"intent, turn 1, item 0, 'lights', 'lights'", "error, code 3, turn 1, 'no answer to \"lights\"'",
            "reset, cause 6, turn 1", "sleep, cause 6, turn 0"});
}

TEST_F(AssistantTest, SpeechesFollowOneAnother) {
    const std::string longest(1024, 'l');
    simulator_.Command("speech 50ms");
    for (const std::string& text : {std::string("one"), std::string("two"), longest}) {
        Speak(3, text);
    }
    ExpectSpoken(3, "one");
    ExpectSpoken(3, "two");
    Expect({Text("tts", 3, ORVI_SIM_ASSISTANT_TEXT_BEGINS, longest)});
    ExpectStatus(ORVI_SIM_ASSISTANT_SPEAKING);
    for (int waiting = 1; waiting <= 16; ++waiting) {  // one is being spoken, fifteen more are kept
        Speak(4, "later");
    }
    Expect({"error, code 4, turn 4, '16 speeches wait already'"});
    EXPECT_EQ(OrviAiAssistantSleep(), 0);  // also what is being said
    Expect({Text("tts", 3, ORVI_SIM_ASSISTANT_TEXT_CUT, longest), "sleep, cause 1, turn 0"});
    EventRecorder::ExpectNoMore();
}

TEST_F(AssistantTest, PageInfoIsKept) {
    OrviAiAssistantPageInfo info;
    ASSERT_EQ(OrviAiAssistantGetPageInfo(&info), 0);
    EXPECT_EQ(std::count(info.content, info.content + sizeof(info.content), 0), 44);
    OrviAiAssistantPageInfo set;
    for (size_t i = 0; i < sizeof(set.content); ++i) {
        set.content[i] = static_cast<uint8_t>(200 + i);
    }
    ASSERT_EQ(OrviAiAssistantSetPageInfo(set), 0);
    ASSERT_EQ(OrviAiAssistantGetPageInfo(&info), 0);  // behind it on the same connection
    EXPECT_EQ(std::memcmp(&info, &set, sizeof(info)), 0);
}

TEST_F(AssistantTest, HotWordsBelongToTheirApplications) {
    const auto hotWords = [&] {
        const std::string state = simulator_.Command("assistant");
        const size_t begin = state.find("hotwords ");
        return begin == std::string::npos ? "" : state.substr(begin + 9);
    };
    HotWords("first", ORVI_AI_HOTWORD_UPDATE, "too early");
    EXPECT_EQ(hotWords(), "");
    Expect({"error, code 5, turn 0, 'the application \"first\" has not registered its hot-word key'"});
    Register("first");
    Register("second");
    HotWords("first", ORVI_AI_HOTWORD_UPDATE, "alpha, beta");
    HotWords("second", ORVI_AI_HOTWORD_UPDATE_TYPE1, "gamma:delta");
    HotWords("first", ORVI_AI_HOTWORD_UPDATE_TYPE1, "epsilon,beta");
    EXPECT_EQ(hotWords(), "first=alpha,beta,epsilon second=gamma:delta");
    HotWords("first", ORVI_AI_HOTWORD_UPDATE_TYPE2, "beta");
    Register("first");
    EXPECT_EQ(hotWords(), "first=alpha,epsilon second=gamma:delta");
    HotWords("first", ORVI_AI_HOTWORD_UPDATE, "");
    EXPECT_EQ(hotWords(), "first= second=gamma:delta");
    simulator_.Command("say gamma delta");
    Expect({"wake up, cause 2, mode 0, 'second', 'gamma:delta'", "listen, cause 9, turn 0"});
}

// The example books the room that is chosen and ends with the conversation; it also ends with the service.
using AssistantExampleTest = VisionTest;

TEST_F(AssistantExampleTest, HoldsAConversation) {
    simulator_.Start();
    simulator_.Command("speech 1ms");
    simulator_.Command("patience 1000s");
    std::unique_ptr<ChildProcess> example;
    for (const char* const time : {"1", "2"}) {
        example = std::make_unique<ChildProcess>("voice_assistant", Lines{}, sandbox_.Path("example.log"));
        EXPECT_TRUE(example->ReadUntil("ready"));
        simulator_.Await("clients 1");
        simulator_.Await(std::string("request assistant.intents ") + time);
        simulator_.Await(std::string("request hotword.replace ") + time);
        EXPECT_EQ(simulator_.Command("say hey concierge, book a room"), "woken up");
        EXPECT_TRUE(example->ReadUntil("2: the garden room"));
        if (time[0] == '2') {
            break;
        }
        EXPECT_TRUE(example->ReadUntil("it listens"));
        EXPECT_EQ(simulator_.Command("say 2"), "heard");
        EXPECT_TRUE(example->ReadUntil("it says: I have booked the garden room."));
        EXPECT_EQ(example->Wait(), 0);
        simulator_.Await("clients 0");
    }
    // An event that has arrived proves that the example would hear of the service's end.
    simulator_.Kill();
    EXPECT_TRUE(example->ReadUntil("the service has gone"));
    EXPECT_EQ(example->Wait(), 1);
}

}  // namespace
}  // namespace orvi_test
