// The director's wait for the service.
#ifndef ORVI_AI_SRV_PROXY_MEETING_H
#define ORVI_AI_SRV_PROXY_MEETING_H

#include <chrono>

namespace OrviAiService {

// How long the director's creation waits for the service to run.
constexpr std::chrono::seconds DIRECTOR_WAIT_LIMIT{10};

// Pauses until the service runs. False, with an error line, when `limit` has passed or the thread is inside a
// callback: the service's start would have to be told to the application after that callback.
bool WaitForDirector(std::chrono::steady_clock::duration limit);

}  // namespace OrviAiService

#endif
