// Captions: a conversation that is heard again and again, word by word. They belong to the room: everybody hears them,
// anybody may stop them, and they end with the last application that started or prepared them.
#ifndef ORVI_SIM_FEATURES_CAPTIONS_H
#define ORVI_SIM_FEATURES_CAPTIONS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "features/feature.h"
#include "features/tenants.h"
#include "service/stage.h"

namespace orvi_sim {

class Captions : public Feature {
 public:
    explicit Captions(Stage& stage) : stage_(stage) {}

    RequestTable Requests() const override;
    std::vector<Direction> Directions() override;
    void OnGone(const ApplicationId& application) override;
    std::string Describe() const override;

 private:
    // Where the conversation is.
    struct Place {
        uint32_t line;    // of the conversation
        uint32_t number;  // of the caption
        size_t shown;     // characters of it that have been sent
        uint32_t startMs;
    };

    void Init(const Request& request, Answer& answer);
    void Deinit(const Request& request, Answer& answer);
    void Start(const Request& request, Answer& answer);
    void Stop(const Request& request, Answer& answer);
    void End();
    void TellSwitch();
    Payload SwitchPayload() const;
    void PlanWords(std::chrono::milliseconds delay, Place place);
    void SendWords(Place place);
    void SendLine(uint32_t number, bool isFinal, uint32_t startMs, const std::string& speaker, const std::string& text);
    Outcome Hear(const Arguments& arguments);
    Outcome SwitchConversation(bool isOn);

    Stage& stage_;
    Tenants preparers_;
    Tenants users_;
    bool isRunning_ = false;
    bool isReported_ = false;
    std::string conference_;  // while they run
    uint64_t run_ = 0;        // counts the starts: words planned before the last one are not sent any more
    std::chrono::milliseconds startedAt_{0};
    bool isConversing_ = true;
    uint32_t lines_ = 0;     // heard since the start
    std::string speaker_;    // of the last one; empty before the first
    uint32_t openLine_ = 0;  // what somebody goes on saying; 0: nothing
};

}  // namespace orvi_sim

#endif
