// Ends of the process that nobody has prepared for, as a fault asks for them.
#ifndef ORVI_SIM_SERVICE_PROCESS_END_H
#define ORVI_SIM_SERVICE_PROCESS_END_H

namespace orvi_sim {

// As kill -9 would.
[[noreturn]] void Die();

// The same for whoever is connected; the process starts again with the arguments that it had, and keeps its number.
[[noreturn]] void StartAgain();

}  // namespace orvi_sim

#endif
