// Face detectors, the pictures that they report, and the photos of faces. A detector belongs to the application that
// created it and ends with it.
#ifndef ORVI_SIM_FEATURES_FACE_H
#define ORVI_SIM_FEATURES_FACE_H

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "features/feature.h"
#include "orvi_vision_sim_payloads.h"
#include "service/stage.h"

namespace orvi_sim {

class Face : public Feature {
 public:
    explicit Face(Stage& stage);

    RequestTable Requests() const override;
    void OnGone(const ApplicationId& application) override;
    std::vector<Direction> Directions() override;
    std::string Describe() const override;

 private:
    struct Detector {
        ApplicationId owner;
        Payload address;  // as it came
        uint32_t sourceId;
        uint32_t frameRate;
        bool keepIds;
        uint32_t status;
        uint64_t run;  // counts the starts: pictures planned before the last one are not sent any more
        std::chrono::milliseconds startedAt;
    };
    using Detectors = std::map<uint32_t, Detector>;

    void Create(const Request& request, Answer& answer);
    void Start(const Request& request, Answer& answer);
    void Stop(const Request& request, Answer& answer);
    void Destroy(const Request& request, Answer& answer);
    void Photos(const Request& request, Answer& answer);

    Detectors::iterator Find(const Request& request);
    Outcome SetFaces(const Argument& word);
    Outcome MoveFace(uint32_t number, uint32_t x, uint32_t y);
    Payload Picture(const Detector& detector) const;
    void PlanPicture(uint32_t number, const Detector& detector, uint64_t picture);
    void SendPicture(uint32_t number, const Detector& detector, uint64_t picture);

    Stage& stage_;
    Detectors detectors_;
    uint32_t lastNumber_;
    std::optional<std::vector<OrviSimFace>> posed_;  // in the place of the scene
};

}  // namespace orvi_sim

#endif
