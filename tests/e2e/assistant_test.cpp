// The voice assistant: conversations of an application and the people in the room with the simulated service.
#include <algorithm>
#include <map>
#include <memory>
#include <sstream>

#include "child_process.h"
#include "orvi_vision_sim_payloads.h"
#include "payload_recorder.h"

namespace orvi_test {
namespace {

using Lines = std::vector<std::string>;

// An event as one line: its name and what its record says.
std::string LineOf(const EventRecord& record) {
    std::ostringstream line;
    switch (record.event) {
        case ORVI_AI_EVENT_ASSISTANT_WAKE_UP: {
            const auto wake = record.As<OrviSimAssistantWakeUp>();
            line << "wake up, cause " << wake.cause << ", mode " << wake.mode << ", '" << wake.appId << "' '"
                 << wake.word << "'";
            break;
        }
        case ORVI_AI_EVENT_ASSISTANT_INTENT_NOTIFY: {
            const auto intent = record.As<OrviSimAssistantIntent>();
            line << "intent, turn " << intent.seq << ", '" << intent.name << "', '" << intent.text << "', item "
                 << intent.itemId;
            break;
        }
        case ORVI_AI_EVENT_ASSISTANT_ASR_TEXT:
        case ORVI_AI_EVENT_ASSISTANT_TTS_TEXT: {
            static const char* const PHASES[] = {"partial", "final", "begins", "ended", "cut"};
            const auto text = record.As<OrviSimAssistantText>();
            EXPECT_EQ(text.textLength, std::strlen(text.text));
            line << (record.event == ORVI_AI_EVENT_ASSISTANT_ASR_TEXT ? "asr" : "tts") << ", turn " << text.seq << ", "
                 << PHASES[text.phase % 5] << ", '" << text.text << "'";
            break;
        }
        case ORVI_AI_EVENT_ASSISTANT_DISPLAY_CARD: {
            const auto shown = record.As<OrviSimAssistantCardShown>();
            line << "card, turn " << shown.seq << ", '" << shown.card.title << "'";
            break;
        }
        case ORVI_AI_EVENT_ASSISTANT_CHOOSE_ONE: {
            const auto choice = record.As<OrviSimAssistantChoice>();
            EXPECT_EQ(choice.length, ORVI_SIM_ASSISTANT_CHOICE_HEAD + 256 * choice.itemCount);
            line << "choose, turn " << choice.seq;
            for (uint32_t i = 0; i < choice.itemCount; ++i) {
                line << ", " << choice.items[i].id << " '" << choice.items[i].text << "'";
            }
            break;
        }
        case ORVI_AI_EVENT_ASSISTANT_SERVER_ERROR: {
            const auto error = record.As<OrviSimAssistantError>();
            line << "error " << error.code << ", turn " << error.seq << ", '" << error.text << "'";
            break;
        }
        default: {
            static const char* const NAMES[] = {"?", "sleep", "listen", "no listen"};
            const auto notice = record.As<OrviSimAssistantNotice>();
            line << (record.event == ORVI_AI_EVENT_ASSISTANT_MIC     ? "mic"
                     : record.event == ORVI_AI_EVENT_ASSISTANT_RESET ? "reset"
                                                                     : NAMES[(record.event - 100) & 3])
                 << ", cause " << notice.cause << ", turn " << notice.seq;
            if (record.event == ORVI_AI_EVENT_ASSISTANT_MIC) {
                line << ", " << notice.value;
            }
        }
    }
    return line.str();
}

template <class Record>
Record WithText(const std::string& text) {
    Record record = {};
    std::memcpy(record.tts, text.data(), text.size());
    return record;
}

tagOrviAppInfo App(const char* appId) {
    tagOrviAppInfo info = {};
    std::strncpy(info.appId, appId, sizeof(info.appId) - 1);
    return info;
}

OrviAiAssistantCard Card(const OrviSimAssistantCard& card) {
    OrviAiAssistantCard record;
    std::memcpy(&record, &card, sizeof(record));
    return record;
}

OrviSimAssistantCard Rooms() {
    OrviSimAssistantCard card = {};
    card.itemCount = 2;
    std::strcpy(card.title, "Free rooms");
    card.items[0] = {11, "Large room"};
    card.items[1] = {12, "Garden room"};
    return card;
}

class AssistantTest : public PayloadTest {
 protected:
    // With an assistant that waits longer than any test.
    void Connect() {
        ConnectForPayloads();
        simulator_.Command("patience 1000000");
    }

