// Captions, nameplates, the camera director, the lock state, and the minutes.
#include "common_records.h"
#include "message.h"
#include "message_ids.h"

namespace orvi_protocol {
namespace {

using namespace OrviAiService;

// --- Captions ---

constexpr Field CAPTION_CONFERENCE_FIELDS[] = {
    Text("conference", ORVI_PLACE(tagOrviAiConfInfo, text1), "which conference it is").Required(),
    Number("option1", ORVI_PLACE(tagOrviAiConfInfo, option1), "agreed with the service").In(INT32_MIN, 1),
    Number("option2", ORVI_PLACE(tagOrviAiConfInfo, option2), "agreed with the service").In(INT32_MIN, 2),
    Text("text2", ORVI_PLACE(tagOrviAiConfInfo, text2), "agreed with the service; not empty").Required().Initially("-"),
};
constexpr Record CAPTION_CONFERENCE = Whole<tagOrviAiConfInfo>("conference of captions", CAPTION_CONFERENCE_FIELDS);

constexpr Field CAPTION_START_FIELDS[] = {
    Sub("client", ORVI_PLACE(tagAiCaptionStart, client), CLIENT, "who asks"),
    Inline(ORVI_PLACE(tagAiCaptionStart, conference), CAPTION_CONFERENCE),
    Flag("report", ORVI_PLACE(tagAiCaptionStart, isReportCaption), "the captions come as events"),
    Reserved("padding", ORVI_PLACE(tagAiCaptionStart, padding)),
};
constexpr Record CAPTION_START = Whole<tagAiCaptionStart>("captions wanted", CAPTION_START_FIELDS);

constexpr Field CAPTION_SWITCH_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimCaptionSwitch, length)),
    Flag("running", ORVI_PLACE(OrviSimCaptionSwitch, running), "captions are on"),
};
constexpr Record CAPTION_SWITCH = Whole<OrviSimCaptionSwitch>("caption switch", CAPTION_SWITCH_FIELDS);

constexpr Field CAPTION_LINE_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimCaptionLine, length)),
    Number("number", ORVI_PLACE(OrviSimCaptionLine, number), "of the line; the first is 1").Initially("1"),
    Flag("final", ORVI_PLACE(OrviSimCaptionLine, isFinal), "it will not change any more").Initially("1"),
    Number("start", ORVI_PLACE(OrviSimCaptionLine, startMs), "of its first word, since the start").Unit("ms"),
    Number("face", ORVI_PLACE(OrviSimCaptionLine, faceId), "the speaker's"),
    Text("speaker", ORVI_PLACE(OrviSimCaptionLine, speaker), "who speaks").Private(),
    Text("text", ORVI_PLACE(OrviSimCaptionLine, text), "what was said so far").Private(),
};
constexpr Record CAPTION_LINE = Whole<OrviSimCaptionLine>("caption line", CAPTION_LINE_FIELDS);

constexpr Field CAPTION_SPEAKER_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimCaptionSpeaker, length)),
    Number("face", ORVI_PLACE(OrviSimCaptionSpeaker, faceId), "the speaker's"),
    Text("speaker", ORVI_PLACE(OrviSimCaptionSpeaker, speaker), "who speaks from now on").Private(),
};
constexpr Record CAPTION_SPEAKER = Whole<OrviSimCaptionSpeaker>("caption speaker", CAPTION_SPEAKER_FIELDS);

// --- Director and lock ---

constexpr Field DIRECTOR_FIELDS[] = {
    Number("number", AtStart(4, true), "always 0").In(0, 0),
};
constexpr Record DIRECTOR = {"director", 4, 4, DIRECTOR_FIELDS};

constexpr Field LOCK_FIELDS[] = {
    Number("state", AtStart(4, true), "the device's lock state, passed on as it is"),
};
constexpr Record LOCK = {"lock state", 4, 4, LOCK_FIELDS};

// --- Minutes ---

constexpr Field MINUTES_CONFERENCE_FIELDS[] = {
    Text("uuid", ORVI_PLACE(OrviSimMinutesConference, confUuid), "unique id of the conference"),
    Text("conference", ORVI_PLACE(OrviSimMinutesConference, confId), "id of the conference").Required(),
    Text("subject", ORVI_PLACE(OrviSimMinutesConference, subject), "what it is about").Private(),
    Text("user", ORVI_PLACE(OrviSimMinutesConference, userId), "who takes the minutes").Private(),
    Text("account", ORVI_PLACE(OrviSimMinutesConference, account), "of that user").Private(),
    Reserved("reserved", ORVI_PLACE(OrviSimMinutesConference, reserved)),
};
constexpr Record MINUTES_CONFERENCE =
    Whole<OrviSimMinutesConference>("conference of minutes", MINUTES_CONFERENCE_FIELDS);
static_assert(sizeof(OrviSimMinutesConference) == sizeof(tagOrviAiMinutesConfInfo));

constexpr Field MINUTES_START_FIELDS[] = {
    Sub("client", ORVI_PLACE(MinutesStartRequest, client), CLIENT, "who asks"),
    Inline(ORVI_PLACE(MinutesStartRequest, confInfo), MINUTES_CONFERENCE),
};
constexpr Record MINUTES_START = Whole<MinutesStartRequest>("minutes wanted", MINUTES_START_FIELDS);

