#include "service/events.h"

#include <iterator>

#include "orvi_vision_sim_payloads.h"

namespace orvi_sim {
namespace {

constexpr EventShape INTEGER = EventShape::Integer;
constexpr EventShape RECORD = EventShape::Record;
constexpr EventShape PICTURE = EventShape::Picture;

const EventRow EVENTS[] = {
    // id, shape, length, name
    {0x60000C, PICTURE, sizeof(OrviSimFaceEvent), "face"},
    {0x600012, INTEGER, 4, "service status"},
    {0x600015, INTEGER, 4, "caption start status"},
    {0x600016, INTEGER, 4, "caption stop status"},
    {0x600018, RECORD, sizeof(OrviSimCaptionSwitch), "caption switch"},
    {0x60001A, RECORD, sizeof(OrviSimCaptionSpeaker), "caption speaker"},
    {0x60001C, INTEGER, 4, "nameplate start status"},
    {0x60001D, INTEGER, 4, "nameplate stop status"},
    {0x600029, INTEGER, 4, "check-in cleared"},
    {0x60002B, INTEGER, 4, "check-in count"},
    {0x60002D, RECORD, sizeof(OrviSimCheckinArrival), "check-in arrival"},
    {0x60002F, INTEGER, 4, "check-in complete"},
    {0x600033, INTEGER, 4, "service up or down"},
    {0x600037, INTEGER, 4, "status 37"},
    {0x600038, RECORD, sizeof(OrviSimCaptionLine), "caption line"},
    {0x600039, INTEGER, 4, "notice 39"},
    {0x60003B, INTEGER, 4, "large model init status"},
    {0x60003E, RECORD, sizeof(OrviSimModelPiece), "large model piece"},
    {0x60003F, RECORD, sizeof(OrviSimModelBegin), "large model begin"},
    {0x600040, RECORD, sizeof(OrviSimModelEnd), "large model end"},
    {0x60004A, RECORD, sizeof(OrviSimAssistantWakeUp), "assistant wake up"},
    {0x60004B, RECORD, sizeof(OrviSimAssistantNotice), "assistant sleep"},
    {0x60004C, RECORD, sizeof(OrviSimAssistantNotice), "assistant listen"},
    {0x60004D, RECORD, sizeof(OrviSimAssistantNotice), "assistant no listen"},
    {0x60004E, RECORD, sizeof(OrviSimAssistantIntent), "assistant intent notify"},
    {0x60004F, RECORD, sizeof(OrviSimAssistantText), "assistant asr text"},
    {0x600050, RECORD, sizeof(OrviSimAssistantText), "assistant tts text"},
    {0x600051, RECORD, ORVI_SIM_ASSISTANT_CHOICE_HEAD, "assistant choose one"},
    {0x600052, RECORD, sizeof(OrviSimAssistantCardShown), "assistant display card"},
    {0x600053, RECORD, sizeof(OrviSimAssistantError), "assistant server error"},
    {0x600054, RECORD, sizeof(OrviSimAssistantNotice), "assistant mic"},
    {0x600055, RECORD, sizeof(OrviSimAssistantNotice), "assistant reset"},
};

}  // namespace

const EventRow* FindEvent(uint32_t id) {
    for (const EventRow& row : EVENTS) {
        if (row.id == id) {
            return &row;
        }
    }
    return nullptr;
}

const EventRow* EventTable(size_t& count) {
    count = std::size(EVENTS);
    return EVENTS;
}

const char* EventName(uint32_t id) {
    const EventRow* row = FindEvent(id);
    return row != nullptr ? row->name : "unlisted";
}

Payload PlainEvent(const EventRow& row) {
    Payload payload = row.shape == EventShape::Record ? IntegerPayload(row.length) : Payload();
    payload.resize(row.length);
    return payload;
}

bool IsTrustworthy(const EventRow& row, const Payload& payload, std::string& reason) {
    const std::string bytes = std::to_string(payload.size()) + " bytes";
    if (payload.empty()) {
        return true;
    }
    if (payload.size() < 4) {
        reason = "it has " + bytes + ", too few for an integer";
        return false;
    }
    const uint32_t first = ReadInteger(payload.data());
    switch (row.shape) {
        case EventShape::Integer:
            return true;
        case EventShape::Record:
            reason = "its length word says " + std::to_string(first) + " and it has " + bytes;
            return first == payload.size();
        case EventShape::Picture:
            reason = "it has " + bytes + " and " + std::to_string(first) + " faces, not " + std::to_string(row.length) +
                     " bytes and at most " + std::to_string(ORVI_SIM_MAX_FACES);
            return payload.size() == row.length && first <= ORVI_SIM_MAX_FACES;
    }
    return false;
}

}  // namespace orvi_sim