    // The next events, compared with what they should be.
    static void Expect(const Lines& expected) {
        for (const std::string& line : expected) {
            const EventRecord record = NextRecord();
            ASSERT_EQ(LineOf(record), line);
        }
    }

    // One-way requests have been handled when this returns.
    void Handled(uint32_t id) {
        const std::string number = std::to_string(id);
        simulator_.Command("await request " + number + " " + std::to_string(++sent_[id]));
    }

    void Intents(const std::vector<std::string>& names) {
        std::vector<OrviAiAssistantIntentName> intents(names.size() + 1);
        for (size_t i = 0; i < names.size(); ++i) {
            std::memcpy(intents[i].name, names[i].data(), names[i].size());
        }
        ASSERT_EQ(OrviAiAssistantInitIntent(intents.data(), static_cast<int>(names.size())), 0);
        Handled(0x600056);
    }

    void HotWords(const char* appId, OrviAiHotwordUpdateType type, std::string words) {
        ASSERT_EQ(OrviAiAssistantUpdateKeyWord(App(appId), type, words), 0);
        Handled(type == 1 ? 0x600062 : type == 2 ? 0x600063 : 0x600061);
    }

    void Register(const char* appId) {
        ASSERT_EQ(OrviAiAssistantInitKeyWord(App(appId)), 0);
        Handled(0x600060);
    }

    static void WakeUp() {
        ASSERT_EQ(OrviAiAssistantWakeUp(ORVI_AI_ASSISTANT_MODE_DEFAULT), 0);
        Expect({"wake up, cause 1, mode 0, '' ''", "listen, cause 9, turn 0"});
    }

    static int Result(uint32_t seq, bool isFinal, bool isMulti, const std::string& text) {
        auto result = WithText<OrviAiAssistantIntentResult>(text);
        result.isFinal = isFinal ? 1 : 0;
        result.isMulti = isMulti ? 1 : 0;
        return OrviAiAssistantNotifyIntentResult(seq, result);
    }

    std::map<uint32_t, int> sent_;
};

TEST_F(AssistantTest, AHotWordAnIntentAndItsAnswer) {
    Connect();
    Intents({"open_blinds", "book_room"});
    Register("blinds");
    HotWords("blinds", ORVI_AI_HOTWORD_UPDATE, "hey blinds");
    EXPECT_EQ(simulator_.Command("say open the blinds"), "not heard: the assistant sleeps");
    EXPECT_EQ(simulator_.Command("say Hey Blinds, open the blinds!"), "woken up");
    Expect({"wake up, cause 2, mode 0, 'blinds' 'hey blinds'", "listen, cause 9, turn 0",
            "asr, turn 1, partial, 'open'", "asr, turn 1, final, 'open the blinds!'", "no listen, cause 3, turn 1",
            "intent, turn 1, 'open_blinds', 'open the blinds!', item 0"});
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), ORVI_SIM_ASSISTANT_AWAKE);
    EXPECT_EQ(Result(1, false, false, "One moment."), 0);
    Expect({"tts, turn 1, begins, 'One moment.'", "tts, turn 1, ended, 'One moment.'"});
    EXPECT_EQ(Result(1, true, true, ""), 0);  // the assistant listens once more, in the same turn
    Expect({"listen, cause 9, turn 1"});
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), ORVI_SIM_ASSISTANT_LISTENING);
    simulator_.Command("say what is that");
    Expect({"asr, turn 1, partial, 'what'", "asr, turn 1, final, 'what is that'", "no listen, cause 3, turn 1",
            "error 1, turn 1, 'not understood'", "tts, turn 1, begins, 'I did not understand that.'",
            "tts, turn 1, ended, 'I did not understand that.'", "listen, cause 9, turn 1"});
    simulator_.Command("say blinds open please");  // not in the order of the name
    Expect({"asr, turn 1, partial, 'blinds'", "asr, turn 1, final, 'blinds open please'", "no listen, cause 3, turn 1",
            "error 1, turn 1, 'not understood'", "tts, turn 1, begins, 'I did not understand that.'",
            "tts, turn 1, ended, 'I did not understand that.'", "listen, cause 9, turn 1"});
    simulator_.Command("say OPEN all BLINDS");
    Expect({"asr, turn 1, partial, 'OPEN'", "asr, turn 1, final, 'OPEN all BLINDS'", "no listen, cause 3, turn 1",
            "intent, turn 1, 'open_blinds', 'OPEN all BLINDS', item 0"});
    EXPECT_EQ(Result(1, true, false, "They are open."), 0);
    Expect({"tts, turn 1, begins, 'They are open.'", "tts, turn 1, ended, 'They are open.'", "sleep, cause 7, turn 0"});
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), ORVI_SIM_ASSISTANT_ASLEEP);
    EXPECT_EQ(PendingRecords(), 0U);
}

