// Ends of the process that nobody has prepared for, as a fault asks for them.
#ifndef ORVI_SIM_SERVICE_PROCESS_END_H
#define ORVI_SIM_SERVICE_PROCESS_END_H

#include <string>

namespace orvi_sim {

// As kill -9 would.
[[noreturn]] void Die();

// The same for whoever is connected; the process starts again with the arguments that it had, and keeps its number.
[[noreturn]] void StartAgain();

// What one process leaves for the one that StartAgain makes of it, under a name of the environment. What another process
// has left, or somebody has written there, is not taken: empty.
void LeaveForNext(const char* name, const std::string& words);
std::string LeftByLast(const char* name);

}  // namespace orvi_sim

#endif
