// Directions that arm faults and take them away.
#ifndef ORVI_SIM_DIRECTIONS_FAULT_DIRECTIONS_H
#define ORVI_SIM_DIRECTIONS_FAULT_DIRECTIONS_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "directions/direction.h"
#include "service/service.h"
#include "service/stage.h"

namespace orvi_sim {

class FaultDirections {
 public:
    // Both outlive the object.
    FaultDirections(Stage& stage, Service& service) : stage_(stage), service_(service) {}

    std::vector<Direction> OnStage();

 private:
    using Change = std::function<void(Fault&)>;

    std::optional<std::string> FaultOfMessage(const Argument& message, FaultPart part) const;
    Outcome Arm(const Arguments& arguments, FaultPart part, const Change& change);
    Outcome Refuse(const Arguments& arguments);
    Outcome Reply(const Arguments& arguments);
    Outcome Lengthen(const Arguments& arguments);
    Outcome Lose(const Arguments& arguments);
    Outcome Crash(const Arguments& arguments);
    Outcome List();
    Outcome Release(const Arguments& arguments);
    Outcome Reset(const Arguments& arguments);
    Outcome ResetAll();
    Faults& FaultsOf(bool isEvent);
    size_t LetGo(bool isEvent, uint32_t id);

    Stage& stage_;
    Service& service_;
};

}  // namespace orvi_sim

#endif
