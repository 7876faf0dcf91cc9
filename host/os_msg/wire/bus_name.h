// Names of processes and tasks on the bus.
#ifndef ORVI_HOST_OS_MSG_BUS_NAME_H
#define ORVI_HOST_OS_MSG_BUS_NAME_H

#include <string>

#include "orvi_os_msg.h"

namespace orvi_bus {

// A bus name: 1 to 15 bytes and the NUL, within a field of OS_MSG_NAME_SIZE. Null is no name.
bool IsName(const char* name);
// Copies a name into a field, zero-filled.
void SetName(char (&field)[OS_MSG_NAME_SIZE], const char* name);

// The name as part of a file name: bytes that a file name or the bus directory's own grammar cannot hold become %XX.
std::string EncodeName(const char* name);

}  // namespace orvi_bus

#endif
