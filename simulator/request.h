// One message from a client, what the service answers, and the table row that connects the two.
#ifndef ORVI_SIM_REQUEST_H
#define ORVI_SIM_REQUEST_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "payload.h"

namespace orvi_sim {

class Service;

// Where a client receives what the service sends.
struct ClientAddress {
    std::string process;
    std::string task;
};
bool operator==(const ClientAddress& left, const ClientAddress& right);

constexpr uint32_t REQUEST_SELF_CHECK = 0x6FFFFF;  // the service's own: answered once its receive loop runs

constexpr uint32_t ADDRESS_LENGTH = 36;  // a client's address in a payload: process, task, cpu

// A message as it arrived; `data` is valid while the handler runs.
struct Request {
    uint32_t id;
    uint32_t senderUid;
    const uint8_t* data;  // null when length is 0
    uint32_t length;
    bool wantsReply;

    // Read a field. The row's length bounds have been checked before a handler runs; a field outside them is a
    // fault of the handler and ends the program.
    uint32_t IntegerAt(uint32_t offset) const;
    Payload BytesAt(uint32_t offset, uint32_t count) const;

    // A text that ends with a NUL inside its field of `size` bytes. False when it does not.
    bool TextAt(uint32_t offset, uint32_t size, std::string& text) const;

    // The client's address at the start of the payload. False when a name is empty or has no end.
    bool AddressAt(uint32_t offset, ClientAddress& address) const;
};

// What a handler wants to happen. A request gets one reply; the events are queued after it.
class Answer {
 public:
    struct Event {
        uint32_t id;
        Payload payload;
    };

    void Verdict(uint8_t verdict);            // one byte, 0 = success
    void Data(Payload data);                  // a reply that carries data; may have length 0
    void Refuse(std::string reason);          // malformed: one log line, verdict 1 when a reply is expected
    void Push(uint32_t id, Payload payload);  // to every client, once the reply has gone

    bool HasReply() const { return hasReply_; }
    const Payload& Reply() const { return reply_; }
    const std::string& Refusal() const { return refusal_; }  // empty unless refused
    const std::vector<Event>& Events() const { return events_; }

 private:
    bool hasReply_ = false;
    Payload reply_;
    std::string refusal_;
    std::vector<Event> events_;
};

// Runs on the thread of the row's task: the handlers of one task never run at the same time. Must not wait.
using Handler = void (*)(Service& service, const Request& request, Answer& answer);

struct RequestRow {
    uint32_t id;
    const char* name;
    const char* task;   // the task that takes it
    uint32_t shortest;  // payload length in bytes
    uint32_t longest;
    Handler handler;
};

struct RequestTable {
    const RequestRow* rows;
    size_t count;
};

// Handlers for requests that need nothing of their own.
void AcceptWithVerdict(Service& service, const Request& request, Answer& answer);  // replies one byte 0
void TakeNotice(Service& service, const Request& request, Answer& answer);         // one-way: nothing to do

}  // namespace orvi_sim

#endif
