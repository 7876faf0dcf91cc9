// The payloads of the simulated service as C++17 values: what an event of orvi_ai_srv.hpp has with it, by its type. A
// device's service has layouts of its own, see orvi_vision_sim_payloads.h.
#ifndef ORVI_VISION_SIM_PAYLOADS_HPP
#define ORVI_VISION_SIM_PAYLOADS_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <type_traits>

#include "orvi_ai_srv_events.hpp"
#include "orvi_vision_sim_payloads.h"

namespace orvi {
namespace sim {

// For EventQueue::Options::payloadLength.
inline std::size_t PayloadLength(Source source, int event, const void* payload) {
    if (source == Source::MAIN && event == ORVI_AI_EVENT_NOTICE_39) {
        return sizeof(std::int32_t);
    }
    std::uint32_t length = 0;
    std::memcpy(&length, payload, sizeof(length));
    return length;
}

// A record that begins with its length: what a shorter one leaves out is zero. None without data, and when it is too
// short for its own length.
template <class Record>
std::optional<Record> Read(const Payload& payload) {
    static_assert(std::is_trivially_copyable_v<Record> && offsetof(Record, length) == 0);
    std::uint32_t length = 0;
    if (payload.data() == nullptr || payload.size().value_or(sizeof(length)) < sizeof(length)) {
        return std::nullopt;
    }
    std::memcpy(&length, payload.data(), sizeof(length));
    if (length < sizeof(length) || payload.size().value_or(length) < length) {
        return std::nullopt;
    }
    Record record;
    (void)OrviSimReadRecord(&record, sizeof(record), payload.data());
    return record;
}

// The record of an event of this kind, none for another kind.
//   if (const auto line = orvi::sim::CaptionLine(event)) { std::puts(line->text); }
inline std::optional<OrviSimCaptionSwitch> CaptionSwitch(const CaptionEvent& event) {
    return event.id == ORVI_AI_CAPTION_EVENT_SWITCH ? Read<OrviSimCaptionSwitch>(event.payload) : std::nullopt;
}
inline std::optional<OrviSimCaptionLine> CaptionLine(const CaptionEvent& event) {
    return event.id == ORVI_AI_CAPTION_EVENT_38 ? Read<OrviSimCaptionLine>(event.payload) : std::nullopt;
}
inline std::optional<OrviSimCaptionSpeaker> CaptionSpeaker(const CaptionEvent& event) {
    return event.id == ORVI_AI_CAPTION_EVENT_1A ? Read<OrviSimCaptionSpeaker>(event.payload) : std::nullopt;
}
inline std::optional<OrviSimCheckinArrival> CheckinArrival(const Event& event) {
    return event.id == ORVI_AI_EVENT_NOTICE_2D ? Read<OrviSimCheckinArrival>(event.payload) : std::nullopt;
}
inline std::optional<OrviSimModelBegin> ModelBegin(const Event& event) {
    return event.id == ORVI_AI_EVENT_LARGE_MODEL_3F ? Read<OrviSimModelBegin>(event.payload) : std::nullopt;
}
inline std::optional<OrviSimModelPiece> ModelPiece(const Event& event) {
    return event.id == ORVI_AI_EVENT_LARGE_MODEL_3E ? Read<OrviSimModelPiece>(event.payload) : std::nullopt;
}
inline std::optional<OrviSimModelEnd> ModelEnd(const Event& event) {
    return event.id == ORVI_AI_EVENT_LARGE_MODEL_40 ? Read<OrviSimModelEnd>(event.payload) : std::nullopt;
}
inline std::optional<OrviSimAssistantWakeUp> AssistantWakeUp(const Event& event) {
    return event.id == ORVI_AI_EVENT_ASSISTANT_WAKE_UP ? Read<OrviSimAssistantWakeUp>(event.payload) : std::nullopt;
}
// Of the events sleep, listen, no listen, mic and reset.
inline std::optional<OrviSimAssistantNotice> AssistantNotice(const Event& event) {
    switch (event.id) {
        case ORVI_AI_EVENT_ASSISTANT_SLEEP:
        case ORVI_AI_EVENT_ASSISTANT_LISTEN:
        case ORVI_AI_EVENT_ASSISTANT_NO_LISTEN:
        case ORVI_AI_EVENT_ASSISTANT_MIC:
        case ORVI_AI_EVENT_ASSISTANT_RESET:
            return Read<OrviSimAssistantNotice>(event.payload);
        default:
            return std::nullopt;
    }
}
// Of what somebody says and of what the assistant says.
inline std::optional<OrviSimAssistantText> AssistantText(const Event& event) {
    return event.id == ORVI_AI_EVENT_ASSISTANT_ASR_TEXT || event.id == ORVI_AI_EVENT_ASSISTANT_TTS_TEXT
               ? Read<OrviSimAssistantText>(event.payload)
               : std::nullopt;
}
inline std::optional<OrviSimAssistantIntent> AssistantIntent(const Event& event) {
    return event.id == ORVI_AI_EVENT_ASSISTANT_INTENT_NOTIFY ? Read<OrviSimAssistantIntent>(event.payload)
                                                             : std::nullopt;
}
inline std::optional<OrviSimAssistantChoice> AssistantChoice(const Event& event) {
    return event.id == ORVI_AI_EVENT_ASSISTANT_CHOOSE_ONE ? Read<OrviSimAssistantChoice>(event.payload) : std::nullopt;
}
inline std::optional<OrviSimAssistantCardShown> AssistantCardShown(const Event& event) {
    return event.id == ORVI_AI_EVENT_ASSISTANT_DISPLAY_CARD ? Read<OrviSimAssistantCardShown>(event.payload)
                                                            : std::nullopt;
}
inline std::optional<OrviSimAssistantError> AssistantError(const Event& event) {
    return event.id == ORVI_AI_EVENT_ASSISTANT_SERVER_ERROR ? Read<OrviSimAssistantError>(event.payload) : std::nullopt;
}

// Records of one size on both sides: a page of attendance, a picture with faces, what goes into a request.
template <class To, class From>
To Cast(const From& from) {
    static_assert(sizeof(To) == sizeof(From) && std::is_trivially_copyable_v<To> && std::is_trivially_copyable_v<From>);
    To to;
    std::memcpy(&to, &from, sizeof(to));
    return to;
}
inline OrviSimFaceEvent Faces(const FaceEvent& event) {
    return Cast<OrviSimFaceEvent>(event);
}
inline OrviSimCheckinPage CheckinPage(const tagCheckinTotalData& page) {
    return Cast<OrviSimCheckinPage>(page);
}
inline tagOrviAiMinutesConfInfo Minutes(const OrviSimMinutesConference& conference) {
    return Cast<tagOrviAiMinutesConfInfo>(conference);
}
inline OrviAiModelParams Request(const OrviSimModelRequest& request) {
    return Cast<OrviAiModelParams>(request);
}
inline OrviAiAssistantCard Card(const OrviSimAssistantCard& card) {
    return Cast<OrviAiAssistantCard>(card);
}
inline OrviAiAssistantPageInfo PageInfo(const OrviSimPageInfo& page) {
    return Cast<OrviAiAssistantPageInfo>(page);
}

}  // namespace sim
}  // namespace orvi

#endif
