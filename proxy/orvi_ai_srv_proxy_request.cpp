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
    if (memcpy_s(block.recvTaskName, sizeof(block.recvTaskName), task.name, task.size) != 0) {
        return Addressing::TASK_FAILED;
    }
    return Addressing::DONE;
}

bool Counts(ReplyRule rule, const ReplyPtr& reply) {
    return reply != nullptr && (rule == BLOCK || reply->data != nullptr);
}

Outcome Judge(const Request& request, const TagMsgBlock& reply, int verdict, void* room) {
    if (request.reply == VERDICT && verdict != 0) {
        return Outcome::REFUSED;
    }
    if (room != nullptr && reply.dataLen != 0 && memcpy_s(room, request.mostReply, reply.data, reply.dataLen) != 0) {
        return Outcome::REFUSED;
    }
    return Outcome::DONE;
}

// In each of its callers, which is where the time of a request goes.
__attribute__((always_inline)) inline Exchange Perform(const Request& request, const void* payload, void* room) {
    Exchange exchange;
    if (RefusedInForkedChild(request.msgId)) {
        return exchange;
    }
    TagMsgBlock block;
    const Speaker speaker = request.channel.speaker;
    Sending sending = {request.msgId, request.channel.waitMs, block, 0};
    const Addressing addressing = AddressToService(block, request.channel.task);
    if (addressing != Addressing::DONE) {
        speaker(addressing == Addressing::PROC_FAILED ? Stage::PROC_UNNAMED : Stage::TASK_UNNAMED, sending);
        return exchange;
    }
    block.msgId = request.msgId;
    block.data = const_cast<void*>(payload);  // the bus only reads a request's payload
    block.dataLen = request.length;
    speaker(Stage::SENDING, sending);
    const bool oneWay = request.reply == ONE_WAY;
    TagMsgBlock* received = nullptr;
    sending.result = oneWay ? OsMsgAsynSend(&block) : OsMsgSynSend(&block, &received, sending.waitMs);
    if (sending.result != 0) {
        speaker(Stage::SEND_FAILED, sending);
        return exchange;
    }
    exchange.reply.reset(received);
    if (oneWay) {
        speaker(Stage::SENT, sending);
        exchange.outcome = Outcome::DONE;
        return exchange;
    }
    if (!Counts(request.reply, exchange.reply)) {
        exchange.reply.reset();
        speaker(Stage::NO_REPLY, sending);
        return exchange;
    }
    speaker(Stage::SENT, sending);
    const TagMsgBlock& reply = *exchange.reply;
    if (reply.data != nullptr && reply.dataLen != 0) {
        exchange.verdict = *static_cast<const unsigned char*>(reply.data);
    }
    exchange.outcome = Judge(request, reply, exchange.verdict, room);
    return exchange;
}

}  // namespace

Exchange Send(const Request& request, const void* payload, void* room) {
    return Perform(request, payload, room);
}

int Transact(const Request& request, const void* payload, LogLine notSent, LogLine refused, void* room,
             uint32_t* replyLength) {
    const Exchange exchange = Perform(request, payload, room);
    if (exchange.outcome == Outcome::DONE) {
        if (replyLength != nullptr) {
            *replyLength = exchange.reply->dataLen;
        }
        return 0;
    }
    const LogLine line = exchange.outcome == Outcome::NOT_SENT ? notSent : refused;
    if (line != nullptr) {
        line();
    }
    return -1;
}

int SendSynMsgToFaceReturnInt(const Request& request, const void* payload) {
    Exchange exchange = Perform(request, payload, nullptr);
    exchange.reply.reset();
    if (exchange.outcome == Outcome::NOT_SENT) {
        ORVI_LOG_ERROR("<SendSynMsgToFaceReturnInt> call SendSynMsgToVision failed, msgId=%x.", request.msgId);
        return -1;
    }
    if (exchange.verdict != 0) {
        ORVI_LOG_ERROR("<SendSynMsgToFaceReturnInt> msgId=%x response VOS_ERROR.", request.msgId);
    }
    return exchange.verdict;
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
