// The large model: put to use, asked, put away; its answers come as events.
#include "common_records.h"
#include "message.h"
#include "message_ids.h"

namespace orvi_protocol {
namespace {

using namespace OrviAiService;

constexpr Word SERVER_WORDS[] = {
    {ORVI_SIM_MODEL_SERVER_DEVICE, "device"},
    {ORVI_SIM_MODEL_SERVER_CLOUD, "cloud"},
};

constexpr Field SERVER_FIELDS[] = {
    Number("server", ORVI_PLACE(OrviAiLLMInitParams, serverType), "the large-model server to use").Named(SERVER_WORDS),
    Reserved("reserved", ORVI_PLACE(OrviAiLLMInitParams, reserved)),
};
constexpr Record SERVER = Whole<OrviAiLLMInitParams>("large-model server", SERVER_FIELDS);

constexpr Word TYPE_WORDS[] = {
    {ORVI_SIM_MODEL_ASK, "ask"},
    {ORVI_SIM_MODEL_SUMMARISE, "summarise"},
    {ORVI_SIM_MODEL_REPEAT, "repeat"},
    {ORVI_SIM_MODEL_CANCEL, "cancel"},
};

constexpr Field REQUEST_FIELDS[] = {
    Number("request", ORVI_PLACE(OrviSimModelRequest, requestId), "id of the request, the client's choice"),
    Reserved("reserved", ORVI_PLACE(OrviSimModelRequest, reserved)),
    Number("type", ORVI_PLACE(OrviSimModelRequest, type), "kind of request").Named(TYPE_WORDS),
    Text("text", ORVI_PLACE(OrviSimModelRequest, text), "what is asked").Private(),
};
constexpr Record REQUEST = Whole<OrviSimModelRequest>("large-model request", REQUEST_FIELDS);
static_assert(sizeof(OrviSimModelRequest) == sizeof(OrviAiModelParams) &&
              offsetof(OrviSimModelRequest, type) == offsetof(OrviAiModelParams, type));

constexpr Field REPLY_FIELDS[] = {
    Reserved("reserved0", ORVI_PLACE(OrviAiLLMReply, reserved0)),
    Flag("cloudModel", ORVI_PLACE(OrviAiLLMReply, cloudLargeModel), "a cloud large model is offered"),
    Flag("assistant", ORVI_PLACE(OrviAiLLMReply, voiceAssistant), "the voice assistant is offered"),
    Reserved("reserved50", ORVI_PLACE(OrviAiLLMReply, reserved50)),
};
constexpr Record REPLY = Whole<OrviAiLLMReply>("large-model reply", REPLY_FIELDS);

constexpr Field BEGIN_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimModelBegin, length)),
    Number("request", ORVI_PLACE(OrviSimModelBegin, requestId), "id of the request"),
    Number("type", ORVI_PLACE(OrviSimModelBegin, type), "kind of request").Named(TYPE_WORDS),
    Number("pieces", ORVI_PLACE(OrviSimModelBegin, pieces), "how many will come"),
};
constexpr Record BEGIN = Whole<OrviSimModelBegin>("large-model answer begins", BEGIN_FIELDS);

constexpr Field PIECE_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimModelPiece, length)),
    Number("request", ORVI_PLACE(OrviSimModelPiece, requestId), "id of the request"),
    Number("index", ORVI_PLACE(OrviSimModelPiece, index), "of the piece, from 0"),
    Number("textLength", ORVI_PLACE(OrviSimModelPiece, textLength), "of the text").Unit("bytes"),
    Text("text", ORVI_PLACE(OrviSimModelPiece, text), "the next piece, spaces included")
        .CountedBy("textLength")
        .Private(),
};
constexpr Record PIECE = Whole<OrviSimModelPiece>("large-model piece", PIECE_FIELDS);

constexpr Word RESULT_WORDS[] = {
    {ORVI_SIM_MODEL_COMPLETE, "complete"},       {ORVI_SIM_MODEL_CANCELLED, "cancelled"},
    {ORVI_SIM_MODEL_NOT_READY, "not-ready"},     {ORVI_SIM_MODEL_BUSY, "busy"},
    {ORVI_SIM_MODEL_BAD_REQUEST, "bad-request"},
};

constexpr Field END_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimModelEnd, length)),
    Number("request", ORVI_PLACE(OrviSimModelEnd, requestId), "id of the request"),
    Number("result", ORVI_PLACE(OrviSimModelEnd, result), "how the answer ended").Named(RESULT_WORDS),
    Number("pieces", ORVI_PLACE(OrviSimModelEnd, pieces), "how many have come"),
    Number("textLength", ORVI_PLACE(OrviSimModelEnd, textLength), "of all of them").Unit("bytes"),
};
constexpr Record END = Whole<OrviSimModelEnd>("large-model answer ends", END_FIELDS);

constexpr Message MESSAGES[] = {
    Request("model.ability", AI_MSG_LLM_ABILITY, TASK_OM, "OrviAiSrvGetAbility", WAIT_REPLY, nullptr,
            ReplyRule::DataUpTo, &REPLY, "what the service offers")
        .RefusedBy(REFUSAL_OF<sizeof(OrviAiLLMReply)>),
    Request("model.init", AI_MSG_LLM_INIT, TASK_INTERFACE, "OrviAiSrvLargeModelInit", WAIT_REPLY, &SERVER,
            ReplyRule::Data, &REPLY, "the large model is made ready")
        .RefusedBy(REFUSAL_OF<sizeof(OrviAiLLMReply)>),
    Request("model.ask", AI_MSG_LLM_REQUEST, TASK_INTERFACE, "OrviAiSrvLargeModelRequest", WAIT_REPLY, &REQUEST,
            ReplyRule::DataUpTo, &REPLY, "one request to the large model")
        .RefusedBy(REFUSAL_OF<sizeof(OrviAiLLMReply)>),
    Request("model.deinit", AI_MSG_LLM_DEINIT, TASK_INTERFACE, "OrviAiSrvLargeModelDeInit", WAIT_REPLY, &SERVER,
            ReplyRule::DataUpTo, &REPLY, "the large model is put away")
        .RefusedBy(REFUSAL_OF<sizeof(OrviAiLLMReply)>),

    Event("model.ready", AI_EVT_LLM_INIT, Callback::Main, ORVI_AI_EVENT_STATUS, &OUTCOME,
          "how the initialisation ended"),
    Event("model.begin", AI_EVT_LLM_3F, Callback::Main, ORVI_AI_EVENT_LARGE_MODEL_3F, &BEGIN, "an answer begins"),
    Event("model.piece", AI_EVT_LLM_3E, Callback::Main, ORVI_AI_EVENT_LARGE_MODEL_3E, &PIECE,
          "the next piece of an answer"),
    Event("model.end", AI_EVT_LLM_40, Callback::Main, ORVI_AI_EVENT_LARGE_MODEL_40, &END, "an answer has ended"),
};

}  // namespace

Rows<Message> ModelMessages() {
    return MESSAGES;
}

}  // namespace orvi_protocol
