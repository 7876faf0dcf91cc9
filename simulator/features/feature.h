// What every feature of the service has in common. One is an object that `main` owns: it brings its rows of requests,
// its directions and its description, and keeps its state in itself. All its functions are called with the stage
// entered, so it needs no lock of its own.
#ifndef ORVI_SIM_FEATURES_FEATURE_H
#define ORVI_SIM_FEATURES_FEATURE_H

#include <string>
#include <vector>

#include "directions/direction.h"
#include "service/application.h"
#include "service/request.h"

namespace orvi_sim {

class Feature : public ApplicationListener {
 public:
    Feature() = default;
    Feature(const Feature&) = delete;
    Feature& operator=(const Feature&) = delete;

    virtual RequestTable Requests() const = 0;

    // What a person or a script can make happen here.
    virtual std::vector<Direction> Directions() { return {}; }

    // A one-way message was refused. The reason is in the log; this is for what its sender is told.
    virtual void OnRefused(const Request&, const std::string&) {}

    // NAME=VALUE each, for people and tests; empty when there is nothing to tell.
    virtual std::string Describe() const { return {}; }
};

}  // namespace orvi_sim

#endif
