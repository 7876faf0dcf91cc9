#include "features/model/model.h"

#include <chrono>
#include <cstring>
#include <iterator>
#include <utility>

#include "features/model/answer_text.h"
#include "log.h"

namespace orvi_sim {
namespace {

constexpr uint32_t EVENT_PIECE = 0x60003E;
constexpr uint32_t EVENT_BEGIN = 0x60003F;
constexpr uint32_t EVENT_END = 0x600040;
constexpr std::chrono::milliseconds TIME_PER_PIECE{10};

constexpr size_t LONGEST_ANSWER = 64U << 10;
constexpr uint32_t INIT_LENGTH = 580;
constexpr uint32_t ASK_LENGTH = sizeof(OrviSimModelRequest);
constexpr uint32_t REPLY_LENGTH = 52;
constexpr uint32_t REPLY_CLOUD_MODEL = 48;
constexpr uint32_t REPLY_VOICE_ASSISTANT = 49;

}  // namespace

Model::Model(Stage& stage) : stage_(stage), pace_(TIME_PER_PIECE) {}

RequestTable Model::Requests() const {
    static const RequestRow ROWS[] = {
        // id, name, task, shortest, longest, reply, address, told, handler
        {0x60003A, "large model ability", TASK_OM, 0, 0, REPLY_LENGTH, false, Told::Nobody, HandledBy(&Model::Ability)},
        {0x60003B, "large model init", TASK_INTERFACE, INIT_LENGTH, INIT_LENGTH, REPLY_LENGTH, false, Told::Sender,
         HandledBy(&Model::Init)},
        {0x60003C, "large model request", TASK_INTERFACE, ASK_LENGTH, ASK_LENGTH, REPLY_LENGTH, false, Told::Nobody,
         HandledBy(&Model::Ask)},
        {0x60003D, "large model deinit", TASK_INTERFACE, INIT_LENGTH, INIT_LENGTH, REPLY_LENGTH, false, Told::Nobody,
         HandledBy(&Model::DeInit)},
    };
    return {ROWS, std::size(ROWS)};
}

void Model::Ability(const Request&, Answer& answer) {
    Payload reply(REPLY_LENGTH);
    reply[REPLY_CLOUD_MODEL] = hasCloudModel_ ? 1 : 0;
    reply[REPLY_VOICE_ASSISTANT] = hasVoiceAssistant_ ? 1 : 0;
    answer.Data(std::move(reply));
}

void Model::Init(const Request& request, Answer& answer) {
    const uint32_t server = request.IntegerAt(0);
    if (server != ORVI_SIM_MODEL_SERVER_DEVICE && server != ORVI_SIM_MODEL_SERVER_CLOUD) {
        answer.Refuse(ORVI_SIM_MALFORMED,
                      "there is no large-model server " + std::to_string(static_cast<int32_t>(server)));
        return;
    }
    sessions_[request.sender];
    answer.Data(Payload(REPLY_LENGTH));
}

// What cannot be answered is told by the event that ends an answer.
void Model::Ask(const Request& request, Answer& answer) {
    answer.Data(Payload(REPLY_LENGTH));
    const uint32_t requestId = request.IntegerAt(offsetof(OrviSimModelRequest, requestId));
    const uint32_t type = request.IntegerAt(offsetof(OrviSimModelRequest, type));
    std::string text;
    const bool hasEnd = request.TextAt(offsetof(OrviSimModelRequest, text), sizeof(OrviSimModelRequest::text), text);
    if (type == ORVI_SIM_MODEL_CANCEL) {
        if (!End(request.sender, requestId, ORVI_SIM_MODEL_CANCELLED)) {
            LogVerbose("large model: request %u is not being answered", requestId);
        }
    } else if (type > ORVI_SIM_MODEL_CANCEL || !hasEnd) {
        TellEnd(request.sender, requestId, ORVI_SIM_MODEL_BAD_REQUEST, {});
        Log("large model: request %u has the unknown type %u or a text without end", requestId, type);
    } else {
        Begin(request.sender, requestId, type, text);
    }
}

void Model::DeInit(const Request& request, Answer& answer) {
    const auto session = sessions_.find(request.sender);
    if (session != sessions_.end()) {
        for (const auto& [requestId, given] : session->second) {
            TellEnd(request.sender, requestId, ORVI_SIM_MODEL_CANCELLED, given);
        }
        sessions_.erase(session);
    }
    answer.Data(Payload(REPLY_LENGTH));
}

void Model::Begin(const ApplicationId& application, uint32_t requestId, uint32_t type, const std::string& text) {
    const auto session = sessions_.find(application);
    if (session == sessions_.end()) {
        TellEnd(application, requestId, ORVI_SIM_MODEL_NOT_READY, {});
        return;
    }
    if (nextFailure_) {
        TellEnd(application, requestId, *std::exchange(nextFailure_, std::nullopt), {});
        return;
    }
    (void)End(application, requestId, ORVI_SIM_MODEL_CANCELLED);  // a second request with an id ends the first
    if (session->second.size() >= ORVI_SIM_MODEL_MOST_ANSWERS) {
        TellEnd(application, requestId, ORVI_SIM_MODEL_BUSY, {});
        return;
    }
    Given given;
    given.pieces = PiecesOf(answer_ ? *answer_ : ModelAnswer(type, text));
    given.number = ++answersBegun_;
    stage_.Tell(application, EVENT_BEGIN,
                BytesOf(OrviSimModelBegin{sizeof(OrviSimModelBegin), requestId, type,
                                          static_cast<uint32_t>(given.pieces.size())}));
    PlanNext(application, requestId, given.number);
    session->second.emplace(requestId, std::move(given));
}

void Model::PlanNext(const ApplicationId& application, uint32_t requestId, uint64_t number) {
    stage_.After(pace_, [this, application, requestId, number] {
        const auto session = sessions_.find(application);
        if (session == sessions_.end()) {
            return;
        }
        const auto given = session->second.find(requestId);
        if (given != session->second.end() && given->second.number == number &&
            !SendNext(application, requestId, given->second)) {
            (void)End(application, requestId, ORVI_SIM_MODEL_COMPLETE);
        }
    });
}

// False when there is nothing more to send.
bool Model::SendNext(const ApplicationId& application, uint32_t requestId, Given& given) {
    if (given.sent == given.pieces.size()) {
        return false;
    }
    const std::string& piece = given.pieces[given.sent];
    OrviSimModelPiece record = {};
    record.length = sizeof(record);
    record.requestId = requestId;
    record.index = static_cast<uint32_t>(given.sent);
    record.textLength = static_cast<uint32_t>(piece.size());
    std::memcpy(record.text, piece.data(), piece.size());
    stage_.Tell(application, EVENT_PIECE, BytesOf(record));
    ++given.sent;
    given.sentLength += piece.size();
    PlanNext(application, requestId, given.number);
    return true;
}

// False when there is no such answer.
bool Model::End(const ApplicationId& application, uint32_t requestId, uint32_t result) {
    const auto session = sessions_.find(application);
    if (session == sessions_.end()) {
        return false;
    }
    const auto given = session->second.find(requestId);
    if (given == session->second.end()) {
        return false;
    }
    TellEnd(application, requestId, result, given->second);
    session->second.erase(given);
    return true;
}

void Model::TellEnd(const ApplicationId& application, uint32_t requestId, uint32_t result, const Given& given) {
    stage_.Tell(application, EVENT_END,
                BytesOf(OrviSimModelEnd{sizeof(OrviSimModelEnd), requestId, result, static_cast<uint32_t>(given.sent),
                                        static_cast<uint32_t>(given.sentLength)}));
}

// --- Directions ---

std::vector<Direction> Model::Directions() {
    return {
        {"model answers", [this](const Arguments& a) { return SetAnswer(a[0].text); }},
        {"model usual",
         [this](const Arguments&) {
             answer_.reset();
             nextFailure_.reset();
             pace_ = TIME_PER_PIECE;
             return Done();
         }},
        {"model pace",
         [this](const Arguments& a) {
             pace_ = a[0].time;
             return Done();
         }},
        {"model fails", [this](const Arguments& a) { return SetNextFailure(a[0].text); }},
        {"ability", [this](const Arguments& a) { return SetAbility(a[0].text, a[1].text == "on"); }},
    };
}

Outcome Model::SetAnswer(const std::string& text) {
    if (text.size() > LONGEST_ANSWER) {
        return Refused("an answer has at most " + std::to_string(LONGEST_ANSWER) + " bytes");
    }
    answer_ = text;
    return Done();
}

Outcome Model::SetNextFailure(const std::string& word) {
    nextFailure_ = word == "cancelled"   ? ORVI_SIM_MODEL_CANCELLED
                   : word == "not-ready" ? ORVI_SIM_MODEL_NOT_READY
                   : word == "busy"      ? ORVI_SIM_MODEL_BUSY
                                         : ORVI_SIM_MODEL_BAD_REQUEST;
    return Done();
}

Outcome Model::SetAbility(const std::string& which, bool isThere) {
    (which == "cloud-model" ? hasCloudModel_ : hasVoiceAssistant_) = isThere;
    return Done();
}

std::string Model::Describe() const {
    size_t answers = 0;
    for (const auto& [application, session] : sessions_) {
        answers += session.size();
    }
    return "models=" + std::to_string(sessions_.size()) + " answers=" + std::to_string(answers);
}

}  // namespace orvi_sim
