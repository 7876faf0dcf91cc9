// Directions that tell what applications asked, and whether they asked what was expected.
#ifndef ORVI_SIM_DIRECTIONS_JOURNAL_DIRECTIONS_H
#define ORVI_SIM_DIRECTIONS_JOURNAL_DIRECTIONS_H

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "directions/direction.h"
#include "service/traffic.h"
#include "stop_signal.h"

namespace orvi_sim {

// None of them enters the stage.
class JournalDirections {
 public:
    // Both outlive the object.
    JournalDirections(Traffic& traffic, const StopSignal& stop) : traffic_(traffic), stop_(stop) {}

    std::vector<Direction> OffStage();

 private:
    Outcome Journal(const Arguments& arguments) const;
    Outcome Expect(const Arguments& arguments, bool isWanted) const;

    Traffic& traffic_;
    const StopSignal& stop_;
    std::atomic<uint64_t> mark_{0};  // the last entry before it
};

}  // namespace orvi_sim

#endif
