// Every message between applications and the vision service, and the bus's own two, as one table.
//
// It is what tools, the simulated service, tests and documentation know of the traffic; the product itself never uses
// it. A test proves it equal to the library's ids, exports and documentation and to what the simulated service does.
#ifndef ORVI_PROTOCOL_MESSAGE_H
#define ORVI_PROTOCOL_MESSAGE_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "record.h"

namespace orvi_protocol {

enum class Direction : uint8_t {
    Request,  // an application asks and waits for the reply
    OneWay,   // an application tells
    Event,    // the service tells an application
    BusEvent  // the bus tells an application
};

// What makes a reply a success.
enum class ReplyRule : uint8_t {
    None,          // there is no reply
    Verdict,       // its first byte is 0
    Any,           // it has arrived
    AnyUpTo,       // and has at most as many bytes as its record
    Data,          // it has arrived with data, which may have length 0
    DataUpTo,      // and has at most as many bytes as its record
    DataIntoRoom,  // and fits the caller's buffer
    Photos         // and holds the photos that it announces, at least one
};

enum class Callback : uint8_t { None, Main, Caption, Face };

constexpr char SERVICE_PROCESS[] = "AI_VISION";  // the name of who answers
constexpr uint32_t WAIT_OF_BUS = 0;              // the bus's own limit

struct Message {
    std::string_view name;  // dotted: feature, then what
    uint32_t id;
    Direction direction;
    std::string_view task;      // the service's task that receives it; empty when an application does
    std::string_view function;  // the exported function that sends it, or the proxy's method when there is none
    uint32_t waitMs;            // for the reply
    const Record* payload;      // null: the message carries none
    ReplyRule rule;
    const Record* reply;    // null: whatever it holds is not read
    const Record* refusal;  // null; else what the simulated service answers in its place when it refuses
    Callback callback;      // of an event
    int32_t eventId;        // the callback's first argument; -1 when it has none or the payload decides
    std::string_view meaning;

    constexpr Message RefusedBy(const Record& record) const {
        Message message = *this;
        message.refusal = &record;
        return message;
    }
};

// All of them, in the order of the table.
const std::vector<const Message*>& AllMessages();

// Null when there is none. An id may be a request on its way out and an event on its way in; `toService` tells which.
const Message* FindMessage(std::string_view name);
const Message* FindMessage(uint32_t id, bool toService);

// Accepts a name, or an id in decimal or hexadecimal digits; an id that is both a request and an event is the former.
const Message* FindMessageByWord(std::string_view word);

constexpr bool ToService(Direction direction) {
    return direction == Direction::Request || direction == Direction::OneWay;
}

std::string_view DirectionWord(Direction direction);

// --- The rows' constructors ---

constexpr Message Request(std::string_view name, uint32_t id, std::string_view task, std::string_view function,
                          uint32_t waitMs, const Record* payload, ReplyRule rule, const Record* reply,
                          std::string_view meaning) {
    return {name,  id,      Direction::Request, task, function, waitMs, payload, rule,
            reply, nullptr, Callback::None,     -1,   meaning};
}

constexpr Message OneWay(std::string_view name, uint32_t id, std::string_view task, std::string_view function,
                         const Record* payload, std::string_view meaning) {
    return {name,    id,      Direction::OneWay, task, function, 0, payload, ReplyRule::None,
            nullptr, nullptr, Callback::None,    -1,   meaning};
}

constexpr Message Event(std::string_view name, uint32_t id, Callback callback, int32_t eventId, const Record* payload,
                        std::string_view meaning) {
    return {name,    id,      Direction::Event, "",      "",     0, payload, ReplyRule::None,
            nullptr, nullptr, callback,         eventId, meaning};
}

// --- The tables, a file each ---

Rows<Message> ConnectionMessages();  // messages_connection.cpp
Rows<Message> FaceMessages();        // messages_face.cpp
Rows<Message> MeetingMessages();     // messages_meeting.cpp
Rows<Message> CheckinMessages();     // messages_checkin.cpp
Rows<Message> ModelMessages();       // messages_model.cpp
Rows<Message> AssistantMessages();   // messages_assistant.cpp

}  // namespace orvi_protocol

#endif
