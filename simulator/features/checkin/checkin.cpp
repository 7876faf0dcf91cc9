// Check-in of a meeting's participants, who come one after the other while it runs.
#include <iterator>
#include <string>
#include <utility>

#include "attendance.h"
#include "log.h"
#include "meeting.h"
#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

constexpr uint32_t USER_ID_SIZE = 256;
constexpr uint32_t UUID_SIZE = 192;
constexpr uint32_t CONFERENCE_ID_SIZE = 192;
constexpr uint32_t CONFERENCE_LENGTH = 1152;
constexpr uint32_t REPORT_CONFERENCE = 4;  // behind the type

constexpr uint32_t CLEARED = 0x600029;
constexpr uint32_t COUNT = 0x60002B;
constexpr uint32_t ARRIVED = 0x60002D;
constexpr uint32_t COMPLETE = 0x60002F;

Attendance g_attendance;
std::chrono::milliseconds g_pace{0};  // constant once the service runs

Payload Integer(uint32_t value) {
    Payload payload;
    AppendInteger(payload, value);
    return payload;
}

bool ArriveOne(Service& service) {
    const std::optional<Attendance::Arrival> arrival = g_attendance.Arrive();
    if (!arrival) {
        return false;
    }
    const OrviSimCheckinArrival& record = arrival->record;
    Log("%s has checked in, %u now", record.entry.name, record.present);
    if (arrival->reported) {
        const auto* const bytes = reinterpret_cast<const uint8_t*>(&record);
        Clients& clients = service.GetClients();
        clients.PushToAll(ARRIVED, Payload(bytes, bytes + sizeof(record)));
        clients.PushToAll(COUNT, Integer(record.present));
        if (arrival->complete) {
            clients.PushToAll(COMPLETE, Integer(record.present));
        }
    }
    return true;
}

void PlanArrival(Service& service, uint64_t generation) {
    if (g_pace.count() == 0) {
        return;
    }
    service.After(g_pace, [&service, generation] {
        if (g_attendance.Generation() == generation && ArriveOne(service)) {
            PlanArrival(service, generation);
        }
    });
}

// False when a text has no end or the conference no name.
bool ReadConference(const Request& request, uint32_t offset, ConferenceId& conference) {
    return request.TextAt(offset, UUID_SIZE, conference.uuid) &&
           request.TextAt(offset + UUID_SIZE, CONFERENCE_ID_SIZE, conference.id) &&
           !(conference.uuid.empty() && conference.id.empty());
}

void Init(Service& service, const Request& request, Answer& answer) {
    if (service.AddClientOf(request, answer)) {
        answer.Verdict(g_attendance.Init());
    }
}

void Start(Service& service, const Request& request, Answer& answer) {
    ConferenceId conference;
    if (!ReadConference(request, 0, conference)) {
        answer.Refuse("the conference has no id, or one without end");
        return;
    }
    const uint64_t before = g_attendance.Generation();
    answer.Verdict(g_attendance.Start(conference));
    if (const uint64_t generation = g_attendance.Generation(); generation != before) {
        Log("check-in of %s started", (conference.id.empty() ? conference.uuid : conference.id).c_str());
        PlanArrival(service, generation);
    }
}

void StartReport(Service&, const Request& request, Answer& answer) {
    ConferenceId conference;
    if (!ReadConference(request, REPORT_CONFERENCE, conference)) {
        answer.Refuse("the conference has no id, or one without end");
        return;
    }
    answer.Verdict(g_attendance.StartReport(static_cast<int32_t>(request.IntegerAt(0)), conference));
}

void StopReport(Service&, const Request&, Answer& answer) {
    answer.Verdict(ORVI_SIM_DONE);
    if (g_attendance.StopReport()) {
        answer.Push(COUNT, Integer(g_attendance.Present()));
    }
}

void Stop(Service&, const Request&, Answer& answer) {
    g_attendance.Stop();
    Log("check-in stopped");
    answer.Verdict(ORVI_SIM_DONE);
}

void Clear(Service&, const Request&, Answer& answer) {
    g_attendance.Clear();
    answer.Verdict(ORVI_SIM_DONE);
    answer.Push(CLEARED, Integer(ORVI_SIM_DONE));
}

void Deinit(Service&, const Request&, Answer& answer) {
    g_attendance.Deinit();
    answer.Verdict(ORVI_SIM_DONE);
}

void QueryPage(Service&, const Request& request, Answer& answer) {
    answer.Data(g_attendance.Page(request.IntegerAt(0), request.IntegerAt(4)));
}

void QueryPhoto(Service&, const Request& request, Answer& answer) {
    std::string userId;
    if (!request.TextAt(0, USER_ID_SIZE, userId)) {
        answer.Refuse("the user id has no end");
        return;
    }
    answer.Data(g_attendance.Photo(userId));
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600022, "check-in init", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, Init},
    {0x600023, "check-in start", TASK_FACE, CONFERENCE_LENGTH, CONFERENCE_LENGTH, Start},
    {0x600024, "check-in start report", TASK_FACE, REPORT_CONFERENCE + CONFERENCE_LENGTH,
     REPORT_CONFERENCE + CONFERENCE_LENGTH, StartReport},
    {0x600025, "check-in stop report", TASK_FACE, 0, 0, StopReport},
    {0x600026, "check-in page", TASK_FACE, 8, 8, QueryPage},
    {0x600027, "check-in photo", TASK_FACE, 260, 260, QueryPhoto},
    {0x600028, "check-in stop", TASK_FACE, 0, 0, Stop},
    {0x600029, "check-in clear data", TASK_FACE, 0, 0, Clear},
    {0x60002A, "check-in deinit", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, Deinit},
};

}  // namespace

RequestTable CheckinRequests() {
    return {ROWS, std::size(ROWS)};
}

void SetParticipants(size_t count, std::chrono::milliseconds pace) {
    g_attendance.SetParticipants(count);
    g_pace = pace;
}

size_t LetArrive(Service& service, size_t count) {
    size_t arrived = 0;
    while (arrived < count && ArriveOne(service)) {
        ++arrived;
    }
    return arrived;
}

std::string DescribeCheckin() {
    return "check-in=" + g_attendance.Describe();
}

}  // namespace orvi_sim
