// Applications that come and go.
#ifndef ORVI_SIM_FEATURES_CONNECTION_H
#define ORVI_SIM_FEATURES_CONNECTION_H

#include "features/feature.h"
#include "service/stage.h"

namespace orvi_sim {

class Connection : public Feature {
 public:
    explicit Connection(Stage& stage) : stage_(stage) {}

    RequestTable Requests() const override;

 private:
    void Announce(const Request& request, Answer& answer);
    void Leave(const Request& request, Answer& answer);

    Stage& stage_;
};

}  // namespace orvi_sim

#endif
