// The large model. Outside of a script `model ask` makes it ready and waits for the whole answer.
#include <unistd.h>

#include "calls.h"
#include "orvi_vision_sim_payloads.h"

namespace orvi_ai {
namespace {

using orvi_protocol::FindValue;

// The service tells how the initialisation ended in an event behind its reply.
int InitAndAwait(const OrviAiLLMInitParams& params, std::string& reason) {
    constexpr std::chrono::seconds PATIENCE{5};
    if (OrviAiSrvLargeModelInit(params) != 0) {
        return -1;
    }
    Event ready;
    if (Events::Next({{"model.ready"}, {}}, Clock::now() + PATIENCE, &ready) != WaitEnd::Arrived) {
        reason = "the service has not said that the model is ready";
        return -1;
    }
    reason = "the service has no such model";
    const orvi_protocol::Value* const verdict = FindValue(ready.decoded.values, "verdict");
    return verdict != nullptr && verdict->number == ORVI_SIM_DONE ? 0 : -1;
}

// Prints the answer as it comes: its text for people, its events for programs.
Outcome AwaitAnswer(Session& session, const Call& call, uint32_t request) {
    const EventFilter filter = {{"model.*"}, {{"request", std::to_string(request)}}};
    std::optional<Clock::time_point> deadline;
    if (call.duration) {
        deadline = Clock::now() + *call.duration;
    }
    Outcome outcome;
    for (;;) {
        Event event;
        const WaitEnd end = Events::Next(filter, deadline, &event);
        if (end != WaitEnd::Arrived) {
            outcome.result = -1;
            outcome.reason = end == WaitEnd::OutOfTime     ? "out of time"
                             : end == WaitEnd::ServiceGone ? "the service has ended"
                                                           : "interrupted";
            break;
        }
        if (event.message->name == "model.piece" && !session.Out().isJson) {
            const orvi_protocol::Value* const text = FindValue(event.decoded.values, "text");
            outcome.text += text != nullptr ? text->bytes : "";
        }
        if (event.message->name == "model.end") {
            const orvi_protocol::Value* const result = FindValue(event.decoded.values, "result");
            outcome.json = ToJson(event.decoded, session.Out().Style());
            if (result == nullptr || result->number != ORVI_SIM_MODEL_COMPLETE) {
                outcome.result = -1;
                outcome.reason = "no complete answer: " + ToLine(event.decoded, session.Out().Style());
            }
            break;
        }
    }
    if (!outcome.text.empty()) {
        outcome.text = session.Out().isMasked ? "(private, " + std::to_string(outcome.text.size()) + " bytes)\n"
                                              : orvi_protocol::Printable(outcome.text) + "\n";
    }
    return outcome;
}

}  // namespace

Outcome ModelInit(Session& session, const Call& call) {
    Outcome outcome;
    const auto params = As<OrviAiLLMInitParams>(call.payload);
    outcome.result = session.IsScript() ? OrviAiSrvLargeModelInit(params) : InitAndAwait(params, outcome.reason);
    outcome.reason = outcome.result == 0 ? "" : outcome.reason;
    return outcome;
}

Outcome ModelAsk(Session& session, const Call& call) {
    auto request = As<OrviSimModelRequest>(call.payload);
    request.requestId = request.requestId != 0 ? request.requestId : static_cast<uint32_t>(getpid());
    OrviAiModelParams params;
    std::memcpy(&params, &request, sizeof(params));
    if (session.IsScript()) {
        return Returned(OrviAiSrvLargeModelRequest(params));
    }
    if (session.Out().isJson) {
        Events::PrintTo(&session.Out(), {{"model.*"}, {{"request", std::to_string(request.requestId)}}});
    }
    Outcome outcome;
    OrviAiLLMInitParams server{};
    server.serverType = ORVI_SIM_MODEL_SERVER_CLOUD;
    if (InitAndAwait(server, outcome.reason) != 0 || OrviAiSrvLargeModelRequest(params) != 0) {
        outcome.result = -1;
        return outcome;
    }
    if (request.type == ORVI_SIM_MODEL_CANCEL) {
        return {};  // has no answer of its own
    }
    return AwaitAnswer(session, call, request.requestId);
}

Outcome ModelDeinit(Session&, const Call& call) {
    return Returned(OrviAiSrvLargeModelDeInit(As<OrviAiLLMInitParams>(call.payload)));
}

}  // namespace orvi_ai
