// Check-in: who is invited and who has come.
#include "common_records.h"
#include "message.h"
#include "message_ids.h"

namespace orvi_protocol {
namespace {

using namespace OrviAiService;

constexpr Field CONFERENCE_FIELDS[] = {
    Text("uuid", ORVI_PLACE(tagOrviAiConfIdInfo, confUuid), "unique id of the conference"),
    Text("conference", ORVI_PLACE(tagOrviAiConfIdInfo, confId), "id of the conference"),
    Text("user", ORVI_PLACE(tagOrviAiConfIdInfo, userid), "who holds it").Private(),
    Text("account", ORVI_PLACE(tagOrviAiConfIdInfo, account), "of that user").Private(),
    Text("key", ORVI_PLACE(tagOrviAiConfIdInfo, confKey), "carried for the service").Private(),
};
constexpr Record CONFERENCE = Whole<tagOrviAiConfIdInfo>("conference of a check-in", CONFERENCE_FIELDS);

constexpr Field REPORT_FIELDS[] = {
    Number("type", ORVI_PLACE(CheckinStartReport, type), "how participants check in, agreed with the service"),
    Inline(ORVI_PLACE(CheckinStartReport, confInfo), CONFERENCE),
};
constexpr Record REPORT = Whole<CheckinStartReport>("check-in report wanted", REPORT_FIELDS);

constexpr Word VIEW_WORDS[] = {
    {ORVI_SIM_CHECKIN_EVERYBODY, "everybody"}, {ORVI_SIM_CHECKIN_PRESENT, "present"},
    {ORVI_SIM_CHECKIN_ABSENT, "absent"},       {ORVI_SIM_CHECKIN_LATEST_FIRST, "latest-first"},
    {ORVI_SIM_CHECKIN_BY_NAME, "by-name"},     {ORVI_SIM_CHECKIN_GUESTS, "guests"},
    {ORVI_SIM_CHECKIN_COUNTS, "counts"},
};

constexpr Field PAGE_QUERY_FIELDS[] = {
    Number("view", ORVI_PLACE(CheckinDataQuery, showType), "of the data")
        .In(0, ORVI_AI_CHECKIN_SHOW_COUNT - 1)
        .Named(VIEW_WORDS),
    Number("page", ORVI_PLACE(CheckinDataQuery, pageNum), "of the view").In(1, ORVI_AI_CHECKIN_MAX_PAGE).Initially("1"),
};
constexpr Record PAGE_QUERY = Whole<CheckinDataQuery>("check-in page wanted", PAGE_QUERY_FIELDS);

constexpr Field PHOTO_QUERY_FIELDS[] = {
    Text("user", ORVI_PLACE(CheckinPhotoQuery, userId), "as in the check-in data").Private(),
    Number("length", ORVI_PLACE(CheckinPhotoQuery, userIdLen), "of the id, as the application gave it")
        .In(1, ORVI_AI_CHECKIN_MAX_USER_ID)
        .Initially("256"),
};
constexpr Record PHOTO_QUERY = Whole<CheckinPhotoQuery>("check-in photo wanted", PHOTO_QUERY_FIELDS);

constexpr Field PHOTO_FIELDS[] = {
    Bytes("photo", AtStart(0, false), "in the service's encoding; empty when there is none")
        .Ends(Extent::Rest)
        .Private(),
};
constexpr Record PHOTO = {"check-in photo", 0, UNBOUNDED, PHOTO_FIELDS};

constexpr Word STATE_WORDS[] = {
    {ORVI_SIM_CHECKIN_STATE_ABSENT, "absent"},
    {ORVI_SIM_CHECKIN_STATE_PRESENT, "present"},
    {ORVI_SIM_CHECKIN_STATE_GUEST, "guest"},
};

constexpr Field ENTRY_FIELDS[] = {
    Text("user", ORVI_PLACE(OrviSimCheckinEntry, userId), "as checkin.photo takes it").Private(),
    Text("account", ORVI_PLACE(OrviSimCheckinEntry, account), "of that user").Private(),
    Text("name", ORVI_PLACE(OrviSimCheckinEntry, name), "of the person").Private(),
    Number("state", ORVI_PLACE(OrviSimCheckinEntry, state), "has the person come").Named(STATE_WORDS),
    Number("time", ORVI_PLACE(OrviSimCheckinEntry, checkinTime), "of the check-in, since 1970 UTC; 0 when absent")
        .Unit("s"),
    Number("arrival", ORVI_PLACE(OrviSimCheckinEntry, arrival), "1 for who came first; 0 when absent"),
    Number("photoLength", ORVI_PLACE(OrviSimCheckinEntry, photoLength), "of the photo; 0 when there is none")
        .Unit("bytes"),
    Reserved("reserved", ORVI_PLACE(OrviSimCheckinEntry, reserved)),
};
constexpr Record ENTRY = Whole<OrviSimCheckinEntry>("check-in entry", ENTRY_FIELDS);

constexpr Field PAGE_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimCheckinPage, length)),
    Number("view", ORVI_PLACE(OrviSimCheckinPage, view), "of the data").Named(VIEW_WORDS),
    Number("page", ORVI_PLACE(OrviSimCheckinPage, pageNum), "of the view"),
    Number("pages", ORVI_PLACE(OrviSimCheckinPage, pageCount), "of this view; 0 when it is empty"),
    Number("count", ORVI_PLACE(OrviSimCheckinPage, entryCount), "of the entries")
        .In(0, ORVI_SIM_CHECKIN_ENTRIES_PER_PAGE),
    Number("invited", ORVI_PLACE(OrviSimCheckinPage, invited), "in the whole list"),
    Number("present", ORVI_PLACE(OrviSimCheckinPage, present), "guests included").Of("invited"),
    Number("guests", ORVI_PLACE(OrviSimCheckinPage, guests), "present without invitation"),
    Flag("running", ORVI_PLACE(OrviSimCheckinPage, running), "participants are taken in"),
    Number("type", ORVI_PLACE(OrviSimCheckinPage, type), "given with the start report"),
    Text("conference", ORVI_PLACE(OrviSimCheckinPage, confId), "the beginning of its id"),
    List(Sub("entries", ORVI_PLACE(OrviSimCheckinPage, entries), ENTRY, "of this page"),
         ORVI_PLACE(OrviSimCheckinPage, entries))
        .CountedBy("count")
        .Ends(Extent::Cut),
};
constexpr Record PAGE = {"check-in page", ORVI_SIM_CHECKIN_PAGE_HEAD, sizeof(OrviSimCheckinPage), PAGE_FIELDS};
static_assert(sizeof(OrviSimCheckinPage) == sizeof(tagCheckinTotalData));

