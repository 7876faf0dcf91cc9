// The bus's operations as plain C functions: checks, and one call each.
#include <new>

#include "membership/directory.h"
#include "orvi_host_api.h"
#include "orvi_host_bus.h"
#include "orvi_os_msg.h"
#include "process.h"
#include "receive/message_token.h"
#include "receive/peer_connection.h"
#include "receive/task.h"
#include "send/reply_block.h"
#include "send/sender.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/descriptor.h"
#include "wire/frame.h"
#include "wire/settings.h"

namespace {

using orvi_bus::Process;

int Refuse(int error, const char* operation, const char* reason) {
    orvi_bus::Log(orvi_bus::kLogError, "%s: %s", operation, reason);
    return error;
}

// What every operation but joining asks of the process.
int CheckMember(const char* operation) {
    if (orvi_bus::InForkedChild()) {
        return Refuse(ORVI_BUS_E_FORKED, operation, "a forked child is not on the bus");
    }
    if (!Process::Get().Self().Joined()) {
        return Refuse(ORVI_BUS_E_NOT_JOINED, operation, "this process has not joined the bus");
    }
    return 0;
}

int CheckMessage(const TagMsgBlock* message, const char* operation) {
    if (message == nullptr) {
        return Refuse(ORVI_BUS_E_ARGUMENT, operation, "no message");
    }
    if (!orvi_bus::IsName(message->recvProcName) || !orvi_bus::IsName(message->recvTaskName)) {
        return Refuse(ORVI_BUS_E_ARGUMENT, operation, "the receiver's names are empty or lack their NUL");
    }
    if (message->dataLen > orvi_bus::kMaxDataLen) {
        return Refuse(ORVI_BUS_E_ARGUMENT, operation, "the payload has more than " ORVI_BUS_MOST_TEXT);
    }
    if (message->dataLen != 0 && message->data == nullptr) {
        return Refuse(ORVI_BUS_E_ARGUMENT, operation, "a length without a payload");
    }
    return CheckMember(operation);
}

// No exception leaves the library; memory is all that can run out.
template <typename Operation>
int WithoutThrowing(const char* name, Operation operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return Refuse(ORVI_BUS_E_SYSTEM, name, "no memory");
    }
}

// What a result of sending tells of this process itself.
int AfterSend(int result) {
    if (result == ORVI_BUS_E_ABSENT && !Process::Get().Self().InPlace()) {
        (void)Process::Get().Restore();  // the receiver may be there, and this process's directory gone
    } else if (result == ORVI_BUS_E_TIMEOUT) {
        Process::Get().TellOfSlowHandlers();
    }
    return result;
}

int CheckEntry(const OsMsgSubscribeEntry& entry) {
    constexpr char kOperation[] = "OsMsgSubscribeEvent";
    if (entry.eventId != OS_MSG_PROC_STARTRESULT && entry.eventId != OS_MSG_PROC_EXITRESULT) {
        return Refuse(ORVI_BUS_E_ARGUMENT, kOperation, "an unknown event");
    }
    if (!orvi_bus::IsName(entry.procName) || !orvi_bus::IsName(entry.procNameAgain) || entry.reserved != 0 ||
        strcmp(entry.procName, entry.procNameAgain) != 0) {
        return Refuse(ORVI_BUS_E_ARGUMENT, kOperation, "a malformed entry");
    }
    if (!orvi_bus::IsName(entry.taskName) || Process::Get().FindTask(entry.taskName) == nullptr) {
        return Refuse(ORVI_BUS_E_STATE, kOperation, "the subscriber is no task of this process");
    }
    return 0;
}

}  // namespace

