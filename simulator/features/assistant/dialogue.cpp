#include "features/assistant/dialogue.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "features/assistant/spoken_text.h"

namespace orvi_sim {
namespace {

using std::chrono::milliseconds;

constexpr uint32_t EVENT_WAKE_UP = 0x60004A;
constexpr uint32_t EVENT_SLEEP = 0x60004B;
constexpr uint32_t EVENT_LISTEN = 0x60004C;
constexpr uint32_t EVENT_NO_LISTEN = 0x60004D;
constexpr uint32_t EVENT_INTENT_NOTIFY = 0x60004E;
constexpr uint32_t EVENT_ASR_TEXT = 0x60004F;
constexpr uint32_t EVENT_TTS_TEXT = 0x600050;
constexpr uint32_t EVENT_CHOOSE_ONE = 0x600051;
constexpr uint32_t EVENT_DISPLAY_CARD = 0x600052;
constexpr uint32_t EVENT_SERVER_ERROR = 0x600053;
constexpr uint32_t EVENT_MIC = 0x600054;
constexpr uint32_t EVENT_RESET = 0x600055;

constexpr size_t MOST_SPEECHES = 16;
constexpr milliseconds SHORTEST_SPEECH{20};

// The first `length` bytes of a record that states its own length.
template <class Record>
void Send(Stage& stage, uint32_t id, Record& record, size_t length = sizeof(Record)) {
    record.length = static_cast<uint32_t>(length);
    stage.TellAll(id, BytesOf(record, length));
}

// Fills a text field that has been zeroed; what does not fit is cut, the NUL stays.
template <size_t N>
void Fill(char (&field)[N], const std::string& text) {
    std::memcpy(field, text.data(), std::min(text.size(), N - 1));
}

// What has been recognised when half of the words are out.
std::string FirstHalf(const std::string& text) {
    const SpokenWords words = WordsOf(text);
    return words.size() < 2 ? "" : text.substr(0, words[words.size() / 2 - 1].end);
}

}  // namespace

// --- Events ---

void Dialogue::SendNotice(uint32_t id, uint32_t cause, uint32_t value) {
    OrviSimAssistantNotice notice = {0, cause, turn_ ? turn_->seq : 0, value};
    Send(stage_, id, notice);
}

void Dialogue::SendText(uint32_t id, uint32_t seq, uint32_t phase, const std::string& text) {
    OrviSimAssistantText record = {};
    record.seq = seq;
    record.phase = phase;
    record.textLength = static_cast<uint32_t>(text.size());
    Fill(record.text, text);
    Send(stage_, id, record);
}

Payload Dialogue::ErrorRecord(uint32_t code, uint32_t seq, const std::string& text) {
    OrviSimAssistantError record = {};
    record.length = sizeof(record);
    record.code = code;
    record.seq = seq;
    Fill(record.text, text);
    return BytesOf(record);
}

void Dialogue::SendErrorToAll(uint32_t code, uint32_t seq, const std::string& text) {
    stage_.TellAll(EVENT_SERVER_ERROR, ErrorRecord(code, seq, text));
}

void Dialogue::SendErrorTo(const ApplicationId& application, uint32_t code, uint32_t seq, const std::string& text) {
    stage_.Tell(application, EVENT_SERVER_ERROR, ErrorRecord(code, seq, text));
}

void Dialogue::SendChoice() {
    OrviSimAssistantChoice record = {};
    record.seq = turn_->seq;
    record.itemCount = static_cast<uint32_t>(turn_->choice.size());
    std::copy(turn_->choice.begin(), turn_->choice.end(), record.items);
    Send(stage_, EVENT_CHOOSE_ONE, record,
         ORVI_SIM_ASSISTANT_CHOICE_HEAD + turn_->choice.size() * sizeof(OrviSimAssistantItem));
}

// --- Waking, listening, sleeping ---

void Dialogue::Wake(uint32_t cause, uint32_t mode, const std::string& appId, const std::string& word) {
    CutSpeech();
    DropTurn(cause);
    mode_ = mode;
    status_ = ORVI_SIM_ASSISTANT_AWAKE;
    ++waits_;
    OrviSimAssistantWakeUp record = {};
    record.cause = cause;
    record.mode = mode;
    Fill(record.appId, appId);
    Fill(record.word, word);
    Send(stage_, EVENT_WAKE_UP, record);
}

void Dialogue::FallAsleep(uint32_t cause) {
    StopListening(ORVI_SIM_ASSISTANT_FALLS_ASLEEP);
    CutSpeech();
    DropTurn(cause);
    ++waits_;
    mode_ = ORVI_SIM_ASSISTANT_MODE_CONVERSE;
    if (std::exchange(status_, ORVI_SIM_ASSISTANT_ASLEEP) != ORVI_SIM_ASSISTANT_ASLEEP) {
        SendNotice(EVENT_SLEEP, cause);
    }
}

void Dialogue::StartListening() {
    status_ = ORVI_SIM_ASSISTANT_AWAKE;
    if (mode_ == ORVI_SIM_ASSISTANT_MODE_ANNOUNCE || muted_) {
        if (turn_ && turn_->awaitsAnswer) {
            StartWait();
        }
        return;
    }
    status_ = ORVI_SIM_ASSISTANT_LISTENING;
    SendNotice(EVENT_LISTEN, ORVI_SIM_ASSISTANT_TURN);
    StartWait();
}

void Dialogue::StopListening(uint32_t cause) {
    if (status_ == ORVI_SIM_ASSISTANT_LISTENING) {
        status_ = ORVI_SIM_ASSISTANT_AWAKE;
        ++waits_;
        SendNotice(EVENT_NO_LISTEN, cause);
    }
}

void Dialogue::StartWait() {
    const uint64_t wait = ++waits_;
    stage_.After(patience_, [this, wait] {
        if (wait == waits_) {
            OutOfTime();
        }
    });
}

void Dialogue::OutOfTime() {
    if (status_ == ORVI_SIM_ASSISTANT_SPEAKING) {
        return;  // goes on waiting when it has spoken
    }
    if (turn_ && turn_->awaitsAnswer) {
        SendErrorToAll(ORVI_SIM_ASSISTANT_NO_ANSWER, turn_->seq, "no answer to \"" + turn_->intent + "\"");
    }
    if (mode_ == ORVI_SIM_ASSISTANT_MODE_ANNOUNCE) {
        DropTurn(ORVI_SIM_ASSISTANT_OUT_OF_TIME);
        return;
    }
    StopListening(ORVI_SIM_ASSISTANT_OUT_OF_TIME);
    FallAsleep(ORVI_SIM_ASSISTANT_OUT_OF_TIME);
}

void Dialogue::OpenTurn(uint32_t seq) {
    turn_.emplace();
    turn_->seq = seq;
}

void Dialogue::DropTurn(uint32_t cause) {
    if (turn_) {
        SendNotice(EVENT_RESET, cause);
        turn_.reset();
    }
}

bool Dialogue::WakeUp(const ApplicationId& waker, uint32_t mode) {
    if (mode != ORVI_SIM_ASSISTANT_MODE_CONVERSE && mode != ORVI_SIM_ASSISTANT_MODE_ANNOUNCE) {
        return false;
    }
    if (mode == ORVI_SIM_ASSISTANT_MODE_ANNOUNCE) {
        StopListening(ORVI_SIM_ASSISTANT_ON_REQUEST);
    }
    Wake(ORVI_SIM_ASSISTANT_ON_REQUEST, mode);
    waker_ = waker;
    StartListening();
    return true;
}

void Dialogue::Sleep() {
    if (status_ != ORVI_SIM_ASSISTANT_ASLEEP) {
        FallAsleep(ORVI_SIM_ASSISTANT_ON_REQUEST);
    }
}

uint32_t Dialogue::Status() const {
    return status_;
}

// --- Hearing and understanding ---

std::string Dialogue::Hear(const std::string& text) {
    if (muted_) {
        return "not heard: the microphone is off";
    }
    if (status_ == ORVI_SIM_ASSISTANT_LISTENING) {
        Understand(text);
        return "heard";
    }
    if (status_ != ORVI_SIM_ASSISTANT_ASLEEP) {
        return "not heard: the assistant does not listen";
    }
    const std::optional<HotWords::Match> match = hotWords_.Find(text);
    if (!match) {
        return "not heard: the assistant sleeps";
    }
    Wake(ORVI_SIM_ASSISTANT_HOT_WORD, ORVI_SIM_ASSISTANT_MODE_CONVERSE, match->appId, match->word);
    StartListening();
    if (!match->rest.empty()) {
        Understand(match->rest);
    }
    return "woken up";
}

void Dialogue::Understand(const std::string& text) {
    if (!turn_) {
        OpenTurn(++lastSeq_);
    }
    turn_->text = text;
    if (const std::string half = FirstHalf(text); !half.empty()) {
        SendText(EVENT_ASR_TEXT, turn_->seq, ORVI_SIM_ASSISTANT_TEXT_PARTIAL, half);
    }
    SendText(EVENT_ASR_TEXT, turn_->seq, ORVI_SIM_ASSISTANT_TEXT_FINAL, text);
    StopListening(ORVI_SIM_ASSISTANT_HEARD);

    const SpokenWords words = WordsOf(text);
    for (size_t i = 0; i < turn_->choice.size(); ++i) {
        const OrviSimAssistantItem item = turn_->choice[i];
        const bool byPlace = words.size() == 1 && words[0].word == std::to_string(i + 1);
        if (byPlace || ContainsInOrder(words, WordsOf(item.text))) {
            TakeChoice(item);
            return;
        }
    }
    std::vector<OrviSimAssistantItem> meant;
    for (size_t i = 0; turn_->choice.empty() && i < intents_.size(); ++i) {
        if (ContainsInOrder(words, WordsOf(intents_[i].name))) {
            OrviSimAssistantItem item = {};
            item.id = static_cast<uint32_t>(i + 1);
            Fill(item.text, intents_[i].name);
            meant.push_back(item);
        }
    }
    if (meant.empty()) {
        SendErrorToAll(ORVI_SIM_ASSISTANT_NOT_UNDERSTOOD, turn_->seq, "not understood");
        (void)Say(turn_->seq, "I did not understand that.", Then::Listen);
    } else if (meant.size() == 1) {
        Mean(intents_[meant[0].id - 1]);
        NotifyIntent(0);
    } else {
        turn_->choice = std::move(meant);
        turn_->choiceOfIntents = true;
        SendChoice();
        StartListening();
    }
}

void Dialogue::Mean(const Intent& intent) {
    turn_->intent = intent.name;
    turn_->owner = intent.owner;
}

void Dialogue::NotifyIntent(uint32_t itemId) {
    turn_->awaitsAnswer = true;
    OrviSimAssistantIntent record = {};
    record.length = sizeof(record);
    record.seq = turn_->seq;
    record.itemId = itemId;
    Fill(record.name, turn_->intent);
    Fill(record.text, turn_->text);
    stage_.Tell(turn_->owner, EVENT_INTENT_NOTIFY, BytesOf(record));
    StartWait();
}

void Dialogue::TakeChoice(const OrviSimAssistantItem& item) {
    if (turn_->choiceOfIntents && item.id <= intents_.size()) {
        Mean(intents_[item.id - 1]);
    } else {
        turn_->text = item.text;
    }
    turn_->choice.clear();
    turn_->choiceOfIntents = false;
    StopListening(ORVI_SIM_ASSISTANT_HEARD);
    NotifyIntent(item.id);
}

void Dialogue::SetMicrophone(bool on) {
    if (muted_ != on) {
        return;  // it is that way already
    }
    muted_ = !on;
    SendNotice(EVENT_MIC, ORVI_SIM_ASSISTANT_ON_REQUEST, on ? 1 : 0);
    if (muted_) {
        StopListening(ORVI_SIM_ASSISTANT_MUTED);
    } else if (status_ == ORVI_SIM_ASSISTANT_AWAKE && !(turn_ && turn_->awaitsAnswer)) {
        StartListening();
    }
}

// --- What applications answer and show ---

void Dialogue::SetIntents(const ApplicationId& owner, const std::vector<std::string>& names) {
    ForgetIntents(owner);
    for (const std::string& name : names) {
        intents_.push_back({name, owner});
    }
}

void Dialogue::ForgetIntents(const ApplicationId& owner) {
    intents_.erase(
        std::remove_if(intents_.begin(), intents_.end(), [&](const Intent& intent) { return intent.owner == owner; }),
        intents_.end());
    if (turn_ && turn_->choiceOfIntents) {
        DropTurn(ORVI_SIM_ASSISTANT_ON_REQUEST);  // what was to be chosen is not there any more
    }
}

void Dialogue::Forget(const ApplicationId& application) {
    ForgetIntents(application);
    if (mode_ == ORVI_SIM_ASSISTANT_MODE_ANNOUNCE && waker_ == application) {
        FallAsleep(ORVI_SIM_ASSISTANT_DONE);
    } else if (turn_ && turn_->owner == application) {
        if (mode_ == ORVI_SIM_ASSISTANT_MODE_ANNOUNCE) {
            DropTurn(ORVI_SIM_ASSISTANT_DONE);
        } else {
            FallAsleep(ORVI_SIM_ASSISTANT_DONE);
        }
    }
}

void Dialogue::AnswerIntent(const ApplicationId& from, uint32_t seq, bool isFinal, bool isMulti,
                            const std::string& text) {
    if (!turn_ || turn_->seq != seq || !turn_->awaitsAnswer || turn_->owner != from) {
        SendErrorTo(from, ORVI_SIM_ASSISTANT_NO_SUCH_TURN, seq, "nobody waits for this answer");
        return;
    }
    ++waits_;
    Then then = Then::Rest;
    if (isFinal) {
        turn_->awaitsAnswer = false;
        turn_->choice.clear();
        then = isMulti ? Then::Listen : Then::Sleep;
        if (!isMulti) {
            turn_.reset();
        }
    }
    SayFor(from, seq, text, then);
}

void Dialogue::Speak(const ApplicationId& from, uint32_t seq, const std::string& text) {
    SayFor(from, seq, text, Then::Rest);
}

// A card that asks for a choice needs somebody who listens.
void Dialogue::ShowCard(const ApplicationId& from, uint32_t seq, const OrviSimAssistantCard& card) {
    const bool asks = card.itemCount != 0;
    if (asks && status_ == ORVI_SIM_ASSISTANT_ASLEEP) {
        Wake(ORVI_SIM_ASSISTANT_ON_REQUEST, ORVI_SIM_ASSISTANT_MODE_CONVERSE);
    }
    OrviSimAssistantCardShown shown = {0, seq, card};
    Send(stage_, EVENT_DISPLAY_CARD, shown);
    if (!asks) {
        return;
    }
    if (turn_ && turn_->seq != seq) {
        DropTurn(ORVI_SIM_ASSISTANT_ON_REQUEST);
    }
    if (!turn_) {
        OpenTurn(seq);
    }
    turn_->owner = from;
    turn_->choice.assign(card.items, card.items + card.itemCount);
    turn_->choiceOfIntents = false;
    SendChoice();
    if (status_ == ORVI_SIM_ASSISTANT_SPEAKING) {
        then_ = Then::Listen;
    } else {
        StopListening(ORVI_SIM_ASSISTANT_ON_REQUEST);
        StartListening();
    }
}

bool Dialogue::ChooseAloud(uint32_t itemId) {
    if (turn_) {
        for (const OrviSimAssistantItem& item : turn_->choice) {
            if (item.id == itemId) {
                TakeChoice(OrviSimAssistantItem(item));  // its own copy: the list is cleared
                return true;
            }
        }
    }
    return false;
}

void Dialogue::Choose(const ApplicationId& from, uint32_t seq, uint32_t itemId) {
    if (!turn_ || turn_->seq != seq || !ChooseAloud(itemId)) {
        SendErrorTo(from, ORVI_SIM_ASSISTANT_NO_SUCH_TURN, seq,
                    "there is no item " + std::to_string(itemId) + " to choose");
    }
}

void Dialogue::Refuse(const ApplicationId& from, uint32_t seq, const std::string& reason) {
    SendErrorTo(from, ORVI_SIM_ASSISTANT_MALFORMED, seq, reason);
}

// --- Speaking ---

void Dialogue::SayFor(const ApplicationId& from, uint32_t seq, const std::string& text, Then then) {
    if (!Say(seq, text, then)) {
        SendErrorTo(from, ORVI_SIM_ASSISTANT_TOO_MUCH, seq, std::to_string(MOST_SPEECHES) + " speeches wait already");
    }
}

// False when too many speeches wait.
bool Dialogue::Say(uint32_t seq, const std::string& text, Then then) {
    if (then != Then::Rest) {
        then_ = then;
    }
    if (speeches_.size() >= MOST_SPEECHES) {
        return false;
    }
    const bool speaking = !speeches_.empty();
    if (!text.empty()) {
        speeches_.push_back({seq, text});
    }
    if (speaking) {
        return true;
    }
    statusBeforeSpeech_ = status_;
    if (text.empty()) {
        Continue(std::exchange(then_, Then::Rest));
        return true;
    }
    StopListening(ORVI_SIM_ASSISTANT_SPEAKS);
    BeginSpeech();
    return true;
}

void Dialogue::BeginSpeech() {
    const Speech& speech = speeches_.front();
    status_ = ORVI_SIM_ASSISTANT_SPEAKING;
    SendText(EVENT_TTS_TEXT, speech.seq, ORVI_SIM_ASSISTANT_TEXT_BEGINS, speech.text);
    const auto duration = std::max(SHORTEST_SPEECH, timePerCharacter_ * static_cast<int>(speech.text.size()));
    const uint64_t utterance = ++utterances_;
    stage_.After(duration, [this, utterance] {
        if (utterance == utterances_) {
            EndSpeech();
        }
    });
}

void Dialogue::EndSpeech() {
    const Speech speech = speeches_.front();
    speeches_.pop_front();
    SendText(EVENT_TTS_TEXT, speech.seq, ORVI_SIM_ASSISTANT_TEXT_ENDED, speech.text);
    if (!speeches_.empty()) {
        BeginSpeech();
        return;
    }
    Continue(std::exchange(then_, Then::Rest));
}

// What is being said ends now, what waits is forgotten.
void Dialogue::CutSpeech() {
    if (!speeches_.empty()) {
        const Speech& speech = speeches_.front();
        SendText(EVENT_TTS_TEXT, speech.seq, ORVI_SIM_ASSISTANT_TEXT_CUT, speech.text);
        status_ = ORVI_SIM_ASSISTANT_AWAKE;
    }
    ++utterances_;
    speeches_.clear();
    then_ = Then::Rest;
}

// Nothing is left to say.
void Dialogue::Continue(Then then) {
    switch (then) {
        case Then::Sleep:
            if (mode_ == ORVI_SIM_ASSISTANT_MODE_ANNOUNCE) {
                break;
            }
            FallAsleep(ORVI_SIM_ASSISTANT_DONE);
            return;
        case Then::Listen:
            StopListening(ORVI_SIM_ASSISTANT_SPEAKS);
            StartListening();
            return;
        case Then::Rest:
            break;
    }
    if (status_ == ORVI_SIM_ASSISTANT_SPEAKING && statusBeforeSpeech_ == ORVI_SIM_ASSISTANT_LISTENING) {
        StartListening();
        return;
    }
    status_ = statusBeforeSpeech_;
    if (turn_ && turn_->awaitsAnswer) {
        StartWait();
    }
}

// --- For people and tests ---

void Dialogue::Fail(const std::string& text) {
    SendErrorToAll(ORVI_SIM_ASSISTANT_NO_ANSWER, turn_ ? turn_->seq : 0, text);
    if (status_ != ORVI_SIM_ASSISTANT_ASLEEP) {
        FallAsleep(ORVI_SIM_ASSISTANT_DONE);
    }
}

void Dialogue::SetPatience(milliseconds patience) {
    patience_ = patience;
}

void Dialogue::SetTimePerCharacter(milliseconds time) {
    timePerCharacter_ = time;
}

std::string Dialogue::Describe() const {
    static const char* const STATUS[] = {"", "asleep", "awake", "listening", "speaking"};
    std::string text = std::string("assistant=") + STATUS[status_] + " mode=" + std::to_string(mode_) +
                       " microphone=" + (muted_ ? "off" : "on") + " turn=" + std::to_string(turn_ ? turn_->seq : 0) +
                       " intents=";
    for (size_t i = 0; i < intents_.size(); ++i) {
        text += (i == 0 ? "" : ",") + intents_[i].name;
    }
    return text;
}

}  // namespace orvi_sim
