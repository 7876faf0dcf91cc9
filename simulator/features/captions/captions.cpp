// Captions: a conversation that is heard again and again, word by word.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <mutex>
#include <string>

#include "face_scene.h"
#include "log.h"
#include "orvi_vision_sim_payloads.h"
#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr uint32_t STATUS_START = 0x600015;
constexpr uint32_t STATUS_STOP = 0x600016;
constexpr uint32_t EVENT_SWITCH = 0x600018;
constexpr uint32_t EVENT_LINE = 0x600038;
constexpr uint32_t EVENT_SPEAKER = 0x60001A;

constexpr uint32_t START_LENGTH = 496;
constexpr uint32_t START_CONFERENCE = 36;
constexpr uint32_t START_CONFERENCE_SIZE = 192;
constexpr uint32_t START_REPORT = 492;

constexpr milliseconds STEP{120};   // a few words more
constexpr milliseconds PAUSE{250};  // between lines
constexpr size_t WORDS_A_STEP = 3;

// Captions end when nobody has been connected for so long. An announcement goes to another task and may be handled
// after the first requests.
constexpr std::chrono::seconds PATIENCE_WITHOUT_CLIENTS{5};

// What is said, by the people of the face scene.
struct Line {
    uint32_t person;
    const char* text;
};
constexpr Line CONVERSATION[] = {
    {0, "Good morning. Can everybody hear me?"},
    {1, "Loud and clear. The picture is fine, too."},
    {2, "I have the figures of last week on the second screen."},
    {2, "The new microphones made the room much quieter."},
    {0, "Then let us begin. Who writes the minutes today?"},
    {1, "I can do that, if somebody else keeps an eye on the clock."},
};

std::mutex g_mutex;  // guards what follows: requests and lines have threads of their own
bool g_initialised = false;
bool g_running = false;
uint64_t g_run = 0;  // counts the starts: lines planned before the last one are not sent any more
Clock::time_point g_startedAt;
Clock::time_point g_lastHeard;  // somebody was connected

// Where the conversation is.
struct Place {
    uint32_t line;  // heard since the start
    size_t shown;   // characters of it that have been sent
    uint32_t startMs;
};

template <class Record>
Payload BytesOf(const Record& record) {
    Payload payload(sizeof(record));
    std::memcpy(payload.data(), &record, sizeof(record));
    return payload;
}

Payload Integer(uint32_t value) {
    Payload payload;
    AppendInteger(payload, value);
    return payload;
}

// The end of the next few words.
size_t NextEnd(const std::string& text, size_t from) {
    for (size_t words = 0; words < WORDS_A_STEP && from < text.size(); ++words) {
        from = std::min(text.find(' ', from + 1), text.size());
    }
    return from;
}

void SendWords(Service& service, uint64_t run, Place place);

void PlanWords(Service& service, milliseconds delay, Place place) {
    service.After(delay, [&service, run = g_run, place] { SendWords(service, run, place); });
}

void SendWords(Service& service, uint64_t run, Place place) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_running || run != g_run) {
        return;
    }
    Clients& clients = service.GetClients();
    if (!clients.List().empty()) {
        g_lastHeard = Clock::now();
    } else if (Clock::now() - g_lastHeard > PATIENCE_WITHOUT_CLIENTS) {
        Log("captions end: nobody is connected");
        g_running = false;
        return;
    }
    constexpr size_t LINES = std::size(CONVERSATION);
    const Line& line = CONVERSATION[place.line % LINES];
    const std::string text = line.text;
    if (place.shown == 0) {
        place.startMs =
            static_cast<uint32_t>(std::chrono::duration_cast<milliseconds>(Clock::now() - g_startedAt).count());
        if (place.line == 0 || CONVERSATION[(place.line - 1) % LINES].person != line.person) {
            OrviSimCaptionSpeaker speaker = {sizeof(speaker), FaceIdOf(line.person), {}};
            std::snprintf(speaker.speaker, sizeof(speaker.speaker), "%s", NameOf(line.person));
            clients.PushToAll(EVENT_SPEAKER, BytesOf(speaker));
        }
    }
    place.shown = NextEnd(text, place.shown);
    const bool isFinal = place.shown == text.size();
    OrviSimCaptionLine caption = {
        sizeof(caption), place.line + 1, isFinal ? 1U : 0U, place.startMs, FaceIdOf(line.person), {}, {}};
    std::snprintf(caption.speaker, sizeof(caption.speaker), "%s", NameOf(line.person));
    std::snprintf(caption.text, sizeof(caption.text), "%s", text.substr(0, place.shown).c_str());
    clients.PushToAll(EVENT_LINE, BytesOf(caption));
    if (isFinal) {
        PlanWords(service, PAUSE, {place.line + 1, 0, 0});
    } else {
        PlanWords(service, STEP, place);
    }
}

void PushSwitch(Answer& answer) {
    answer.Push(EVENT_SWITCH, BytesOf(OrviSimCaptionSwitch{sizeof(OrviSimCaptionSwitch), g_running ? 1U : 0U}));
}

// The verdict as reply and as status message.
void Conclude(uint32_t statusId, uint8_t verdict, Answer& answer) {
    answer.Verdict(verdict);
    answer.Push(statusId, Integer(verdict));
}

void Init(Service&, const Request&, Answer& answer) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_initialised = true;
    answer.Verdict(ORVI_SIM_DONE);
}

void Start(Service& service, const Request& request, Answer& answer) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_initialised) {
        Conclude(STATUS_START, ORVI_SIM_NOT_READY, answer);
        return;
    }
    std::string conference;
    if (!request.TextAt(START_CONFERENCE, START_CONFERENCE_SIZE, conference)) {
        conference = "(a text without end)";
    }
    const bool isReported = request.BytesAt(START_REPORT, 1).front() != 0;
    g_running = true;
    g_startedAt = Clock::now();
    g_lastHeard = g_startedAt;
    ++g_run;
    Log("captions start for \"%s\"%s", conference.c_str(), isReported ? "" : ", not reported");
    Conclude(STATUS_START, ORVI_SIM_DONE, answer);
    PushSwitch(answer);
    if (isReported) {
        PlanWords(service, PAUSE, {0, 0, 0});
    }
}

void End(Answer& answer) {
    g_running = false;
    Log("captions end");
    PushSwitch(answer);
}

void Stop(Service&, const Request&, Answer& answer) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_running) {
        Conclude(STATUS_STOP, ORVI_SIM_NOT_READY, answer);
        return;
    }
    Conclude(STATUS_STOP, ORVI_SIM_DONE, answer);
    End(answer);
}

void Deinit(Service&, const Request&, Answer& answer) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_initialised = false;
    answer.Verdict(ORVI_SIM_DONE);
    if (g_running) {
        End(answer);
    }
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600014, "caption init", TASK_INTERFACE, ADDRESS_LENGTH, ADDRESS_LENGTH, Init},
    {STATUS_START, "caption start", TASK_INTERFACE, START_LENGTH, START_LENGTH, Start},
    {STATUS_STOP, "caption stop", TASK_INTERFACE, ADDRESS_LENGTH, ADDRESS_LENGTH, Stop},
    {0x600017, "caption deinit", TASK_INTERFACE, 0, 0, Deinit},
};

}  // namespace

RequestTable CaptionRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
