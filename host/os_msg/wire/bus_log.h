// The bus's own log: errors and a few lines worth telling, one line each.
#ifndef ORVI_HOST_OS_MSG_BUS_LOG_H
#define ORVI_HOST_OS_MSG_BUS_LOG_H

#include <cstdint>

#include "orvi_os_msg.h"

namespace orvi_bus {

constexpr uint32_t kLogNothing = 0;
constexpr uint32_t kLogError = 1;
constexpr uint32_t kLogInfo = 3;

// Any thread, takes no lock, allocates nothing. Never writes a message's payload.
void Log(uint32_t level, const char* format, ...) __attribute__((format(printf, 2, 3)));

void SetLogLevel(uint32_t level);
void SetLogFunction(OsMsgLogFunc function);

// What reaches standard error when no log function is set; the level of SetLogLevel still holds. Clients raise
// that level for their log function's sake, and a user's terminal is not to be flooded by it.
void SetStderrLimit(uint32_t level);

}  // namespace orvi_bus

#endif
