// The sending side: one-way messages and requests of the calling thread.
//
// Each thread has its own connection to each task that it sends to. It carries the thread's requests and its one-way
// messages and so keeps their order, and no thread waits behind another. The kernel does the waiting: there is no
// helper thread.
#ifndef ORVI_HOST_OS_MSG_SENDER_H
#define ORVI_HOST_OS_MSG_SENDER_H

#include <cstdint>

#include "orvi_os_msg.h"

namespace orvi_bus {

// Both want a block whose names and payload have been checked, in a process that has joined. Return 0 or
// ORVI_BUS_E_....
int SendOneWay(const TagMsgBlock& block, uint32_t waitMs);
int SendRequest(const TagMsgBlock& block, uint32_t waitMs, TagMsgBlock** reply);

}  // namespace orvi_bus

#endif
