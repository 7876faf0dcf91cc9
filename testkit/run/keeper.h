// The process that does the work of a run and outlives whatever happens to the one that was called.
#ifndef ORVI_TEST_RUN_KEEPER_H
#define ORVI_TEST_RUN_KEEPER_H

#include "run_order.h"
#include "scratch.h"

namespace orvi_test_run {

// What the keeper tells at its end.
struct Result {
    int code;  // for the caller of orvi-test-run
};

// Runs the order: service, command, and the end of both and of the directory. `link` is a socket to the process that was
// called: an int that arrives is a signal for the command, after which the run ends; its end means that this process has
// gone, and ends the run as well. The result is written there. What is told goes to standard error.
void Keep(const Order& order, Scratch& scratch, int link);

}  // namespace orvi_test_run

#endif
