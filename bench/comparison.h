// The comparison: in each round every peer has a turn at each shape in each placement, one right after the other, so that
// what changes on the machine changes for all of them.
#ifndef ORVI_BENCH_COMPARISON_H
#define ORVI_BENCH_COMPARISON_H

#include <string>
#include <vector>

#include "shapes.h"

namespace bench {

struct Options {
    uint32_t rounds = 15;
    uint32_t turnMs = 20;
    double othersShare = 0.1;  // of the machine's time: beyond it a slot is done again, twice at most
    std::vector<std::string> only;
};

// Of one peer at one shape in one placement.
struct Cell {
    bool measured = false;
    double ratio;     // median over the rounds of: median of its calls / median of SEQPACKET's in the same slot
    double medianUs;  // median over the rounds
    double p99Us;     // of all calls
    double clientCpuUs;
    double serviceCpuUs;
    double allocations;
};

struct Results {
    std::vector<std::string> peers;
    std::vector<Cell> cells;  // by peer, shape and placement
    uint32_t slots = 0;       // that count
    uint32_t thrownAway = 0;
    uint32_t disturbed = 0;  // that count though they were disturbed the last time, too
    std::string leftOut;     // peers that were not built or did not start

    Cell& At(size_t peer, size_t shape, size_t placement) {
        return cells[(peer * kShapeCount + shape) * kPlacementCount + placement];
    }
    const Cell& At(size_t peer, size_t shape, size_t placement) const {
        return cells[(peer * kShapeCount + shape) * kPlacementCount + placement];
    }
};

Results Compare(const Options& options);

}  // namespace bench

#endif
