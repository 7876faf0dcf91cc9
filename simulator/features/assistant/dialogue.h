// The voice assistant's conversation: what it is doing, whose turn it is, what it says. On the stage. Each function tells
// the events that it causes before it returns, so that their order is the order of causes: everybody hears them, but the
// notice of an intent goes to the application that registered it, and a refusal to the one that is refused.
#ifndef ORVI_SIM_FEATURES_DIALOGUE_H
#define ORVI_SIM_FEATURES_DIALOGUE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "features/assistant/hot_words.h"
#include "orvi_vision_sim_payloads.h"
#include "service/application.h"
#include "service/stage.h"

namespace orvi_sim {

class Dialogue {
 public:
    // Both outlive the object.
    Dialogue(Stage& stage, const HotWords& hotWords) : stage_(stage), hotWords_(hotWords) {}
    Dialogue(const Dialogue&) = delete;
    Dialogue& operator=(const Dialogue&) = delete;

    static constexpr size_t LONGEST_TEXT = 1024;  // bytes, of what is said by whomever

    // --- What applications ask for ---

    void SetIntents(const ApplicationId& owner, const std::vector<std::string>& names);  // in the place of its earlier
    bool WakeUp(const ApplicationId& waker, uint32_t mode);                              // false: no such mode
    void Sleep();
    void AnswerIntent(const ApplicationId& from, uint32_t seq, bool isFinal, bool isMulti, const std::string& text);
    void Speak(const ApplicationId& from, uint32_t seq, const std::string& text);
    void ShowCard(const ApplicationId& from, uint32_t seq, const OrviSimAssistantCard& card);  // its texts have ends
    void Choose(const ApplicationId& from, uint32_t seq, uint32_t itemId);
    void Refuse(const ApplicationId& from, uint32_t seq, const std::string& reason);  // a request was malformed

    // Its intents are forgotten, and what waits for its answer ends.
    void Forget(const ApplicationId& application);

    uint32_t Status() const;

    // --- What the people in the room do ---

    // Somebody says something, LONGEST_TEXT bytes at most. Returns what becomes of it, for the one who typed it.
    std::string Hear(const std::string& text);
    void SetMicrophone(bool on);
    bool ChooseAloud(uint32_t itemId);  // false when there is no such item to choose
    void Fail(const std::string& text);

    // How long the assistant waits for somebody's words and for an application's answer.
    void SetPatience(std::chrono::milliseconds patience);

    // How fast it speaks.
    void SetTimePerCharacter(std::chrono::milliseconds time);

    std::string Describe() const;  // NAME=VALUE each, for people and tests

 private:
    struct Intent {
        std::string name;
        ApplicationId owner;
    };
    // One exchange: what was said, what it means, what is still open.
    struct Turn {
        uint32_t seq;
        ApplicationId owner;  // whose intent or card it is; without a name until that is known
        std::string text;
        std::string intent;                        // empty until it is known
        std::vector<OrviSimAssistantItem> choice;  // open; the items are intents while `intent` is not known
        bool choiceOfIntents;
        bool awaitsAnswer;  // the intent has been notified
    };
    struct Speech {
        uint32_t seq;
        std::string text;
    };
    enum class Then { Rest, Listen, Sleep };  // after the last speech; Rest: as before the first

    void SendNotice(uint32_t id, uint32_t cause, uint32_t value = 0);
    void SendText(uint32_t id, uint32_t seq, uint32_t phase, const std::string& text);
    static Payload ErrorRecord(uint32_t code, uint32_t seq, const std::string& text);
    void SendErrorToAll(uint32_t code, uint32_t seq, const std::string& text);
    void SendErrorTo(const ApplicationId& application, uint32_t code, uint32_t seq, const std::string& text);
    void SendChoice();
    void Wake(uint32_t cause, uint32_t mode, const std::string& appId = "", const std::string& word = "");
    void FallAsleep(uint32_t cause);
    void StartListening();
    void StopListening(uint32_t cause);
    void StartWait();
    void OutOfTime();
    void OpenTurn(uint32_t seq);
    void DropTurn(uint32_t cause);
    void Understand(const std::string& text);
    void ForgetIntents(const ApplicationId& owner);
    void Mean(const Intent& intent);
    void NotifyIntent(uint32_t itemId);
    void TakeChoice(const OrviSimAssistantItem& item);
    void SayFor(const ApplicationId& from, uint32_t seq, const std::string& text, Then then);
    bool Say(uint32_t seq, const std::string& text, Then then);
    void BeginSpeech();
    void EndSpeech();
    void CutSpeech();
    void Continue(Then then);

    Stage& stage_;
    const HotWords& hotWords_;
    uint32_t status_ = ORVI_SIM_ASSISTANT_ASLEEP;
    uint32_t mode_ = ORVI_SIM_ASSISTANT_MODE_CONVERSE;
    bool muted_ = false;
    ApplicationId waker_;  // in the announcing mode
    std::vector<Intent> intents_;
    uint32_t lastSeq_ = 0;
    std::optional<Turn> turn_;
    std::deque<Speech> speeches_;  // the first one is being spoken
    uint32_t statusBeforeSpeech_ = ORVI_SIM_ASSISTANT_ASLEEP;
    Then then_ = Then::Rest;
    std::chrono::milliseconds patience_{10000};
    std::chrono::milliseconds timePerCharacter_{5};
    uint64_t waits_ = 0;       // counts the waits that began or ended: a timer of an earlier one is void
    uint64_t utterances_ = 0;  // the same for speeches
};

}  // namespace orvi_sim

#endif