constexpr Field ARRIVAL_FIELDS[] = {
    Length("length", ORVI_PLACE(OrviSimCheckinArrival, length)),
    Number("present", ORVI_PLACE(OrviSimCheckinArrival, present), "this one included"),
    Sub("entry", ORVI_PLACE(OrviSimCheckinArrival, entry), ENTRY, "who has come"),
};
constexpr Record ARRIVAL = Whole<OrviSimCheckinArrival>("check-in arrival", ARRIVAL_FIELDS);

constexpr Field COUNT_FIELDS[] = {
    Number("present", AtStart(4, true), "how many have come"),
};
constexpr Record COUNT = {"check-in count", 4, 4, COUNT_FIELDS};

constexpr Message MESSAGES[] = {
    Request("checkin.init", AI_MSG_CHECKIN_INIT, TASK_FACE, "OrviAiSrvCheckInInit", WAIT_REPLY, &CLIENT_ALONE,
            ReplyRule::Verdict, &VERDICT, "the check-in is made ready"),
    Request("checkin.start", AI_MSG_CHECKIN_START, TASK_FACE, "OrviAiSrvCheckInStart", WAIT_REPLY, &CONFERENCE,
            ReplyRule::Verdict, &VERDICT, "participants of a conference are taken in"),
    Request("checkin.start-report", AI_MSG_CHECKIN_START_REPORT, TASK_FACE, "OrviAiSrvCheckInStartReport", WAIT_REPLY,
            &REPORT, ReplyRule::Verdict, &VERDICT, "who checks in comes as events"),
    Request("checkin.stop-report", AI_MSG_CHECKIN_STOP_REPORT, TASK_FACE, "OrviAiSrvCheckInStopReport", WAIT_REPLY,
            nullptr, ReplyRule::Verdict, &VERDICT, "the events end"),
    Request("checkin.page", AI_MSG_CHECKIN_QUERY_DATA, TASK_FACE, "OrviAiSrvGetCheckinData", WAIT_REPLY, &PAGE_QUERY,
            ReplyRule::DataUpTo, &PAGE, "a page of a view of the check-in data")
        .RefusedBy(REFUSAL_OF<sizeof(OrviSimCheckinPage)>),
    Request("checkin.photo", AI_MSG_CHECKIN_QUERY_PHOTO, TASK_FACE, "OrviAiSrvGetCheckinPhoto", WAIT_REPLY,
            &PHOTO_QUERY, ReplyRule::DataIntoRoom, &PHOTO, "the check-in photo of a user"),
    Request("checkin.stop", AI_MSG_CHECKIN_STOP, TASK_FACE, "OrviAiSrvCheckInStop", WAIT_REPLY, nullptr,
            ReplyRule::Verdict, &VERDICT, "nobody is taken in any more"),
    Request("checkin.clear", AI_MSG_CHECKIN_CLEAR_DATA, TASK_FACE, "OrviAiSrvCheckInClearData", WAIT_REPLY, nullptr,
            ReplyRule::Verdict, &VERDICT, "the check-in data is forgotten"),
    Request("checkin.deinit", AI_MSG_CHECKIN_DEINIT, TASK_FACE, "OrviAiSrvCheckInDeinit", WAIT_REPLY, &CLIENT_ALONE,
            ReplyRule::Verdict, &VERDICT, "the check-in is put away"),

    Event("checkin.cleared", AI_EVT_CHECKIN_CLEARED, Callback::Main, ORVI_AI_EVENT_CHECKIN_CLEARED, &OUTCOME,
          "the check-in data has been forgotten"),
    Event("checkin.count", AI_EVT_STATUS_2B, Callback::Main, ORVI_AI_EVENT_STATUS, &COUNT, "how many have come"),
    Event("checkin.arrival", AI_EVT_NOTICE_2D, Callback::Main, ORVI_AI_EVENT_NOTICE_2D, &ARRIVAL, "somebody has come"),
    Event("checkin.complete", AI_EVT_NOTICE_2F, Callback::Main, ORVI_AI_EVENT_NOTICE_2F, &COUNT,
          "everybody who is invited has come"),
};

}  // namespace

Rows<Message> CheckinMessages() {
    return MESSAGES;
}

}  // namespace orvi_protocol
