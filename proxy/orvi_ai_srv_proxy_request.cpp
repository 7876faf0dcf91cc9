#include "orvi_ai_srv_proxy_request.h"

#include "client_names.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_os_thread.h"
#include "orvi_securec.h"

namespace OrviAiService {
namespace {

constexpr char SERVICE_PROCESS[] = "AI_VISION";

// Clears the block and addresses it to a task of the service.
Addressing AddressToService(TagMsgBlock& block, const ReceiverTask& task) {
    (void)memset_s(&block, sizeof(block), 0, sizeof(block));
    if (memcpy_s(block.recvProcName, sizeof(block.recvProcName), SERVICE_PROCESS, sizeof(SERVICE_PROCESS)) != 0) {
        return Addressing::PROC_FAILED;
    }
    if (memcpy_s(block.recvTaskName, sizeof(block.recvTaskName), task.name, sizeof(task.name)) != 0) {
        return Addressing::TASK_FAILED;
    }
    return Addressing::DONE;
}

// The first byte of a reply, -1 when there is none.
int Verdict(const TagMsgBlock& reply) {
    return reply.data != nullptr && reply.dataLen != 0 ? *static_cast<const unsigned char*>(reply.data) : -1;
}

Outcome Judge(const Request& request, const TagMsgBlock& reply, void* room) {
    if (request.reply == VERDICT && Verdict(reply) != 0) {
        return Outcome::REFUSED;
    }
    if (room != nullptr && reply.dataLen != 0 && memcpy_s(room, request.mostReply, reply.data, reply.dataLen) != 0) {
        return Outcome::REFUSED;
    }
    return Outcome::DONE;
}

// Out of the way of a success.
__attribute__((cold, noinline)) void TellFailure(const Request& request, Failure failure, int result = 0) {
    request.channel.sender.failed(failure, {request.msgId, request.channel.waitMs, result});
}

constexpr Exchange NOT_SENT = {Outcome::NOT_SENT, nullptr};

}  // namespace

Exchange Send(const Request& request, const void* payload, void* room) {
    if (RefusedInForkedChild(request.msgId)) {
        return NOT_SENT;
    }
    const Channel& channel = request.channel;
    TagMsgBlock block;
    const Addressing addressing = AddressToService(block, channel.task);
    if (addressing != Addressing::DONE) {
        TellFailure(request, addressing == Addressing::PROC_FAILED ? Failure::PROC_UNNAMED : Failure::TASK_UNNAMED);
        return NOT_SENT;
    }
    block.msgId = request.msgId;
    block.data = const_cast<void*>(payload);  // the bus only reads a request's payload
    block.dataLen = request.length;
    const Sender& sender = channel.sender;
    if (sender.sending != nullptr) {
        sender.sending(block);
    }
    const bool oneWay = request.reply == ONE_WAY;
    TagMsgBlock* reply = nullptr;
    const int result = oneWay ? OsMsgAsynSend(&block) : OsMsgSynSend(&block, &reply, channel.waitMs);
    if (result != 0) {
        TellFailure(request, Failure::NOT_TAKEN, result);
        return NOT_SENT;
    }
    if (!oneWay && (reply == nullptr || (reply->data == nullptr && request.reply != BLOCK))) {
        Release(reply);
        TellFailure(request, Failure::NO_REPLY);
        return NOT_SENT;
    }
    if (sender.sent != nullptr) {
        sender.sent(request.msgId);
    }
    return {oneWay ? Outcome::DONE : Judge(request, *reply, room), reply};
}

int SendSynMsgToFaceReturnInt(const Request& request, const void* payload) {
    const Exchange exchange = Send(request, payload);
    if (exchange.reply == nullptr) {
        ORVI_LOG_ERROR("<SendSynMsgToFaceReturnInt> call SendSynMsgToVision failed, msgId=%x.", request.msgId);
        return -1;
    }
    const int verdict = Verdict(*exchange.reply);
    Release(exchange.reply);
    if (verdict != 0) {
        ORVI_LOG_ERROR("<SendSynMsgToFaceReturnInt> msgId=%x response VOS_ERROR.", request.msgId);
    }
    return verdict;
}

Addressing FillClientAddress(tagAiTaskBasicInfo& info) {
    (void)memset_s(&info, sizeof(info), 0, sizeof(info));
    const ClientNames names = MsgNames();
    if (memcpy_s(info.proc, sizeof(info.proc), names.proc.text, names.proc.length + 1) != 0) {
        return Addressing::PROC_FAILED;
    }
    if (memcpy_s(info.task, sizeof(info.task), names.task.text, names.task.length + 1) != 0) {
        return Addressing::TASK_FAILED;
    }
    info.cpu = 1;
    return Addressing::DONE;
}

int SetStAiTaskBasicInfo(tagAiTaskBasicInfo& info) {
    switch (FillClientAddress(info)) {
        case Addressing::PROC_FAILED:
            ORVI_LOG_ERROR("<SetStAiTaskBasicInfo> memcpy_s proc name failed.");
            return -1;
        case Addressing::TASK_FAILED:
            ORVI_LOG_ERROR("<SetStAiTaskBasicInfo> memcpy_s task name failed.");
            return -1;
        case Addressing::DONE:
            break;
    }
    return 0;
}

int AiSrvServiceProxy::SetProxyInfo(tagAiTaskBasicInfo& info) {
    switch (FillClientAddress(info)) {
        case Addressing::PROC_FAILED:
            ORVI_LOG_ERROR("<SetProxyInfo> memcpy_s proc name failed.");
            return -1;
        case Addressing::TASK_FAILED:
            ORVI_LOG_ERROR("<SetProxyInfo> memcpy_s task name failed.");
            return -1;
        case Addressing::DONE:
            break;
    }
    return 0;
}

void PauseIfServiceDown() {
    constexpr uint32_t PAUSE_MICROSECONDS = 50;
    if (!AiSrvServiceProxy::isVisionOK.load()) {
        OsUSleep(PAUSE_MICROSECONDS);
    }
}

void LogForkedChild(uint32_t msgId) {
    ORVI_LOG_ERROR("<AiSrvServiceProxy> failed: a forked child is not on the message bus, msg %x.", msgId);
}

}  // namespace OrviAiService
