// First steps with the vision service: connect, print what the service reports, connect again after the service was
// restarted, leave at Ctrl-C.
//
// Try it with the simulated service in a second terminal:
//   orvi-vision-sim --control        and there:  push checkin.count 7
#include <cstdio>
#include <signal.h>

#include "orvi_ai_srv.h"

namespace {

void OnEvent(OrviAiEventId event, void* payload);

tagOrviAppInfo Identity() {
    tagOrviAppInfo identity{};
    std::snprintf(identity.appId, sizeof(identity.appId), "first-steps");
    return identity;
}

// The same call connects for the first time and announces us to a service that was restarted.
bool Connect() {
    return OrviAiSrvApiInit(Identity(), OnEvent) == 0;
}

// Runs on the library's message thread. The payload is the library's and gone when we return.
void OnEvent(OrviAiEventId event, void* payload) {
    switch (event) {
        case ORVI_AI_EVENT_SERVICE_EXIT:
            std::puts("first_steps: event 0, the service has gone");
            break;
        case ORVI_AI_EVENT_SERVICE_START:
            std::puts("first_steps: event 1, the service has started");
            // It does not know us yet, or any more.
            std::puts(Connect() ? "first_steps: connected" : "first_steps: not connected, the log has the reason");
            break;
        case ORVI_AI_EVENT_STATUS: {
            const auto* status = static_cast<const tagOrviAiServiceStatusEvent*>(payload);
            std::printf("first_steps: event 2, status of type %d is %d\n", status->type, status->status);
            break;
        }
        default:
            std::printf("first_steps: event %d %s payload\n", event, payload != nullptr ? "with" : "without");
            break;
    }
}

}  // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // a line is seen when it is written, also through a pipe

    // Blocked before the library starts its thread, so that only sigwait() below receives them.
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);

    // When the service does not run yet, event 1 will tell us of its start.
    std::puts(Connect() ? "first_steps: connected, Ctrl-C ends" : "first_steps: no service yet, Ctrl-C ends");

    int received = 0;
    sigwait(&endSignals, &received);

    if (OrviAiSrvApiDeinit() != 0) {
        std::puts("first_steps: the service could not be told that we leave");
        return 1;
    }
    std::puts("first_steps: left the service");
    return 0;
}
