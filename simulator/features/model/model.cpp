// The large language model. Its replies are records of 52 bytes without a verdict; answers follow as events.
#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

#include "log.h"
#include "model_answers.h"
#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

constexpr uint32_t EVENT_INIT_STATUS = 0x60003B;
constexpr uint32_t REPLY_LENGTH = 52;
constexpr uint32_t REPLY_CLOUD_MODEL = 48;
constexpr uint32_t REPLY_VOICE_ASSISTANT = 49;

ModelAnswers& TheAnswers(Service& service) {
    static ModelAnswers& answers = *new ModelAnswers(service);  // never destroyed: a timer may be inside it
    return answers;
}

void Ability(Service&, const Request&, Answer& answer) {
    Payload reply(REPLY_LENGTH);
    reply[REPLY_CLOUD_MODEL] = 1;
    reply[REPLY_VOICE_ASSISTANT] = 1;
    answer.Data(std::move(reply));
}

void Init(Service& service, const Request& request, Answer& answer) {
    const uint32_t server = request.IntegerAt(0);
    const bool known = server == ORVI_SIM_MODEL_SERVER_DEVICE || server == ORVI_SIM_MODEL_SERVER_CLOUD;
    if (known) {
        TheAnswers(service).Init();
    } else {
        Log("there is no large-model server %d", static_cast<int32_t>(server));
    }
    answer.Data(Payload(REPLY_LENGTH));
    Payload status;
    AppendInteger(status, known ? 0 : 1);
    answer.Push(EVENT_INIT_STATUS, std::move(status));
}

void Ask(Service& service, const Request& request, Answer& answer) {
    answer.Data(Payload(REPLY_LENGTH));
    ModelAnswers& answers = TheAnswers(service);
    const uint32_t requestId = request.IntegerAt(offsetof(OrviSimModelRequest, requestId));
    const uint32_t type = request.IntegerAt(offsetof(OrviSimModelRequest, type));
    std::string text;
    const bool hasEnd = request.TextAt(offsetof(OrviSimModelRequest, text), sizeof(OrviSimModelRequest::text), text);
    if (type == ORVI_SIM_MODEL_CANCEL) {
        if (!answers.Cancel(requestId)) {
            LogVerbose("large model: request %u is not being answered", requestId);
        }
    } else if (type > ORVI_SIM_MODEL_CANCEL || !hasEnd) {
        answers.Refuse(requestId, ORVI_SIM_MODEL_BAD_REQUEST);
        Log("large model: request %u has the unknown type %u or a text without end", requestId, type);
    } else {
        answers.Begin(requestId, type, text);
    }
}

void DeInit(Service& service, const Request&, Answer& answer) {
    TheAnswers(service).DeInit();
    answer.Data(Payload(REPLY_LENGTH));
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x60003A, "large model ability", TASK_OM, 0, 0, Ability},
    {0x60003B, "large model init", TASK_INTERFACE, 580, 580, Init},
    {0x60003C, "large model request", TASK_INTERFACE, sizeof(OrviSimModelRequest), sizeof(OrviSimModelRequest), Ask},
    {0x60003D, "large model deinit", TASK_INTERFACE, 580, 580, DeInit},
};

}  // namespace

RequestTable LargeModelRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
