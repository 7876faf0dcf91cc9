#include "event_table.h"

#include <iterator>

namespace orvi_sim {
namespace {

const EventRow EVENTS[] = {
    // id, default length, name
    {0x60000C, 288, "face"},
    {0x600012, 4, "service status"},
    {0x600015, 4, "caption start status"},
    {0x600016, 4, "caption stop status"},
    {0x600018, 4, "caption switch"},
    {0x60001A, 4, "caption 1a"},
    {0x60001C, 4, "nameplate start status"},
    {0x60001D, 4, "nameplate stop status"},
    {0x600029, 4, "check-in cleared"},
    {0x60002B, 4, "check-in count"},
    {0x60002D, 668, "check-in arrival"},
    {0x60002F, 4, "check-in complete"},
    {0x600033, 4, "service up or down"},
    {0x600037, 4, "status 37"},
    {0x600038, 4, "caption 38"},
    {0x600039, 4, "notice 39"},
    {0x60003B, 4, "large model init status"},
    {0x60003E, 4, "large model 3e"},
    {0x60003F, 4, "large model 3f"},
    {0x600040, 4, "large model 40"},
    {0x60004A, 4, "assistant wake up"},
    {0x60004B, 4, "assistant sleep"},
    {0x60004C, 4, "assistant listen"},
    {0x60004D, 4, "assistant no listen"},
    {0x60004E, 4, "assistant intent notify"},
    {0x60004F, 4, "assistant asr text"},
    {0x600050, 4, "assistant tts text"},
    {0x600051, 4, "assistant choose one"},
    {0x600052, 4, "assistant display card"},
    {0x600053, 4, "assistant server error"},
    {0x600054, 4, "assistant mic"},
    {0x600055, 4, "assistant reset"},
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

}  // namespace orvi_sim
