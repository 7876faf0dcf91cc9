// Face detectors, the pictures that they report, and the photos of faces. A detector belongs to the application that
// created it and ends with it.
#ifndef ORVI_SIM_FEATURES_FACE_H
#define ORVI_SIM_FEATURES_FACE_H

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "features/feature.h"
#include "service/stage.h"

namespace orvi_sim {

class Face : public Feature {
 public:
    explicit Face(Stage& stage);

    RequestTable Requests() const override;
    void OnGone(const ApplicationId& application) override;
    std::string Describe() const override;

 private:
    using Clock = std::chrono::steady_clock;

    struct Detector {
        ApplicationId owner;
        Payload address;  // as it came
        uint32_t sourceId;
        uint32_t frameRate;
        bool keepIds;
        uint32_t status;
        uint64_t run;  // counts the starts: pictures planned before the last one are not sent any more
        Clock::time_point startedAt;
    };
    using Detectors = std::map<uint32_t, Detector>;

    void Create(const Request& request, Answer& answer);
    void Start(const Request& request, Answer& answer);
    void Stop(const Request& request, Answer& answer);
    void Destroy(const Request& request, Answer& answer);
    void Photos(const Request& request, Answer& answer);

    Detectors::iterator Find(const Request& request);
    std::chrono::milliseconds SceneTime() const;
    Payload Picture(const Detector& detector) const;
    void PlanPicture(uint32_t number, const Detector& detector, uint64_t picture);
    void SendPicture(uint32_t number, const Detector& detector, uint64_t picture);

    Stage& stage_;
    const Clock::time_point sceneStart_ = Clock::now();
    Detectors detectors_;
    uint32_t lastNumber_;
};

}  // namespace orvi_sim

#endif
