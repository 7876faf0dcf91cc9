// One message from an application, what the service answers, and the table row that connects the two.
#ifndef ORVI_SIM_SERVICE_REQUEST_H
#define ORVI_SIM_SERVICE_REQUEST_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "orvi_vision_sim_payloads.h"
#include "payload.h"
#include "service/application.h"

namespace orvi_sim {

class Feature;

// The tasks that take messages.
constexpr char TASK_MASTER[] = "ai_v_task_m";
constexpr char TASK_INTERFACE[] = "ai_v_task_i";
constexpr char TASK_OM[] = "ai_om_task";
constexpr char TASK_FACE[] = "ai_face_task";
constexpr char TASK_DIRECTOR[] = "VDirector";
constexpr char TASK_ASSISTANT[] = "ai_assist_task";
constexpr char TASK_STATE_MACHINE[] = "ai_state_mach";
constexpr char TASK_HOTWORD[] = "ai_hotword_task";

constexpr uint32_t ADDRESS_LENGTH = 36;  // an application's address in a payload: process, task, cpu

struct ClientAddress {
    std::string process;
    std::string task;
};

// A message as it arrived; `data` is valid while the handler runs.
struct Request {
    uint32_t id;
    ApplicationId sender;
    const uint8_t* data;  // null when length is 0
    uint32_t length;
    bool wantsReply;

    // Read a field. The row's length bounds have been checked before a handler runs; a field outside them is a
    // fault of the handler and ends the program.
    uint32_t IntegerAt(uint32_t offset) const;
    Payload BytesAt(uint32_t offset, uint32_t count) const;

    // A text that ends with a NUL inside its field of `size` bytes. False when it does not.
    bool TextAt(uint32_t offset, uint32_t size, std::string& text) const;

    // The address at the start of the payload. False when a name is empty or has no end.
    bool Address(ClientAddress& address) const;
};

// What a handler decides. Events go past it: what a feature tells while a request is handled leaves after the reply.
class Answer {
 public:
    void Done() { Data(Payload{ORVI_SIM_DONE}); }  // a verdict
    void Data(Payload data);                       // a record; may have length 0
    void NoData();                                 // a reply without data, which no feature gives
    // An OrviSimVerdict other than ORVI_SIM_DONE, and the reason for the log. A later call counts.
    void Refuse(uint8_t verdict, std::string reason);

    bool IsRefused() const { return verdict_ != ORVI_SIM_DONE; }
    uint8_t Verdict() const { return verdict_; }
    const std::string& Reason() const { return reason_; }  // of a refusal
    bool HasNoData() const { return hasNoData_; }
    const Payload& Reply() const { return reply_; }  // when it is not refused

 private:
    uint8_t verdict_ = ORVI_SIM_DONE;
    bool hasNoData_ = false;
    Payload reply_;
    std::string reason_;
};

// A member function of a feature, which runs with the stage entered. Must not wait.
using Handler = void (Feature::*)(const Request& request, Answer& answer);

template <class OneFeature>
constexpr Handler HandledBy(void (OneFeature::*handler)(const Request& request, Answer& answer)) {
    return static_cast<Handler>(handler);
}

// What a message is answered with.
constexpr uint32_t ONE_WAY = 0;  // nothing
constexpr uint32_t VERDICT = 1;  // one byte, an OrviSimVerdict
// Another number: a record of at most so many bytes. A refusal has four bytes more, which the library takes for none.

// Who is told the verdict in a message of the request's own id, once the reply has gone.
enum class Told : uint8_t {
    Nobody,
    Sender,
    Room  // everybody when it is done, the sender when it is refused
};

struct RequestRow {
    uint32_t id;
    const char* name;
    const char* task;   // the task that takes it
    uint32_t shortest;  // payload length in bytes
    uint32_t longest;
    uint32_t reply;   // ONE_WAY, VERDICT or a record's length
    bool hasAddress;  // the payload begins with the sender's address
    Told told;
    Handler handler;
};

struct RequestTable {
    const RequestRow* rows;
    size_t count;
};

// The reply to a request that is refused, in the form in which the library takes it for a failure.
Payload RefusalOf(const RequestRow& row, const Request& request, uint8_t verdict);

}  // namespace orvi_sim

#endif
