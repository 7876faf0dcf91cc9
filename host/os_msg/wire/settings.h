// What a user may set through the environment; docs/host-settings.md has the table.
#ifndef ORVI_HOST_OS_MSG_SETTINGS_H
#define ORVI_HOST_OS_MSG_SETTINGS_H

#include <cstdint>

namespace orvi_bus {

enum class Trace : uint8_t { kNever, kAlways, kWhenWatched };

struct Settings {
    uint32_t defaultWaitMs;  // a request's wait when the caller gives 0
    uint32_t sendWaitMs;     // longest wait of a one-way message and of a reply
    uint32_t frameWaitMs;    // how long a peer may leave a connection without its first frame, or a frame unfinished
    uint32_t slowMs;         // a handler that runs longer is told of; 0: never
    uint32_t yieldUs;        // longest time that who expects bytes lets others run before it sleeps; 0: not at all
    bool pinned;             // the process may use one of several processors only
    Trace trace;             // whether programs that watch the traffic are told
};

// Read on the first call, which OsMsgInit makes, and constant from then on. A value that is no number in its range
// is reported once and its default taken.
const Settings& GetSettings();

}  // namespace orvi_bus

#endif
