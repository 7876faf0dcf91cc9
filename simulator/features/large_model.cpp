// The large language model. Its replies are records of 52 bytes without a verdict.
#include <iterator>
#include <utility>

#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

constexpr uint32_t REPLY_LENGTH = 52;
constexpr uint32_t REPLY_CLOUD_MODEL = 48;
constexpr uint32_t REPLY_VOICE_ASSISTANT = 49;

void Ability(Service&, const Request&, Answer& answer) {
    Payload reply(REPLY_LENGTH);
    reply[REPLY_CLOUD_MODEL] = 1;
    reply[REPLY_VOICE_ASSISTANT] = 1;
    answer.Data(std::move(reply));
}

void Accept(Service&, const Request&, Answer& answer) {
    answer.Data(Payload(REPLY_LENGTH));
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x60003A, "large model ability", TASK_OM, 0, 0, Ability},
    {0x60003B, "large model init", TASK_INTERFACE, 580, 580, Accept},
    {0x60003C, "large model request", TASK_INTERFACE, 4692, 4692, Accept},
    {0x60003D, "large model deinit", TASK_INTERFACE, 580, 580, Accept},
};

}  // namespace

RequestTable LargeModelRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