extern "C" {

ORVI_HOST_API int OsMsgGetProcName(char* name, uint32_t size) {
    if (name == nullptr || size < OS_MSG_NAME_SIZE) {
        return ORVI_BUS_E_ARGUMENT;
    }
    if (orvi_bus::InForkedChild()) {
        return ORVI_BUS_E_FORKED;
    }
    if (!Process::Get().Self().Joined()) {
        return ORVI_BUS_E_NOT_JOINED;
    }
    memcpy(name, Process::Get().Self().Name(), OS_MSG_NAME_SIZE);
    return 0;
}

ORVI_HOST_API int OsMsgInit(const char* procName) {
    if (orvi_bus::InForkedChild()) {
        return Refuse(ORVI_BUS_E_FORKED, "OsMsgInit", "a forked child of a member cannot join");
    }
    if (!orvi_bus::IsName(procName)) {
        return Refuse(ORVI_BUS_E_ARGUMENT, "OsMsgInit", "a process name has 1 to 15 bytes");
    }
    return WithoutThrowing("OsMsgInit", [procName] { return Process::Get().Self().Join(procName); });
}

ORVI_HOST_API int OsMsgRegLogFunc(OsMsgLogFunc func) {
    orvi_bus::SetLogFunction(func);
    return 0;
}

ORVI_HOST_API int OsMsgSetLogLevel(uint32_t level) {
    orvi_bus::SetLogLevel(level);
    return 0;
}

ORVI_HOST_API int OsMsgRegTask(const char* taskName, uint32_t queueSize, OsMsgHandler handler) {
    if (!orvi_bus::IsName(taskName) || queueSize == 0 || handler == nullptr) {
        return Refuse(ORVI_BUS_E_ARGUMENT, "OsMsgRegTask",
                      "a task needs a name of 1 to 15 bytes, a queue and a handler");
    }
    const int result = CheckMember("OsMsgRegTask");
    if (result != 0) {
        return result;
    }
    return WithoutThrowing("OsMsgRegTask", [=] { return Process::Get().AddTask(taskName, handler); });
}

ORVI_HOST_API int OsMsgUnregTask(const char* procName, uint32_t cpu, const char* taskName) {
    const int result = CheckMember("OsMsgUnregTask");
    if (result != 0) {
        return result;
    }
    if (cpu != 1 || !orvi_bus::IsName(taskName) || !orvi_bus::IsName(procName) ||
        strcmp(procName, Process::Get().Self().Name()) != 0) {
        return Refuse(ORVI_BUS_E_ARGUMENT, "OsMsgUnregTask", "not a task of this process");
    }
    return Process::Get().RemoveTask(taskName);
}

ORVI_HOST_API int OsMsgSubscribeEvent(const OsMsgSubscribeEntry* entries, uint32_t count) {
    int result = CheckMember("OsMsgSubscribeEvent");
    if (result == 0 && (entries == nullptr || count == 0)) {
        result = Refuse(ORVI_BUS_E_ARGUMENT, "OsMsgSubscribeEvent", "no entries");
    }
    for (uint32_t i = 0; i < count && result == 0; ++i) {  // all of them, before the first takes effect
        result = CheckEntry(entries[i]);
    }
    for (uint32_t i = 0; i < count && result == 0; ++i) {
        result = WithoutThrowing("OsMsgSubscribeEvent", [&entry = entries[i]] {
            const std::shared_ptr<orvi_bus::Task> task = Process::Get().FindTask(entry.taskName);
            return task != nullptr ? task->Subscribe(entry.procName, entry.eventId) : ORVI_BUS_E_STATE;
        });
    }
    return result;
}

ORVI_HOST_API int OsMsgTaskRoutineByName(const char* taskName) {
    const int result = CheckMember("OsMsgTaskRoutineByName");
    if (result != 0) {
        return result;
    }
    const std::shared_ptr<orvi_bus::Task> task =
        orvi_bus::IsName(taskName) ? Process::Get().FindTask(taskName) : nullptr;
    if (task == nullptr) {
        return Refuse(ORVI_BUS_E_STATE, "OsMsgTaskRoutineByName", "not a task of this process");
    }
    return WithoutThrowing("OsMsgTaskRoutineByName", [&task] { return task->Run(); });
}

ORVI_HOST_API int OsMsgAsynSend(TagMsgBlock* message) {
    const int result = CheckMessage(message, "OsMsgAsynSend");
    if (result != 0) {
        return result;
    }
    return WithoutThrowing("OsMsgAsynSend", [message] {
        return AfterSend(orvi_bus::SendOneWay(Process::Get().Self(), *message, orvi_bus::GetSettings().sendWaitMs));
    });
}

ORVI_HOST_API int OsMsgSynSend(TagMsgBlock* message, TagMsgBlock** reply, uint32_t waitMs) {
    if (reply == nullptr) {
        return Refuse(ORVI_BUS_E_ARGUMENT, "OsMsgSynSend", "no place for the reply");
    }
    *reply = nullptr;
    const int result = CheckMessage(message, "OsMsgSynSend");
    if (result != 0) {
        return result;
    }
    return WithoutThrowing("OsMsgSynSend", [=] {
        if (strcmp(message->recvProcName, Process::Get().Self().Name()) == 0) {
            const std::shared_ptr<orvi_bus::Task> task = Process::Get().FindTask(message->recvTaskName);
            if (task != nullptr && task->RunsHere()) {
                return Refuse(ORVI_BUS_E_STATE, "OsMsgSynSend", "a handler would wait for its own task");
            }
        }
        return AfterSend(orvi_bus::SendRequest(Process::Get().Self(), *message,
                                               waitMs != 0 ? waitMs : orvi_bus::GetSettings().defaultWaitMs, reply));
    });
}

ORVI_HOST_API int OsMsgSynRespFree(TagMsgBlock* reply) {
    if (reply == nullptr) {
        return Refuse(ORVI_BUS_E_ARGUMENT, "OsMsgSynRespFree", "no block");
    }
    orvi_bus::FreeReplyBlock(reply);
    return 0;
}

ORVI_HOST_API int OrviHostMsgWantsReply(const TagMsgBlock* message) {
    return message != nullptr && orvi_bus::TokenOf(*message).sequence != 0 ? 1 : 0;
}

ORVI_HOST_API int OrviHostMsgReply(const TagMsgBlock* request, const void* data, uint32_t dataLen) {
    const int result = CheckMember("OrviHostMsgReply");
    if (result != 0) {
        return result;
    }
    if (OrviHostMsgWantsReply(request) == 0) {
        return Refuse(ORVI_BUS_E_ARGUMENT, "OrviHostMsgReply", "not a request");
    }
    if (dataLen > orvi_bus::kMaxDataLen || (data == nullptr && dataLen != 0)) {
        return Refuse(ORVI_BUS_E_ARGUMENT, "OrviHostMsgReply",
                      "a length of more than " ORVI_BUS_MOST_TEXT " or without a payload");
    }
    const orvi_bus::MessageToken token = orvi_bus::TokenOf(*request);
    const std::shared_ptr<orvi_bus::Connection> connection = orvi_bus::Connection::ById(token.connection);
    if (connection == nullptr) {
        return ORVI_BUS_E_GONE;
    }
    return WithoutThrowing("OrviHostMsgReply",
                           [&] { return connection->Answer(token.sequence, request->msgId, data, dataLen); });
}

ORVI_HOST_API int OrviHostMsgGetSender(const TagMsgBlock* message, OrviHostMsgSender* sender) {
    return message != nullptr && sender != nullptr && orvi_bus::SenderOf(*message, sender) ? 0 : ORVI_BUS_E_ARGUMENT;
}

ORVI_HOST_API int OrviHostMsgTrySend(const TagMsgBlock* message) {
    const int result = CheckMessage(message, "OrviHostMsgTrySend");
    if (result != 0) {
        return result;
    }
    return WithoutThrowing("OrviHostMsgTrySend", [=] {
        size_t taken = 0;
        return orvi_bus::TrySend(Process::Get().Self(), message, 1, &taken);
    });
}

ORVI_HOST_API int OrviHostMsgTrySendSeveral(const TagMsgBlock* messages, uint32_t count, uint32_t* taken) {
    constexpr char kOperation[] = "OrviHostMsgTrySendSeveral";
    if (taken == nullptr || messages == nullptr || count == 0) {
        return Refuse(ORVI_BUS_E_ARGUMENT, kOperation, "no messages, or no place for their number");
    }
    *taken = 0;
    for (uint32_t i = 0; i < count; ++i) {  // all of them, before the first is sent
        const int result = CheckMessage(&messages[i], kOperation);
        if (result != 0) {
            return result;
        }
        if (strcmp(messages[i].recvProcName, messages->recvProcName) != 0 ||
            strcmp(messages[i].recvTaskName, messages->recvTaskName) != 0) {
            return Refuse(ORVI_BUS_E_ARGUMENT, kOperation, "messages to several receivers");
        }
    }
    return WithoutThrowing(kOperation, [=] {
        size_t sent = 0;
        const int result = orvi_bus::TrySend(Process::Get().Self(), messages, count, &sent);
        *taken = static_cast<uint32_t>(sent);
        return result;
    });
}

ORVI_HOST_API int OrviHostMsgAwaitRoom(int wake, uint32_t waitMs) {
    const int result = CheckMember("OrviHostMsgAwaitRoom");
    if (result != 0) {
        return result;
    }
    return WithoutThrowing("OrviHostMsgAwaitRoom", [=] { return orvi_bus::AwaitRoom(wake, waitMs); });
}

ORVI_HOST_API int OrviHostMsgStopRoutine(const char* taskName) {
    const int result = CheckMember("OrviHostMsgStopRoutine");
    if (result != 0) {
        return result;
    }
    const std::shared_ptr<orvi_bus::Task> task =
        orvi_bus::IsName(taskName) ? Process::Get().FindTask(taskName) : nullptr;
    if (task == nullptr) {
        return ORVI_BUS_E_STATE;
    }
    task->Stop();
    return 0;
}

ORVI_HOST_API uint32_t OrviHostMsgOutstandingReplies(void) {
    return orvi_bus::OutstandingReplyBlocks();
}

}  // extern "C"
