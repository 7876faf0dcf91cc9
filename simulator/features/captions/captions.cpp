#include "features/captions/captions.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "features/face/face_scene.h"
#include "log.h"

namespace orvi_sim {
namespace {

using std::chrono::milliseconds;

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

// The end of the next few words.
size_t NextEnd(const std::string& text, size_t from) {
    for (size_t words = 0; words < WORDS_A_STEP && from < text.size(); ++words) {
        from = std::min(text.find(' ', from + 1), text.size());
    }
    return from;
}

}  // namespace

RequestTable Captions::Requests() const {
    static const RequestRow ROWS[] = {
        // id, name, task, shortest, longest, reply, address, told, handler
        {0x600014, "caption init", TASK_INTERFACE, ADDRESS_LENGTH, ADDRESS_LENGTH, VERDICT, true, Told::Nobody,
         HandledBy(&Captions::Init)},
        {0x600015, "caption start", TASK_INTERFACE, START_LENGTH, START_LENGTH, VERDICT, true, Told::Room,
         HandledBy(&Captions::Start)},
        {0x600016, "caption stop", TASK_INTERFACE, ADDRESS_LENGTH, ADDRESS_LENGTH, VERDICT, true, Told::Room,
         HandledBy(&Captions::Stop)},
        {0x600017, "caption deinit", TASK_INTERFACE, 0, 0, VERDICT, false, Told::Nobody, HandledBy(&Captions::Deinit)},
    };
    return {ROWS, std::size(ROWS)};
}

void Captions::Init(const Request& request, Answer& answer) {
    preparers_.Add(request.sender);
    answer.Done();
}

void Captions::Deinit(const Request& request, Answer& answer) {
    OnGone(request.sender);
    answer.Done();
}

void Captions::Start(const Request& request, Answer& answer) {
    std::string conference;
    if (!request.TextAt(START_CONFERENCE, START_CONFERENCE_SIZE, conference)) {
        conference = "(a text without end)";
    }
    if (preparers_.Empty()) {
        answer.Refuse(ORVI_SIM_NOT_READY, "not ready, call init first");
        return;
    }
    if (isRunning_ && conference != conference_) {
        answer.Refuse(ORVI_SIM_BUSY, "busy, those of another conference run");
        return;
    }
    const bool wasReported = isRunning_ && isReported_;
    const bool isReported = request.BytesAt(START_REPORT, 1).front() != 0;
    users_.Add(request.sender);
    answer.Done();
    if (!isRunning_) {
        isRunning_ = true;
        isReported_ = false;
        conference_ = conference;
        startedAt_ = stage_.SinceStart();
        lines_ = 0;
        speaker_.clear();
        openLine_ = 0;
        ++run_;
        Log("captions start for \"%s\"%s", conference.c_str(), isReported ? "" : ", not reported");
        TellSwitch();
    } else {
        stage_.Tell(request.sender, EVENT_SWITCH, SwitchPayload());
    }
    if (isReported && !wasReported) {
        isReported_ = true;
        if (isConversing_) {
            PlanWords(PAUSE, {0, 0, 0, 0});
        }
    }
}

void Captions::Stop(const Request&, Answer& answer) {
    if (!isRunning_) {
        answer.Refuse(ORVI_SIM_NOT_READY, "not ready, there are none");
        return;
    }
    answer.Done();
    End();
}

void Captions::OnGone(const ApplicationId& application) {
    const bool wasLastUser = users_.Remove(application);
    const bool wasLastPreparer = preparers_.Remove(application);
    if (isRunning_ && (wasLastUser || wasLastPreparer)) {
        End();
    }
}

void Captions::End() {
    isRunning_ = false;
    users_.Clear();
    Log("captions end");
    TellSwitch();
}

void Captions::TellSwitch() {
    stage_.TellAll(EVENT_SWITCH, SwitchPayload());
}

Payload Captions::SwitchPayload() const {
    return BytesOf(OrviSimCaptionSwitch{sizeof(OrviSimCaptionSwitch), isRunning_ ? 1U : 0U});
}

void Captions::PlanWords(milliseconds delay, Place place) {
    stage_.After(delay, [this, run = run_, place] {
        if (isRunning_ && run == run_) {
            SendWords(place);
        }
    });
}

void Captions::SendWords(Place place) {
    const Line& line = CONVERSATION[place.line % std::size(CONVERSATION)];
    const std::string text = line.text;
    if (place.shown == 0) {
        place.startMs = static_cast<uint32_t>((stage_.SinceStart() - startedAt_).count());
        place.number = ++lines_;
    }
    place.shown = NextEnd(text, place.shown);
    const bool isFinal = place.shown == text.size();
    SendLine(place.number, isFinal, place.startMs, NameOf(line.person), text.substr(0, place.shown));
    if (isFinal) {
        PlanWords(PAUSE, {place.line + 1, 0, 0, 0});
    } else {
        PlanWords(STEP, place);
    }
}

void Captions::SendLine(uint32_t number, bool isFinal, uint32_t startMs, const std::string& speaker,
                        const std::string& text) {
    uint32_t faceId = 0;
    for (uint32_t person = 0; person < PersonCount(); ++person) {
        faceId = speaker == NameOf(person) ? FaceIdOf(person) : faceId;
    }
    if (speaker != speaker_) {
        speaker_ = speaker;
        OrviSimCaptionSpeaker record = {sizeof(record), faceId, {}};
        std::snprintf(record.speaker, sizeof(record.speaker), "%s", speaker.c_str());
        stage_.TellAll(EVENT_SPEAKER, BytesOf(record));
    }
    OrviSimCaptionLine caption = {sizeof(caption), number, isFinal ? 1U : 0U, startMs, faceId, {}, {}};
    std::snprintf(caption.speaker, sizeof(caption.speaker), "%s", speaker.c_str());
    std::snprintf(caption.text, sizeof(caption.text), "%s", text.c_str());
    stage_.TellAll(EVENT_LINE, BytesOf(caption));
}

// --- Directions ---

std::vector<Direction> Captions::Directions() {
    return {
        {"caption", [this](const Arguments& a) { return Hear(a); }},
        {"conversation", [this](const Arguments& a) { return SwitchConversation(a[0].text == "on"); }},
    };
}

Outcome Captions::Hear(const Arguments& arguments) {
    const Argument* const name = arguments.Option("--speaker");
    const std::string speaker = name != nullptr ? name->text : speaker_.empty() ? NameOf(0) : speaker_;
    const std::string& text = arguments[0].text;
    if (!isRunning_ || !isReported_) {
        return Refused(isRunning_ ? "captions are on without being reported" : "captions are off");
    }
    if (speaker.size() >= sizeof(OrviSimCaptionLine::speaker) || text.size() >= sizeof(OrviSimCaptionLine::text)) {
        return Refused("a speaker has at most " + std::to_string(sizeof(OrviSimCaptionLine::speaker) - 1) +
                       " bytes and a text " + std::to_string(sizeof(OrviSimCaptionLine::text) - 1));
    }
    const bool isFinal = arguments.Option("--partial") == nullptr;
    const uint32_t number = openLine_ != 0 && speaker == speaker_ ? openLine_ : ++lines_;
    openLine_ = isFinal ? 0 : number;
    SendLine(number, isFinal, static_cast<uint32_t>((stage_.SinceStart() - startedAt_).count()), speaker, text);
    return Done();
}

Outcome Captions::SwitchConversation(bool isOn) {
    if (isConversing_ == isOn) {
        return Refused(std::string("it is ") + (isOn ? "on" : "off") + " already");
    }
    isConversing_ = isOn;
    ++run_;  // nothing that is planned is said any more
    if (isOn && isRunning_ && isReported_) {
        PlanWords(PAUSE, {0, 0, 0, 0});
    }
    return Done();
}

std::string Captions::Describe() const {
    return std::string("captions=") + (isRunning_ ? "on" : preparers_.Empty() ? "off" : "ready");
}

}  // namespace orvi_sim
