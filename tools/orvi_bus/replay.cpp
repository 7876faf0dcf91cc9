// orvi-bus replay: plays one side of a captured session to the other side, which is alive, and tells what is different.
#include "replay.h"

#include <algorithm>

namespace orvi_bus_tool {

int Replay(const ReplayOptions& options) {
    for (const std::string& field : options.allowed) {
        if (!IsField(field)) {
            std::fprintf(stderr, "orvi-bus: no message has a field '%s'; orvi-ai messages lists them\n", field.c_str());
            return USAGE;
        }
    }
    Session session;
    std::string why;
    if (!ReadSession(options.file, options.application, session, why)) {
        return BadFile(why);
    }
    EndSignal end;
    Script script(std::move(session), options.allowed, options.display);
    const int result =
        options.side == "service" ? PlayService(script, options, end) : PlayApplication(script, options, end);
    if (result != DONE) {
        return result;
    }
    std::fprintf(stderr, "orvi-bus: %s\n", script.Summary().c_str());
    return Written(script.Told().Count() == 0 ? DONE : FAILED, end.PrintError());
}

}  // namespace orvi_bus_tool
