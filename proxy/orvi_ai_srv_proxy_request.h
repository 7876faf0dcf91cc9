// The one path of every request. A row (request_rows.h) says what a request is; Send() builds its block, sends it, judges
// the reply and copies it out. What the log says on the way is the sender's, which the row's channel names.
#ifndef ORVI_AI_SRV_PROXY_REQUEST_H
#define ORVI_AI_SRV_PROXY_REQUEST_H

#include <cstddef>
#include <cstdint>

#include "client_log.h"
#include "forked_child.h"
#include "orvi_os_msg.h"
#include "reply_ptr.h"
#include "wire_records.h"

namespace OrviAiService {

// Wait times in milliseconds; 0 stands for the bus's own limit.
constexpr uint32_t WAIT_NONE = 0;  // one-way
constexpr uint32_t WAIT_REPLY = 3000;
constexpr uint32_t WAIT_BUS_LIMIT = 0;

// A task of the service process.
struct ReceiverTask {
    char name[OS_MSG_NAME_SIZE];  // ends with zero bytes
};
constexpr ReceiverTask TASK_MASTER = {"ai_v_task_m"};
constexpr ReceiverTask TASK_INTERFACE = {"ai_v_task_i"};
constexpr ReceiverTask TASK_OM = {"ai_om_task"};
constexpr ReceiverTask TASK_FACE = {"ai_face_task"};
constexpr ReceiverTask TASK_DIRECTOR = {"VDirector"};
constexpr ReceiverTask TASK_ASSISTANT = {"ai_assist_task"};
constexpr ReceiverTask TASK_STATE_MACHINE = {"ai_state_mach"};
constexpr ReceiverTask TASK_HOT_WORD = {"ai_hotword_task"};

// Which reply makes a request a success.
enum ReplyRule {
    ONE_WAY,  // none comes: the bus has taken the message
    BLOCK,    // any
    DATA,     // one with data, which may have length 0
    VERDICT,  // one with data whose first byte, the service's verdict, is 0
};

// Why a request has not been sent, or has no reply that counts.
enum class Failure { PROC_UNNAMED, TASK_UNNAMED, NOT_TAKEN, NO_REPLY };

// What is known then; `result` is the bus's error at NOT_TAKEN.
struct SendError {
    uint32_t msgId;
    uint32_t waitMs;
    int result;
};

// What a function that sends says in the log on the way of a request; null where it says nothing.
struct Sender {
    void (*sending)(const TagMsgBlock& block);
    void (*sent)(uint32_t msgId);
    void (*failed)(Failure failure, const SendError& error);
};

struct Channel {
    ReceiverTask task;
    uint32_t waitMs;
    const Sender& sender;
};

struct Request {
    uint32_t msgId;
    const Channel& channel;
    uint32_t length;  // of the payload in bytes
    ReplyRule reply;
    uint32_t mostReply = 0;  // bytes of a reply that is copied: a larger one is refused
};
// Stands for a length that each message has of its own: it is sent by a copy of the row that says it.
constexpr uint32_t VARIABLE = UINT32_MAX;

enum class Outcome {
    DONE,
    NOT_SENT,  // or without a reply that counts; the sender has told why
    REFUSED,   // the verdict is not 0, or the reply has too many bytes: nothing has been logged
};

// Two registers: it has no destructor, so who gets one releases its reply, by a ReplyPtr or by Release().
struct Exchange {
    Outcome outcome;
    TagMsgBlock* reply;  // null when none has come that counts; it may lack data only under BLOCK
};

inline void Release(TagMsgBlock* reply) {
    if (reply != nullptr) {
        (void)OsMsgSynRespFree(reply);
    }
}

// Sends a request with its payload, `request.length` bytes, and judges the reply. What it carries replaces the start of
// `room`, which has `request.mostReply` bytes; a larger reply clears them.
Exchange Send(const Request& request, const void* payload, void* room = nullptr);

// The same with the lines of the method that it is made for, null for none: `notSent` and `refused` stand for the two
// outcomes. Releases the reply. 0, or -1. `replyLength`, set on success, receives how many bytes the reply had. Inlined
// with its lines: each is then code of the method, out of the way of a success.
__attribute__((always_inline)) inline int Transact(const Request& request, const void* payload,
                                                   LogLine notSent = nullptr, LogLine refused = nullptr,
                                                   void* room = nullptr, uint32_t* replyLength = nullptr) {
    const Exchange exchange = Send(request, payload, room);
    if (exchange.outcome == Outcome::DONE) {
        if (replyLength != nullptr) {
            *replyLength = exchange.reply->dataLen;
        }
        Release(exchange.reply);
        return 0;
    }
    if (exchange.outcome == Outcome::NOT_SENT) {
        if (notSent != nullptr) {
            notSent();
        }
        return -1;
    }
    if (refused != nullptr) {
        refused();
    }
    Release(exchange.reply);
    return -1;
}

// Sends a request of the face task whose reply is a verdict: 0, the service's non-zero byte, or -1 when the send fails.
int SendSynMsgToFaceReturnInt(const Request& request, const void* payload);

enum class Addressing { DONE, PROC_FAILED, TASK_FAILED };

// Clears the record and fills it with this client's address. Logs nothing.
[[nodiscard]] Addressing FillClientAddress(tagAiTaskBasicInfo& info);

// The same with log lines on failure; 0 or -1.
int SetStAiTaskBasicInfo(tagAiTaskBasicInfo& info);

// One short pause while the service is down; the request is made all the same.
void PauseIfServiceDown();

// True, with an error line, in a forked child: the bus must not be asked for anything there.
__attribute__((cold)) void LogForkedChild(uint32_t msgId);
inline bool RefusedInForkedChild(uint32_t msgId) {
    if (!ForkedChild()) {
        return false;
    }
    LogForkedChild(msgId);
    return true;
}

}  // namespace OrviAiService

#endif
