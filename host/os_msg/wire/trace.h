// Tells the monitor what this process sends, when ORVI_BUS_TRACE is set.
//
// One datagram a message to the socket "monitor" in the bus directory, a text of one line:
//   <monotonic ns> <kind> <from process> <to process>/<to task> id=<hex> seq=<n> len=<n> result=<n> lost=<n>
// `kind` is "one-way", "request" or "reply"; a reply goes to the asking process, its task is "-". Names are encoded as
// in the bus directory. Payloads are private and never leave the sender. `lost` counts the messages of this process
// that were not told, because the monitor was absent or slow: it is never waited for.
#ifndef ORVI_HOST_OS_MSG_TRACE_H
#define ORVI_HOST_OS_MSG_TRACE_H

#include <cstdint>
#include <string>

#include "wire/frame.h"

namespace orvi_bus {

extern bool g_tracing;  // set by StartTrace, constant from then on

// Once, on joining: messages of the process `procName` are told to the socket from now on.
void StartTrace(const std::string& monitorSocket, const char* procName);

void TraceFrame(const FrameHeader& header, const char* toProc, const char* toTask, int result);

// Off, this is one comparison.
inline void Trace(const FrameHeader& header, const char* toProc, const char* toTask, int result) {
    if (__builtin_expect(g_tracing, false)) {
        TraceFrame(header, toProc, toTask, result);
    }
}

}  // namespace orvi_bus

#endif
