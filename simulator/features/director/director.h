// The camera director and the device lock. They belong to the device: nobody owns them. Applications do not read these
// replies.
#ifndef ORVI_SIM_FEATURES_DIRECTOR_H
#define ORVI_SIM_FEATURES_DIRECTOR_H

#include <cstdint>
#include <string>

#include "features/feature.h"

namespace orvi_sim {

class Director : public Feature {
 public:
    RequestTable Requests() const override;
    std::vector<Direction> Directions() override;
    std::string Describe() const override;

 private:
    void Create(const Request& request, Answer& answer);
    void Remove(const Request& request, Answer& answer);
    void Start(const Request& request, Answer& answer);
    void Stop(const Request& request, Answer& answer);
    void SetLockState(int32_t state);
    void ChangeLockState(const Request& request, Answer& answer);

    bool created_ = true;  // the device turns its director on by itself
    bool running_ = true;
    int32_t lockState_ = 0;
};

}  // namespace orvi_sim

#endif
