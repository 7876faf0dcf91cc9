// Signature and minutes, of one conference at a time: for as long as somebody who started them is there.
#ifndef ORVI_SIM_FEATURES_MINUTES_H
#define ORVI_SIM_FEATURES_MINUTES_H

#include <string>

#include "features/feature.h"
#include "features/tenants.h"

namespace orvi_sim {

class Minutes : public Feature {
 public:
    RequestTable Requests() const override;
    void OnGone(const ApplicationId& application) override;
    std::string Describe() const override;

 private:
    void Start(const Request& request, Answer& answer);
    void Stop(const Request& request, Answer& answer);
    void End();

    std::string conference_;  // whose minutes are taken; empty: none
    Tenants users_;
};

}  // namespace orvi_sim

#endif
