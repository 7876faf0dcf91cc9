/* Message bus of the device, liborvi_os_msg.so: what this project needs of it.
 *
 * A porting contract. Every function is a plain C symbol. Unless a function says otherwise it may be
 * called on any thread and returns 0 for success and a non-zero error code for failure.
 */
#ifndef ORVI_PLATFORM_OS_MSG_H
#define ORVI_PLATFORM_OS_MSG_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Size of a process or task name field: 15 characters and the NUL. */
#define OS_MSG_NAME_SIZE 16

/* Bus events: the process named in `procName` has started, or has exited. */
#define OS_MSG_PROC_STARTRESULT 0x200002U
#define OS_MSG_PROC_EXITRESULT 0x200003U

/* One message. Senders zero the whole block and set recvProcName, recvTaskName, msgId, data and dataLen.
 * The opaque bytes belong to the bus: they are meaningless to a sender, and a receiver hands them back
 * untouched with the block. On the device (4-byte addresses) the block has 164 bytes. */
typedef struct TagMsgBlock {
    uint8_t bus0[4];
    uint32_t senderUid; /* uid of the sending process, filled by the bus */
    uint8_t bus8[8];
    char procName[OS_MSG_NAME_SIZE]; /* start and exit events: the process concerned */
    uint8_t bus32[16];
    uint32_t msgId;
    uint32_t recvCpu;                    /* left 0 */
    char recvProcName[OS_MSG_NAME_SIZE]; /* receiver process, NUL-terminated */
    char recvTaskName[OS_MSG_NAME_SIZE]; /* receiver task, NUL-terminated */
    uint8_t bus88[68];
    uint32_t dataLen; /* payload length in bytes */
    void* data;       /* payload, or null */
} TagMsgBlock;

/* One process event to watch. Both process name fields hold the watched name. */
typedef struct OsMsgSubscribeEntry {
    uint32_t eventId;
    uint32_t reserved; /* 0 */
    char procName[OS_MSG_NAME_SIZE];
    char procNameAgain[OS_MSG_NAME_SIZE];
    char taskName[OS_MSG_NAME_SIZE]; /* the subscriber's own task that receives the event */
} OsMsgSubscribeEntry;

#ifdef __cplusplus
#define ORVI_PLATFORM_ASSERT(condition) static_assert(condition, #condition)
#else
#define ORVI_PLATFORM_ASSERT(condition) _Static_assert(condition, #condition)
#endif
ORVI_PLATFORM_ASSERT(offsetof(TagMsgBlock, senderUid) == 4);
ORVI_PLATFORM_ASSERT(offsetof(TagMsgBlock, procName) == 16);
ORVI_PLATFORM_ASSERT(offsetof(TagMsgBlock, msgId) == 48);
ORVI_PLATFORM_ASSERT(offsetof(TagMsgBlock, recvCpu) == 52);
ORVI_PLATFORM_ASSERT(offsetof(TagMsgBlock, recvProcName) == 56);
ORVI_PLATFORM_ASSERT(offsetof(TagMsgBlock, recvTaskName) == 72);
ORVI_PLATFORM_ASSERT(offsetof(TagMsgBlock, dataLen) == 156);
ORVI_PLATFORM_ASSERT(offsetof(TagMsgBlock, data) == 160);
ORVI_PLATFORM_ASSERT(sizeof(void*) != 4 || sizeof(TagMsgBlock) == 164);
ORVI_PLATFORM_ASSERT(sizeof(OsMsgSubscribeEntry) == 56);

/* Receives one message on the thread that runs the task's receive loop. The block and its payload are the
 * bus's and valid during the call only. A message of length 0 arrives with a null `data`. The result is
 * informative: the bus goes on whatever it is. */
typedef int (*OsMsgHandler)(TagMsgBlock* message);

/* Receives one line of the bus's own log. */
typedef void (*OsMsgLogFunc)(int level, const char* line);

/* Writes the bus name of the calling process into `name`. Fails when the process has not joined, or when
 * `size` is under 16. */
int OsMsgGetProcName(char* name, uint32_t size);

/* Joins the bus under `procName`: 1 to 15 characters and unique among the live processes. A process joins
 * once; a second call fails. */
int OsMsgInit(const char* procName);

/* Sets where the bus writes its own log; null means its default. */
int OsMsgRegLogFunc(OsMsgLogFunc func);

/* Sets how much the bus logs about itself: 0 nothing, 1 errors, 3 everything worth telling. */
int OsMsgSetLogLevel(uint32_t level);

/* Registers a task of the calling process: messages may be sent to it from now on and wait in its queue
 * until a receive loop runs. `queueSize` is the number of messages that the queue is meant to hold. */
int OsMsgRegTask(const char* taskName, uint32_t queueSize, OsMsgHandler handler);

/* Takes a task of the calling process off the bus; what waits in its queue is dropped. `cpu` is 1. */
int OsMsgUnregTask(const char* procName, uint32_t cpu, const char* taskName);

/* Subscribes tasks of the calling process to process events. The subscription is in place when the call
 * returns, and reports transitions only: a process that runs already is not announced. The exit event
 * follows the last message of the incarnation that ended, the start event precedes the first message of
 * the next. Events are delivered as messages whose senderUid is the subscriber's own uid, without payload. */
int OsMsgSubscribeEvent(const OsMsgSubscribeEntry* entries, uint32_t count);

/* Runs the task's receive loop on the calling thread; returns when the task is taken off the bus or the
 * loop cannot go on, with a non-zero code in the latter case. The process counts as started when its first
 * receive loop runs. */
int OsMsgTaskRoutineByName(const char* taskName);

/* Sends a one-way message. Block and payload are the caller's again at return; the message has been taken
 * then. Fails, after a bounded wait, when the receiver is absent or does not drain its queue. */
int OsMsgAsynSend(TagMsgBlock* message);

/* Sends a request and waits for its reply, `waitMs` milliseconds at most, sending included; 0 stands for
 * the bus's own limit. On 0 `*reply` names a block that the caller releases with OsMsgSynRespFree; its
 * `data` is null for a reply without data and not null for a reply of length 0. On failure `*reply` is left
 * null and nothing is to be released. The receiver's death ends the wait at once. */
int OsMsgSynSend(TagMsgBlock* message, TagMsgBlock** reply, uint32_t waitMs);

/* Releases a reply block with its payload; to be called once for each block. */
int OsMsgSynRespFree(TagMsgBlock* reply);

#ifdef __cplusplus
}
#endif

#endif
