// What the library logs, kept back until a call fails and somebody wants to know why.
#ifndef ORVI_AI_TOOL_LIBRARY_LOG_H
#define ORVI_AI_TOOL_LIBRARY_LOG_H

#include <string>

namespace orvi_ai {

// To be called before the library's first record. Leaves the log where it goes when the user has said so with
// ORVI_LOG_FILE; there is nothing to show then.
void CatchLibraryLog();

// What has been logged since the last call of this; of more than 4096 bytes the end.
std::string TakeLibraryLog();

}  // namespace orvi_ai

#endif
