// Puts a question to the large model and prints the answer piece by piece as it comes:  ask_model WORD...
//
// The contents of request and answer are between an application and its service. This program knows those of the
// simulated one, orvi-vision-sim; for a device's service other records stand in place of OrviSimModel*.
#include <cstdio>
#include <cstring>
#include <future>
#include <string>

#include "orvi_ai_srv.h"
#include "orvi_vision_sim_payloads.h"

namespace {

constexpr uint32_t REQUEST_ID = 1;  // our choice; each application has its own numbers
std::promise<bool> g_ready;         // the large model has been initialised, or will not be
std::promise<uint32_t> g_ended;     // what became of the answer

template <class Value>
void Settle(std::promise<Value>& promise, Value value) {
    try {
        promise.set_value(value);
    } catch (const std::future_error&) {
        // settled before
    }
}

// Runs on the library's message thread.
void OnEvent(OrviAiEventId event, void* payload) {
    if (event == ORVI_AI_EVENT_SERVICE_EXIT) {
        Settle(g_ready, false);
        Settle<uint32_t>(g_ended, ORVI_SIM_MODEL_CANCELLED);
    } else if (event == ORVI_AI_EVENT_STATUS) {
        const auto* const status = static_cast<const tagOrviAiServiceStatusEvent*>(payload);
        if (status->type == ORVI_AI_STATUS_LARGE_MODEL) {
            Settle(g_ready, status->status == 1);
        }
    } else if (event == ORVI_AI_EVENT_LARGE_MODEL_3E && payload != nullptr) {
        OrviSimModelPiece piece;
        OrviSimReadRecord(&piece, sizeof(piece), payload);
        if (piece.requestId == REQUEST_ID) {
            std::printf("ask_model: |%s\n", piece.text);
        }
    } else if (event == ORVI_AI_EVENT_LARGE_MODEL_40 && payload != nullptr) {
        OrviSimModelEnd end;
        OrviSimReadRecord(&end, sizeof(end), payload);
        if (end.requestId == REQUEST_ID) {
            std::printf("ask_model: %u pieces, %u characters\n", end.pieces, end.textLength);
            Settle(g_ended, end.result);
        }
    }
}

// The request is only taken when the call returns; the status event tells how it went.
bool InitModel(const OrviAiLLMInitParams& params) {
    return OrviAiSrvLargeModelInit(params) == 0 && g_ready.get_future().get();
}

bool Ask(const std::string& question) {
    OrviSimModelRequest request{};
    request.requestId = REQUEST_ID;
    request.type = ORVI_SIM_MODEL_ASK;
    std::memcpy(request.text, question.data(), question.size());
    OrviAiModelParams params;
    static_assert(sizeof(params) == sizeof(request), "a request is a request");
    std::memcpy(&params, &request, sizeof(params));
    return OrviAiSrvLargeModelRequest(params) == 0 && g_ended.get_future().get() == ORVI_SIM_MODEL_COMPLETE;
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // a line is seen when it is written, also through a pipe
    std::string question;
    for (int i = 1; i < argc; ++i) {
        question += (i == 1 ? "" : " ") + std::string(argv[i]);
    }
    if (question.empty() || question.size() >= sizeof(OrviSimModelRequest::text)) {
        std::fprintf(stderr, "usage: ask_model WORD...   (at most %zu characters)\n",
                     sizeof(OrviSimModelRequest::text) - 1);
        return 2;
    }
    OrviAiLLMInitParams params{};
    params.serverType = ORVI_SIM_MODEL_SERVER_CLOUD;
    if (OrviAiSrvApiInit(tagOrviAppInfo{}, OnEvent) != 0 || !InitModel(params)) {
        std::puts("ask_model: there is no large model to ask, the log has the reason");
        return 1;
    }
    const bool answered = Ask(question);
    if (!answered) {
        std::puts("ask_model: no complete answer");
    }
    const bool left = OrviAiSrvLargeModelDeInit(params) == 0 && OrviAiSrvApiDeinit() == 0;
    return answered && left ? 0 : 1;
}
