// The simulator's log: lines on stderr, each written whole, so that several threads and several processes may
// share one terminal.
#ifndef ORVI_SIM_LOG_H
#define ORVI_SIM_LOG_H

namespace orvi_sim {

// Called once, before the first thread starts.
void SetVerbose(bool verbose);

// What somebody who starts the service wants to know.
void Log(const char* format, ...) __attribute__((format(printf, 1, 2)));

// What somebody who looks for a fault wants to know: every message. Written with --verbose only.
void LogVerbose(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace orvi_sim

#endif
