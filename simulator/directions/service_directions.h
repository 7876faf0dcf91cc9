// Directions that concern no feature: pushes, applications, waits, faults.
#ifndef ORVI_SIM_DIRECTIONS_SERVICE_DIRECTIONS_H
#define ORVI_SIM_DIRECTIONS_SERVICE_DIRECTIONS_H

#include <functional>
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

    std::vector<Direction> OnStage();
    std::vector<Direction> OffStage();  // those that wait

 private:
    Outcome Push(const std::string* process, const Argument& message, const std::vector<std::string>& words);
    Outcome ListClients() const;
    Outcome DescribeAll() const;
    Outcome AwaitClients(uint32_t count, const Argument& waitMs);
    Outcome AwaitRequest(uint32_t id, uint32_t count, const Argument& waitMs);
    Outcome AwaitSent(const Argument& waitMs);
    Outcome Count(const Arguments& arguments);

    enum FaultKind { OF_MESSAGES, OF_REPLIES };
    Outcome Change(const Argument& message, FaultKind kind, const std::function<void(Fault&)>& change);
    Outcome Reply(const Arguments& arguments, Fault::Reply reply);
    Outcome Refuse(const Arguments& arguments);
    Outcome Delay(const Arguments& arguments);
    Outcome Release(const Arguments& arguments);
    Outcome Reset(const Arguments& arguments);
    Outcome ResetAll();
    Faults& FaultsOf(bool isEvent);
    size_t LetGo(bool isEvent, uint32_t id);

    Stage& stage_;
    Service& service_;
    StopSignal& stop_;
    const std::vector<Feature*>& features_;
};

}  // namespace orvi_sim

#endif
