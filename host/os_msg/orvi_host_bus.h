/* What the workstation's message bus offers beyond platform/orvi_os_msg.h: the service's side.
 *
 * The client library never needs this; a simulated service and tests do.
 */
#ifndef ORVI_HOST_BUS_H
#define ORVI_HOST_BUS_H

#include <stdint.h>

#include "orvi_os_msg.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 1 when `message`, which a handler has received, is a request whose sender waits for a reply; 0 for a
 * one-way message. */
int OrviHostMsgWantsReply(const TagMsgBlock* message);

/* Answers a request. `request` is the block that the handler received, or a copy of it: a reply may be sent
 * inside the handler or later, from any thread. A null `data` makes a reply without data (`dataLen` is then
 * 0); a non-null one with `dataLen` 0 a reply of length 0. The payload is the caller's again at return.
 * Returns 0, or non-zero when the block is no request, was answered already, the reply is too long, or the
 * sender has gone or no longer waits where that is known; the sender drops a reply that comes too late. Never
 * waits longer than a one-way send would. */
int OrviHostMsgReply(const TagMsgBlock* request, const void* data, uint32_t dataLen);

/* Ends the receive loop of a task of this process from any thread; OsMsgTaskRoutineByName returns 0. The
 * task stays registered. Safe to call before the loop runs: the next run then returns at once. */
int OrviHostMsgStopRoutine(const char* taskName);

#ifdef __cplusplus
}
#endif

#endif
