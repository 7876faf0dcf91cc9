// Applications that come and go, and the state of the service.
#include "common_records.h"
#include "message.h"
#include "message_ids.h"

namespace orvi_protocol {
namespace {

using namespace OrviAiService;

constexpr Field RUNNING_FIELDS[] = {
    Number("running", AtStart(4, true), "0 = the service ends, else it is there"),
};
constexpr Record RUNNING = {"running", 4, 4, RUNNING_FIELDS};

constexpr Field UNKNOWN_FIELDS[] = {
    Bytes("contents", AtStart(0, false), "the service's own").Ends(Extent::Rest),
};
constexpr Record UNKNOWN = {"unknown", 0, UNBOUNDED, UNKNOWN_FIELDS};

constexpr Message MESSAGES[] = {
    OneWay("app.init", AI_MSG_INIT, TASK_MASTER, "OrviAiSrvApiInit", &CLIENT_ALONE, "an application announces itself"),
    OneWay("app.deinit", AI_MSG_UNINIT, TASK_MASTER, "OrviAiSrvApiDeinit", &CLIENT_ALONE, "an application leaves"),

    Event("service.status", AI_EVT_SERVICE_STATUS, Callback::Main, ORVI_AI_EVENT_STATUS, &NUMBER,
          "the state of the service"),
    Event("service.running", AI_EVT_SERVICE_UP_DOWN, Callback::Main, -1, &RUNNING,
          "the service ends (event 0) or has started (event 1)"),
    Event("status.37", AI_EVT_STATUS_37, Callback::Main, ORVI_AI_EVENT_STATUS, &NUMBER,
          "another number of the service"),
    Event("notice.39", AI_EVT_NOTICE_39, Callback::Main, ORVI_AI_EVENT_NOTICE_39, &UNKNOWN, "a notice of the service"),

    {"bus.start", OS_MSG_PROC_STARTRESULT, Direction::BusEvent, "", "", 0, nullptr, ReplyRule::None, nullptr, nullptr,
     Callback::Main, ORVI_AI_EVENT_SERVICE_START, "the service's process has started"},
    {"bus.exit", OS_MSG_PROC_EXITRESULT, Direction::BusEvent, "", "", 0, nullptr, ReplyRule::None, nullptr, nullptr,
     Callback::Main, ORVI_AI_EVENT_SERVICE_EXIT, "the service's process has ended"},
};

}  // namespace

Rows<Message> ConnectionMessages() {
    return MESSAGES;
}

}  // namespace orvi_protocol
