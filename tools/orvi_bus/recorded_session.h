// What one application and the service said to each other, as a captured file tells it: the script of a replay.
#ifndef ORVI_BUS_TOOL_RECORDED_SESSION_H
#define ORVI_BUS_TOOL_RECORDED_SESSION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "exchange.h"

namespace orvi_bus_tool {

// A payload, or that there is none.
using Contents = std::optional<std::vector<uint8_t>>;

struct Step {
    bool isToService = false;
    bool isRequest = false;
    const orvi_protocol::Message* message = nullptr;  // null for an id that the table does not know
    uint32_t id = 0;
    std::string name;
    std::string task;     // that receives it
    uint64_t stream = 0;  // of a message to the service: the application's thread
    int64_t startNs = 0;  // when it was sent
    int64_t endNs = 0;    // of a request when its wait ended, else as startNs
    int32_t result = 0;   // of the wait, or of the sending
    Contents contents;
    bool isAnswered = false;
    int64_t replyNs = 0;
    Contents reply;
};

struct Session {
    std::string application;  // its name on the bus
    std::string task;         // at which it receives; empty when it was told nothing
    std::vector<Step> steps;  // in the order in which they were sent
};

// Reads the session of an application; of the only one when `application` is empty. False with the reason when the file
// cannot be read to its end, has several or none, or lacks what a replay needs: every record, with its payload whole.
bool ReadSession(const std::string& file, const std::string& application, Session& session, std::string& why);

}  // namespace orvi_bus_tool

#endif
