// The director's wait for the service.
#ifndef ORVI_AI_SRV_PROXY_DIRECTOR_H
#define ORVI_AI_SRV_PROXY_DIRECTOR_H

#include <chrono>

namespace OrviAiService {

// How long the director's creation waits for the service to run.
constexpr std::chrono::seconds DIRECTOR_WAIT_LIMIT{10};

// Pauses until the service runs. False, with an error line, when `limit` has passed, in a forked child, and
// inside a callback: the service's start would have to be told to the application after that callback.
bool WaitForDirector(std::chrono::steady_clock::duration limit);

}  // namespace OrviAiService

#endif