constexpr Message MESSAGES[] = {
    Request("caption.init", AI_MSG_CAPTION_INIT, TASK_INTERFACE, "OrviAiSrvCaptionInit", WAIT_REPLY, &CLIENT_ALONE,
            ReplyRule::Verdict, &VERDICT, "captions are made ready"),
    Request("caption.start", AI_MSG_CAPTION_START, TASK_INTERFACE, "OrviAiSrvCaptionStart", WAIT_REPLY, &CAPTION_START,
            ReplyRule::Verdict, &VERDICT, "captions are switched on"),
    Request("caption.stop", AI_MSG_CAPTION_STOP, TASK_INTERFACE, "OrviAiSrvCaptionStop", WAIT_REPLY, &CLIENT_ALONE,
            ReplyRule::Verdict, &VERDICT, "captions are switched off"),
    Request("caption.deinit", AI_MSG_CAPTION_DEINIT, TASK_INTERFACE, "OrviAiSrvCaptionDeInit", WAIT_REPLY, nullptr,
            ReplyRule::Verdict, &VERDICT, "captions are put away"),

    Request("nameplate.init", AI_MSG_NAMEPLATE_INIT, TASK_FACE, "OrviAiSrvNamePlateInit", WAIT_REPLY, nullptr,
            ReplyRule::Verdict, &VERDICT, "nameplates are made ready"),
    Request("nameplate.deinit", AI_MSG_NAMEPLATE_DEINIT, TASK_FACE, "OrviAiSrvNamePlateDeInit", WAIT_REPLY, nullptr,
            ReplyRule::Verdict, &VERDICT, "nameplates are put away"),
    Request("nameplate.start", AI_MSG_NAMEPLATE_START, TASK_FACE, "OrviAiSrvNamePlateStart", WAIT_REPLY, &CLIENT_ALONE,
            ReplyRule::Verdict, &VERDICT, "nameplates are switched on"),
    Request("nameplate.stop", AI_MSG_NAMEPLATE_STOP, TASK_FACE, "OrviAiSrvNamePlateStop", WAIT_REPLY, &CLIENT_ALONE,
            ReplyRule::Verdict, &VERDICT, "nameplates are switched off"),

    Request("director.create", AI_MSG_DIRECTOR_CREATE, TASK_DIRECTOR, "CreateDirectorTrackProxy", WAIT_OF_BUS,
            &DIRECTOR, ReplyRule::Any, nullptr, "a camera director is wanted"),
    Request("director.remove", AI_MSG_DIRECTOR_REMOVE, TASK_DIRECTOR, "RemoveDirectorTrackProxy", WAIT_OF_BUS,
            &DIRECTOR, ReplyRule::Any, nullptr, "the camera director is no longer wanted"),
    Request("director.start", AI_MSG_DIRECTOR_START, TASK_DIRECTOR, "OrviAiSrvDirectorStart", WAIT_OF_BUS, &DIRECTOR,
            ReplyRule::Any, nullptr, "the camera points at who speaks"),
    Request("director.stop", AI_MSG_DIRECTOR_STOP, TASK_DIRECTOR, "OrviAiSrvDirectorStop", WAIT_OF_BUS, &DIRECTOR,
            ReplyRule::Any, nullptr, "the camera is left alone"),
    Request("lock.state", AI_MSG_LOCK_STATE_CHANGE, TASK_DIRECTOR, "OrviAiLockStateChange", WAIT_OF_BUS, &LOCK,
            ReplyRule::Any, nullptr, "the device has been locked or unlocked"),

    Request("minutes.start", AI_MSG_MINUTES_START, TASK_INTERFACE, "OrviAiSrvSignatureStart", WAIT_REPLY,
            &MINUTES_START, ReplyRule::Verdict, &VERDICT, "the minutes of a conference are taken"),
    Request("minutes.stop", AI_MSG_MINUTES_STOP, TASK_INTERFACE, "OrviAiSrvSignatureStop", WAIT_REPLY, nullptr,
            ReplyRule::Verdict, &VERDICT, "the minutes end"),

    Event("caption.started", AI_EVT_CAPTION_START, Callback::Main, ORVI_AI_EVENT_STATUS, &OUTCOME,
          "how the start of captions ended"),
    Event("caption.stopped", AI_EVT_CAPTION_STOP, Callback::Main, ORVI_AI_EVENT_STATUS, &OUTCOME,
          "how the stop of captions ended"),
    Event("caption.switch", AI_EVT_CAPTION_SWITCH, Callback::Caption, ORVI_AI_CAPTION_EVENT_SWITCH, &CAPTION_SWITCH,
          "captions have been switched on or off"),
    Event("caption.line", AI_EVT_CAPTION_38, Callback::Caption, ORVI_AI_CAPTION_EVENT_38, &CAPTION_LINE,
          "somebody speaks"),
    Event("caption.speaker", AI_EVT_CAPTION_1A, Callback::Caption, ORVI_AI_CAPTION_EVENT_1A, &CAPTION_SPEAKER,
          "another person speaks"),
    Event("nameplate.started", AI_EVT_NAMEPLATE_START, Callback::Main, ORVI_AI_EVENT_STATUS, &OUTCOME,
          "how the start of nameplates ended"),
    Event("nameplate.stopped", AI_EVT_NAMEPLATE_STOP, Callback::Main, ORVI_AI_EVENT_STATUS, &OUTCOME,
          "how the stop of nameplates ended"),
};

}  // namespace

Rows<Message> MeetingMessages() {
    return MESSAGES;
}

}  // namespace orvi_protocol
