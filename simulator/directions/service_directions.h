// Directions that concern no feature but applications, events by hand, waits and the service itself.
#ifndef ORVI_SIM_DIRECTIONS_SERVICE_DIRECTIONS_H
#define ORVI_SIM_DIRECTIONS_SERVICE_DIRECTIONS_H

#include <chrono>
#include <string>
#include <vector>

#include "directions/direction.h"
#include "features/feature.h"
#include "service/service.h"
#include "service/stage.h"
#include "stop_signal.h"

namespace orvi_sim {

class ServiceDirections {
 public:
    // All outlive the object.
    ServiceDirections(Stage& stage, Service& service, StopSignal& stop, const std::vector<Feature*>& features)
        : stage_(stage), service_(service), stop_(stop), features_(features) {}

    // Of the page that shows the room. Before the service starts.
    void SetViewAddress(std::string address) { viewAddress_ = std::move(address); }

    std::vector<Direction> OnStage();
    std::vector<Direction> OffStage();  // those that wait

 private:
    Outcome Push(const Arguments& arguments);
    Outcome TellClock() const;
    Outcome SetPace(const Argument& pace);
    Outcome Step(std::chrono::milliseconds time);
    Outcome SetTime(uint32_t second);
    Outcome ListClients() const;
    Outcome DescribeAll() const;
    Outcome Waited(bool isDone, const Argument& given) const;
    Outcome AwaitClients(const Arguments& arguments);
    Outcome AwaitRequest(const Arguments& arguments);
    Outcome AwaitSent(const Arguments& arguments);
    Outcome Count(const Arguments& arguments);

    Stage& stage_;
    Service& service_;
    StopSignal& stop_;
    const std::vector<Feature*>& features_;
    std::string viewAddress_;
};

}  // namespace orvi_sim

#endif