TEST_F(AssistantTest, ACardAndAChoice) {
    Connect();
    Intents({"book_room"});
    // Chosen on the screen, by the words and by the place.
    const struct {
        std::string said;
        Lines heard;
    } choices[] = {
        {"", {}},
        {"the garden room please", {"partial, 'the garden'", "final, 'the garden room please'"}},
        {"2", {"final, '2'"}},
    };
    uint32_t turn = 0;
    for (const auto& choice : choices) {
        const std::string seq = std::to_string(++turn);
        WakeUp();
        simulator_.Command("say book");
        Expect({"asr, turn " + seq + ", final, 'book'", "no listen, cause 3, turn " + seq,
                "error 1, turn " + seq + ", 'not understood'",
                "tts, turn " + seq + ", begins, 'I did not understand that.'",
                "tts, turn " + seq + ", ended, 'I did not understand that.'", "listen, cause 9, turn " + seq});
        simulator_.Command("say book room");
        Expect({"asr, turn " + seq + ", partial, 'book'", "asr, turn " + seq + ", final, 'book room'",
                "no listen, cause 3, turn " + seq, "intent, turn " + seq + ", 'book_room', 'book room', item 0"});
        ASSERT_EQ(OrviAiAssistantDisplayCard(turn, Card(Rooms())), 0);
        Expect({"card, turn " + seq + ", 'Free rooms'", "choose, turn " + seq + ", 11 'Large room', 12 'Garden room'",
                "listen, cause 9, turn " + seq});
        if (choice.said.empty()) {
            ASSERT_EQ(OrviAiAssistantChooseItem(turn, 13), 0);
            Expect({"error 2, turn " + seq + ", 'there is no item 13 to choose'"});
            ASSERT_EQ(OrviAiAssistantChooseItem(turn, 12), 0);
        } else {
            simulator_.Command("say " + choice.said);
        }
        for (const std::string& heard : choice.heard) {
            Expect({"asr, turn " + seq + ", " + heard});
        }
        Expect({"no listen, cause 3, turn " + seq, "intent, turn " + seq + ", 'book_room', 'Garden room', item 12"});
        EXPECT_EQ(Result(turn, true, false, ""), 0);
        Expect({"sleep, cause 7, turn 0"});
    }
}

TEST_F(AssistantTest, SeveralIntentsMayBeMeant) {
    Connect();
    Intents({"lights", "lights on", "blinds"});
    WakeUp();
    simulator_.Command("say turn the lights on");
    Expect({"asr, turn 1, partial, 'turn the'", "asr, turn 1, final, 'turn the lights on'",
            "no listen, cause 3, turn 1", "choose, turn 1, 1 'lights', 2 'lights on'", "listen, cause 9, turn 1"});
    EXPECT_EQ(OrviAiAssistantChooseItem(1, 2), 0);
    Expect({"no listen, cause 3, turn 1", "intent, turn 1, 'lights on', 'turn the lights on', item 2"});
    // The choice is over, and so is the turn after a new awakening.
    EXPECT_EQ(OrviAiAssistantChooseItem(1, 1), 0);
    Expect({"error 2, turn 1, 'there is no item 1 to choose'"});
    EXPECT_EQ(OrviAiAssistantWakeUp(ORVI_AI_ASSISTANT_MODE_DEFAULT), 0);
    Expect({"reset, cause 1, turn 1", "wake up, cause 1, mode 0, '' ''", "listen, cause 9, turn 0"});
    EXPECT_EQ(Result(1, true, false, "too late"), 0);
    Expect({"error 2, turn 1, 'nobody waits for this answer'"});
}

