// The large language model. Each application has a model of its own: what it initialises, asks and cancels concerns
// nobody else, and the answers come to it alone. A reply is a record without a verdict; the answer follows as events.
#ifndef ORVI_SIM_FEATURES_MODEL_H
#define ORVI_SIM_FEATURES_MODEL_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "features/feature.h"
#include "service/stage.h"

namespace orvi_sim {

class Model : public Feature {
 public:
    explicit Model(Stage& stage);

    RequestTable Requests() const override;
    std::vector<Direction> Directions() override;
    void OnGone(const ApplicationId& application) override { sessions_.erase(application); }
    std::string Describe() const override;

 private:
    // An answer under way.
    struct Given {
        std::vector<std::string> pieces;
        size_t sent = 0;
        size_t sentLength = 0;
        uint64_t number = 0;  // tells it from a later one to the same request
    };
    // Of one application, from its initialisation to its de-initialisation: the answers by the request's id.
    using Session = std::map<uint32_t, Given>;

    void Ability(const Request& request, Answer& answer);
    void Init(const Request& request, Answer& answer);
    void Ask(const Request& request, Answer& answer);
    void DeInit(const Request& request, Answer& answer);

    Outcome SetAnswer(const std::string& text);
    Outcome SetNextFailure(const std::string& word);
    Outcome SetAbility(const std::string& which, bool isThere);

    void Begin(const ApplicationId& application, uint32_t requestId, uint32_t type, const std::string& text);
    void PlanNext(const ApplicationId& application, uint32_t requestId, uint64_t number);
    bool SendNext(const ApplicationId& application, uint32_t requestId, Given& given);
    bool End(const ApplicationId& application, uint32_t requestId, uint32_t result);
    void TellEnd(const ApplicationId& application, uint32_t requestId, uint32_t result, const Given& given);

    Stage& stage_;
    std::map<ApplicationId, Session> sessions_;
    uint64_t answersBegun_ = 0;
    bool hasCloudModel_ = true;
    bool hasVoiceAssistant_ = true;
    std::optional<std::string> answer_;    // to every question; without one it is made from the question's words
    std::optional<uint32_t> nextFailure_;  // an OrviSimModelResult
    std::chrono::milliseconds pace_;
};

}  // namespace orvi_sim

#endif
