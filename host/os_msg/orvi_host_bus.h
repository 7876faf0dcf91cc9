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

/* What the bus's operations return beside 0. Callers of the platform's contract know only "non-zero". */
enum OrviHostMsgError {
    ORVI_BUS_E_ARGUMENT = 1,    /* an argument breaks the contract */
    ORVI_BUS_E_NOT_JOINED = 2,  /* the process has not joined the bus */
    ORVI_BUS_E_STATE = 3,       /* joined, registered, running or answered already, or no such task here */
    ORVI_BUS_E_NAME = 4,        /* another live process holds the name */
    ORVI_BUS_E_DIRECTORY = 5,   /* the bus directory is missing or not to be trusted */
    ORVI_BUS_E_ABSENT = 6,      /* nobody receives under that name */
    ORVI_BUS_E_TIMEOUT = 7,     /* the wait ran out */
    ORVI_BUS_E_GONE = 8,        /* the other end died or hung up */
    ORVI_BUS_E_FORKED = 9,      /* the process is a forked child of a member of the bus */
    ORVI_BUS_E_SYSTEM = 10,     /* the kernel refused: no memory, no descriptors, ... */
    ORVI_BUS_E_WOULD_BLOCK = 11 /* the receiver has no room now, and the caller does not wait */
};

/* 1 when `message`, which a handler has received, is a request whose sender waits for a reply; 0 for a
 * one-way message. */
int OrviHostMsgWantsReply(const TagMsgBlock* message);

/* Answers a request. `request` is the block that the handler received, or a copy of it: a reply may be sent
 * inside the handler or later, from any thread. A null `data` makes a reply without data (`dataLen` is then
 * 0); a non-null one with `dataLen` 0 a reply of length 0. The payload is the caller's again at return.
 * Never waits: what the sender does not take at once is kept and handed over by the task's loop.
 * Returns 0, or non-zero when the block is no request, was answered already, the reply is too long, or the
 * sender has gone or no longer waits where that is known; the sender drops a reply that comes too late. */
int OrviHostMsgReply(const TagMsgBlock* request, const void* data, uint32_t dataLen);

/* Who a message came from, as the kernel knows it. */
typedef struct OrviHostMsgSender {
    char procName[OS_MSG_NAME_SIZE]; /* its name on the bus; empty when what it claimed is not backed by that name's
                                      * presence: same uid as its owner, same pid as its holder */
    uint32_t pid;                    /* 0 when the process is not visible from here (another pid namespace) */
    uint32_t uid;
    uint64_t incarnation; /* grows from each process of that name to the next; 0 without a name */
} OrviHostMsgSender;

/* Tells who sent a message that a handler has received, from the block or a copy of it, at any time. For a start or
 * exit event it is the process concerned. Returns 0, or non-zero for a block that the bus has not delivered. */
int OrviHostMsgGetSender(const TagMsgBlock* message, OrviHostMsgSender* sender);

/* Sends a one-way message and never waits: 0 when the message was taken, ORVI_BUS_E_WOULD_BLOCK when the receiver has
 * no room for it and nothing was taken, else as OsMsgAsynSend. The order of the calling thread's messages and requests
 * to one task is kept, whatever they are sent with. Of a large message the receiver may have taken a part: the rest is
 * kept by the bus and handed over by this thread's next call for that receiver or its OrviHostMsgAwaitRoom. What is
 * kept when the thread ends is lost with its connection, and the receiver tells of a message that was cut. */
int OrviHostMsgTrySend(const TagMsgBlock* message);

/* The same for `count` messages, 1 or more, to one task, in their order, with as few calls of the kernel as may be. Returns
 * as OrviHostMsgTrySend would for the first message that was not taken, or 0 when all were; `*taken` gets the number of
 * those that were taken, in any case. Messages to several receivers are ORVI_BUS_E_ARGUMENT, and nothing is sent. */
int OrviHostMsgTrySendSeveral(const TagMsgBlock* messages, uint32_t count, uint32_t* taken);

/* On a thread that sends with OrviHostMsgTrySend: waits until a receiver that had no room has some or has gone, or the
 * caller's descriptor `wake` is readable (-1: none), at most `waitMs` milliseconds. Hands over what is left of messages
 * meanwhile. Returns 0, also when there is nothing to wait for, or ORVI_BUS_E_TIMEOUT. */
int OrviHostMsgAwaitRoom(int wake, uint32_t waitMs);

/* Ends the receive loop of a task of this process from any thread; OsMsgTaskRoutineByName returns 0. The
 * task stays registered. Safe to call before the loop runs: the next run then returns at once. */
int OrviHostMsgStopRoutine(const char* taskName);

/* The number of reply blocks of this process that OsMsgSynRespFree has not been given yet. */
uint32_t OrviHostMsgOutstandingReplies(void);

#ifdef __cplusplus
}
#endif

#endif
