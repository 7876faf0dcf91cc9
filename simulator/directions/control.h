// The control channel on standard input: directions in, one answer line each out.
#ifndef ORVI_SIM_DIRECTIONS_CONTROL_H
#define ORVI_SIM_DIRECTIONS_CONTROL_H

#include "directions/directions.h"
#include "stop_signal.h"

namespace orvi_sim {

// Serves standard input until the program ends, "quit" comes or the input ends, which both end the program; an input that
// is empty does not.
void ServeControl(const Directions& directions, StopSignal& stop);

}  // namespace orvi_sim

#endif