TEST_F(AssistantTest, SleepMicrophoneAndWhatIsRefused) {
    Connect();
    Intents({"lights"});
    WakeUp();
    simulator_.Command("mic off");
    Expect({"mic, cause 1, turn 0, 0", "no listen, cause 5, turn 0"});
    EXPECT_EQ(simulator_.Command("say lights"), "not heard: the microphone is off");
    simulator_.Command("mic on");
    Expect({"mic, cause 1, turn 0, 1", "listen, cause 9, turn 0"});
    simulator_.Command("say lights");
    Expect(
        {"asr, turn 1, final, 'lights'", "no listen, cause 3, turn 1", "intent, turn 1, 'lights', 'lights', item 0"});
    EXPECT_EQ(simulator_.Command("say lights"), "not heard: the assistant does not listen");
    EXPECT_EQ(OrviAiAssistantSleep(), 0);
    Expect({"reset, cause 1, turn 1", "sleep, cause 1, turn 0"});

    EXPECT_EQ(OrviAiAssistantWakeUp(static_cast<OrviAiAssistantRunningMode>(-7)), 0);
    Expect({"error 5, turn 0, 'there is no running mode -7'"});
    OrviSimAssistantCard card = Rooms();
    std::memset(card.items[1].text, 'x', sizeof(card.items[1].text));
    EXPECT_EQ(OrviAiAssistantDisplayCard(4, Card(card)), 0);
    Expect({"error 5, turn 4, 'item 1 of the card has no id, or its text no end'"});
    card.itemCount = 0xFFFFFFFF;
    EXPECT_EQ(OrviAiAssistantDisplayCard(4, Card(card)), 0);
    Expect({"error 5, turn 4, '4294967295 items on a card'"});

    // The announcing mode shows and speaks, and never listens.
    EXPECT_EQ(OrviAiAssistantWakeUp(static_cast<OrviAiAssistantRunningMode>(ORVI_SIM_ASSISTANT_MODE_ANNOUNCE)), 0);
    Expect({"wake up, cause 1, mode 1, '' ''"});
    EXPECT_EQ(OrviAiAssistantRequestTts(9, WithText<OrviAiAssistantSpeechText>("Lunch!")), 0);
    Expect({"tts, turn 9, begins, 'Lunch!'", "tts, turn 9, ended, 'Lunch!'"});
    EXPECT_EQ(simulator_.Command("say lights"), "not heard: the assistant does not listen");
    EXPECT_EQ(OrviAiAssistantSleep(), 0);
    Expect({"sleep, cause 1, turn 0"});
}

TEST_F(AssistantTest, PatienceEnds) {
    Connect();
    simulator_.Command("patience 20");
    Intents({"lights"});
    WakeUp();
    Expect({"no listen, cause 6, turn 0", "sleep, cause 6, turn 0"});
    EXPECT_EQ(simulator_.Command("say hello assistant lights"), "woken up");
    Expect({"wake up, cause 2, mode 0, '' 'hello assistant'", "listen, cause 9, turn 0", "asr, turn 1, final, 'lights'",
            "no listen, cause 3, turn 1", "intent, turn 1, 'lights', 'lights', item 0",
            "error 3, turn 1, 'no answer to \"lights\"'", "reset, cause 6, turn 1", "sleep, cause 6, turn 0"});
}

TEST_F(AssistantTest, SpeechesFollowOneAnother) {
    Connect();
    const std::string longest(1024, 'l');
    simulator_.Command("speech 50");
    for (const std::string& text : {std::string("one"), std::string("two"), longest}) {
        EXPECT_EQ(OrviAiAssistantRequestTts(3, WithText<OrviAiAssistantSpeechText>(text)), 0);
    }
    Expect({"tts, turn 3, begins, 'one'", "tts, turn 3, ended, 'one'", "tts, turn 3, begins, 'two'",
            "tts, turn 3, ended, 'two'", "tts, turn 3, begins, '" + longest + "'"});
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), ORVI_SIM_ASSISTANT_SPEAKING);
    for (int waiting = 1; waiting <= 16; ++waiting) {  // one is being spoken, fifteen more are kept
        EXPECT_EQ(OrviAiAssistantRequestTts(4, WithText<OrviAiAssistantSpeechText>("later")), 0);
    }
    Expect({"error 4, turn 4, '16 speeches wait already'"});
    EXPECT_EQ(OrviAiAssistantSleep(), 0);  // also what is being said
    Expect({"tts, turn 3, cut, '" + longest + "'", "sleep, cause 1, turn 0"});
    EXPECT_EQ(OrviAiAssistantRequestTts(3, WithText<OrviAiAssistantSpeechText>(longest + "l")), -1);
    EXPECT_EQ(PendingRecords(), 0U);
}

