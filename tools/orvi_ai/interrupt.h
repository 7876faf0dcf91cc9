// Ctrl-C and its likes: the program ends in at most a second, also while a call waits for a service that hangs.
#ifndef ORVI_AI_TOOL_INTERRUPT_H
#define ORVI_AI_TOOL_INTERRUPT_H

namespace orvi_ai {

// To be called before any other thread exists. The first signal ends what waits for events; whoever has not left by then
// is left behind, and the program ends with 1.
void CatchInterrupts();

// The service has been left: what the program still does is its own and takes no time.
void StopHurrying();

}  // namespace orvi_ai

#endif
