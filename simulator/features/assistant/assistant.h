// The voice assistant: three tasks, most messages one-way, so that a refusal is told by an event.
#ifndef ORVI_SIM_FEATURES_ASSISTANT_H
#define ORVI_SIM_FEATURES_ASSISTANT_H

#include <string>
#include <vector>

#include "features/assistant/dialogue.h"
#include "features/assistant/hot_words.h"
#include "features/feature.h"
#include "service/stage.h"

namespace orvi_sim {

class Assistant : public Feature {
 public:
    explicit Assistant(Stage& stage) : dialogue_(stage, hotWords_) {}

    RequestTable Requests() const override;
    std::vector<Direction> Directions() override;
    void OnGone(const ApplicationId& application) override;
    void OnRefused(const Request& request, const std::string& reason) override;
    std::string Describe() const override;  // and the hot words of each application

 private:
    void InitIntents(const Request& request, Answer& answer);
    void RequestTts(const Request& request, Answer& answer);
    void IntentResult(const Request& request, Answer& answer);
    void DisplayCard(const Request& request, Answer& answer);
    void ChooseItem(const Request& request, Answer& answer);
    void Sleep(const Request& request, Answer& answer);
    void WakeUp(const Request& request, Answer& answer);
    void SetPageInfo(const Request& request, Answer& answer);
    void GetPageInfo(const Request& request, Answer& answer);
    void GetStatus(const Request& request, Answer& answer);
    void RegisterHotWords(const Request& request, Answer& answer);
    void ReplaceHotWords(const Request& request, Answer& answer);
    void AddHotWords(const Request& request, Answer& answer);
    void RemoveHotWords(const Request& request, Answer& answer);
    void ChangeHotWords(const Request& request, HotWords::Change change, Answer& answer);

    Outcome Say(const std::string& text);

    HotWords hotWords_;
    Dialogue dialogue_;
    Payload pageInfo_ = Payload(sizeof(OrviSimPageInfo));
};

}  // namespace orvi_sim

#endif
