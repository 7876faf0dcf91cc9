// The sending side: one-way messages and requests of the calling thread.
//
// Each thread has its own connection to each task that it sends to. It carries the thread's requests and its one-way
// messages and so keeps their order, and no thread waits behind another. The kernel does the waiting: there is no
// helper thread.
#ifndef ORVI_HOST_OS_MSG_SENDER_H
#define ORVI_HOST_OS_MSG_SENDER_H

#include <cstddef>
#include <cstdint>

#include "membership/identity.h"
#include "orvi_os_msg.h"

namespace orvi_bus {

// All want a block whose names and payload have been checked, and an identity that has joined. Return 0 or
// ORVI_BUS_E_....
int SendOneWay(const Identity& self, const TagMsgBlock& block, uint32_t waitMs);
int SendRequest(const Identity& self, const TagMsgBlock& block, uint32_t waitMs, TagMsgBlock** reply);

// See OrviHostMsgTrySend, OrviHostMsgTrySendSeveral and OrviHostMsgAwaitRoom. All go to one receiver, and there is one.
int TrySend(const Identity& self, const TagMsgBlock* blocks, size_t count, size_t* taken);
int AwaitRoom(int wake, uint32_t waitMs);

}  // namespace orvi_bus

#endif
