// The message bus seen from here: its blocks.
#ifndef ORVI_SIM_SERVICE_BUS_BLOCK_H
#define ORVI_SIM_SERVICE_BUS_BLOCK_H

#include <cstring>
#include <string>

#include "orvi_host_bus.h"

namespace orvi_sim {

// A name field's text; a field without an end is cut.
inline std::string NameField(const char (&field)[OS_MSG_NAME_SIZE]) {
    return std::string(field, strnlen(field, sizeof(field)));
}

inline void SetNameField(char (&field)[OS_MSG_NAME_SIZE], const std::string& name) {
    std::strncpy(field, name.c_str(), sizeof(field) - 1);
    field[sizeof(field) - 1] = '\0';
}

// An empty block for a receiver; names that a client gave have been checked when they came in.
inline TagMsgBlock BlockTo(const std::string& process, const std::string& task) {
    TagMsgBlock block{};
    SetNameField(block.recvProcName, process);
    SetNameField(block.recvTaskName, task);
    return block;
}

}  // namespace orvi_sim

#endif