TEST_F(AssistantTest, PageInfoIsKept) {
    Connect();
    OrviAiAssistantPageInfo info;
    std::memset(&info, 0xEE, sizeof(info));
    ASSERT_EQ(OrviAiAssistantGetPageInfo(&info), 0);
    EXPECT_EQ(std::count(info.content, info.content + sizeof(info.content), 0), 44);
    for (const uint8_t first : {uint8_t{1}, uint8_t{200}}) {
        OrviAiAssistantPageInfo set;
        for (size_t i = 0; i < sizeof(set.content); ++i) {
            set.content[i] = static_cast<uint8_t>(first + i);
        }
        ASSERT_EQ(OrviAiAssistantSetPageInfo(set), 0);
        ASSERT_EQ(OrviAiAssistantGetPageInfo(&info), 0);  // behind it on the same connection
        EXPECT_EQ(std::memcmp(&info, &set, sizeof(info)), 0);
    }
    simulator_.Command("reply 0x60005e zeros:45");
    EXPECT_EQ(OrviAiAssistantGetPageInfo(&info), -1);
    simulator_.Command("empty 0x60005f");
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), 0);
    simulator_.Command("nodata 0x60005f");
    EXPECT_EQ(static_cast<int>(OrviAiAssistantGetStatus()), 0);
}

TEST_F(AssistantTest, HotWordsBelongToTheirApplications) {
    Connect();
    const auto hotWords = [&] {
        const std::string state = simulator_.Command("assistant");
        const size_t begin = state.find("hotwords ");
        return begin == std::string::npos ? "" : state.substr(begin + 9);
    };
    HotWords("first", ORVI_AI_HOTWORD_UPDATE, "too early");
    EXPECT_EQ(hotWords(), "");
    EXPECT_NE(simulator_.Log().find("the application \"first\" has not registered its hot-word key"),
              std::string::npos);
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
    Expect({"wake up, cause 2, mode 0, 'second' 'gamma:delta'", "listen, cause 9, turn 0"});
}

// The example books the room that is chosen and ends with the conversation; it also ends with the service.
TEST_F(AssistantTest, ExampleHoldsAConversation) {
    simulator_.Start();
    simulator_.Command("speech 1");
    simulator_.Command("patience 1000000");
    const auto start = [&](int time) {
        auto example =
            std::make_unique<ChildProcess>("voice_assistant", std::vector<std::string>{}, sandbox_.Path("example.log"));
        EXPECT_TRUE(example->ReadUntil("ready"));
        simulator_.Command("await clients 1");
        simulator_.Command("await request 0x600056 " + std::to_string(time));
        simulator_.Command("await request 0x600061 " + std::to_string(time));
        return example;
    };
    auto example = start(1);
    EXPECT_EQ(simulator_.Command("say hey concierge, book a room"), "woken up");
    EXPECT_TRUE(example->ReadUntil("2: the garden room"));
    EXPECT_TRUE(example->ReadUntil("it listens"));
    EXPECT_EQ(simulator_.Command("say 2"), "heard");
    EXPECT_TRUE(example->ReadUntil("it says: I have booked the garden room."));
    EXPECT_EQ(example->Wait(), 0);
    simulator_.Command("await clients 0");

    // An event that has arrived proves that the example would hear of the service's end.
    example = start(2);
    EXPECT_EQ(simulator_.Command("say hey concierge, book a room"), "woken up");
    EXPECT_TRUE(example->ReadUntil("2: the garden room"));
    simulator_.Kill();
    EXPECT_TRUE(example->ReadUntil("the service has gone"));
    EXPECT_EQ(example->Wait(), 1);
}

}  // namespace
}  // namespace orvi_test
