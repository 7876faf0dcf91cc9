// What the service tells this process: the library's three callbacks, decoded, printed and kept for those who wait.
#ifndef ORVI_AI_TOOL_EVENT_STREAM_H
#define ORVI_AI_TOOL_EVENT_STREAM_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "orvi_ai_srv.h"
#include "output.h"

namespace orvi_ai {

using Clock = std::chrono::steady_clock;

struct Event {
    const orvi_protocol::Message* message;
    orvi_protocol::Decoded decoded;
};

// Which events are meant: names, where "caption.*" stands for all that begin so; none means all. The values of named
// fields must be these.
struct EventFilter {
    std::vector<std::string> names;
    std::vector<orvi_protocol::Setting> values;

    bool Matches(const Event& event) const;
};

enum class WaitEnd { Arrived, OutOfTime, Interrupted, ServiceGone };

namespace Events {

// To be given to the library.
void OnMain(OrviAiEventId event, void* payload);
void OnCaption(OrviAiCaptionEventId event, void* payload);
void OnFace(tagOrviAiSrvFaceDetEvent* event);

// Prints what matches from now on, as it comes.
void PrintTo(Output* output, EventFilter filter);

// Takes the next event that matches, and those before it. Without a deadline for as long as it takes.
WaitEnd Next(const EventFilter& filter, std::optional<Clock::time_point> deadline, Event* event = nullptr);

// Waits and leaves the events alone: OutOfTime or Interrupted.
WaitEnd Pause(Clock::time_point deadline);

// Whether an event means that the service has ended; the one that has restarted is of interest to `watch` alone.
bool IsServiceGone(const Event& event);

// Ends every wait, now and later.
void Interrupt();
bool IsInterrupted();

}  // namespace Events
}  // namespace orvi_ai

#endif
