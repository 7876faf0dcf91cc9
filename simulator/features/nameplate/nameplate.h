// Nameplates: prepared, then switched on and off. Everybody is told of the switching. They are put away with the last
// application that prepared them, and go off with the last one that switched them on.
#ifndef ORVI_SIM_FEATURES_NAMEPLATE_H
#define ORVI_SIM_FEATURES_NAMEPLATE_H

#include <string>

#include "features/feature.h"
#include "features/tenants.h"
#include "service/stage.h"

namespace orvi_sim {

class Nameplate : public Feature {
 public:
    explicit Nameplate(Stage& stage) : stage_(stage) {}

    RequestTable Requests() const override;
    void OnGone(const ApplicationId& application) override;
    std::string Describe() const override;

 private:
    enum State { OFF, READY, ON };

    void Init(const Request& request, Answer& answer);
    void Deinit(const Request& request, Answer& answer);
    void Start(const Request& request, Answer& answer);
    void Stop(const Request& request, Answer& answer);
    void Switch(State state, const char* word);
    void PutAway();

    Stage& stage_;
    State state_ = OFF;
    Tenants preparers_;
    Tenants users_;
};

}  // namespace orvi_sim

#endif
