#include "features/checkin/checkin.h"

#include <fstream>
#include <iterator>
#include <optional>
#include <utility>

#include "log.h"

namespace orvi_sim {
namespace {

constexpr size_t LONGEST_PHOTO = 1U << 20;

constexpr uint32_t USER_ID_SIZE = 256;
constexpr uint32_t UUID_SIZE = 192;
constexpr uint32_t CONFERENCE_ID_SIZE = 192;
constexpr uint32_t CONFERENCE_LENGTH = 1152;
constexpr uint32_t REPORT_CONFERENCE = 4;  // behind the type
constexpr uint32_t REPORT_LENGTH = REPORT_CONFERENCE + CONFERENCE_LENGTH;
constexpr uint32_t PAGE_LENGTH = sizeof(OrviSimCheckinPage);
constexpr uint32_t LARGEST_PHOTO = 1U << 20;

constexpr uint32_t CLEARED = 0x600029;
constexpr uint32_t COUNT = 0x60002B;
constexpr uint32_t ARRIVED = 0x60002D;
constexpr uint32_t COMPLETE = 0x60002F;

// The conference of a request; false, with a refusal, when a text has no end or the conference no name.
bool ReadConference(const Request& request, uint32_t offset, ConferenceId& conference, Answer& answer) {
    if (request.TextAt(offset, UUID_SIZE, conference.uuid) &&
        request.TextAt(offset + UUID_SIZE, CONFERENCE_ID_SIZE, conference.id) &&
        !(conference.uuid.empty() && conference.id.empty())) {
        return true;
    }
    answer.Refuse(ORVI_SIM_MALFORMED, "the conference has no id, or one without end");
    return false;
}

// A picture as a camera would have taken it. The reason when it is none.
std::optional<std::string> ReadPhoto(const std::string& name, Payload& photo) {
    std::ifstream file(name, std::ios::binary);
    Payload bytes(LONGEST_PHOTO + 1);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (file.gcount() <= 0) {
        return name + " cannot be read, or is empty";
    }
    bytes.resize(static_cast<size_t>(file.gcount()));
    const bool isPicture =
        bytes.size() > 4 && ((bytes[0] == 0x89 && bytes[1] == 'P') || (bytes[0] == 0xFF && bytes[1] == 0xD8));
    if (!isPicture || bytes.size() > LONGEST_PHOTO) {
        return name + (isPicture ? " has more than " + std::to_string(LONGEST_PHOTO) + " bytes"
                                 : std::string(" is neither a PNG nor a JPEG picture"));
    }
    photo = std::move(bytes);
    return std::nullopt;
}

}  // namespace

RequestTable Checkin::Requests() const {
    static const RequestRow ROWS[] = {
        // id, name, task, shortest, longest, reply, address, told, handler
        {0x600022, "check-in init", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, VERDICT, true, Told::Nobody,
         HandledBy(&Checkin::Init)},
        {0x600023, "check-in start", TASK_FACE, CONFERENCE_LENGTH, CONFERENCE_LENGTH, VERDICT, false, Told::Nobody,
         HandledBy(&Checkin::Start)},
        {0x600024, "check-in start report", TASK_FACE, REPORT_LENGTH, REPORT_LENGTH, VERDICT, false, Told::Nobody,
         HandledBy(&Checkin::StartReport)},
        {0x600025, "check-in stop report", TASK_FACE, 0, 0, VERDICT, false, Told::Nobody,
         HandledBy(&Checkin::StopReport)},
        {0x600026, "check-in page", TASK_FACE, 8, 8, PAGE_LENGTH, false, Told::Nobody, HandledBy(&Checkin::QueryPage)},
        {0x600027, "check-in photo", TASK_FACE, 260, 260, LARGEST_PHOTO, false, Told::Nobody,
         HandledBy(&Checkin::QueryPhoto)},
        {0x600028, "check-in stop", TASK_FACE, 0, 0, VERDICT, false, Told::Nobody, HandledBy(&Checkin::Stop)},
        {CLEARED, "check-in clear data", TASK_FACE, 0, 0, VERDICT, false, Told::Nobody, HandledBy(&Checkin::Clear)},
        {0x60002A, "check-in deinit", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, VERDICT, true, Told::Nobody,
         HandledBy(&Checkin::Deinit)},
    };
    return {ROWS, std::size(ROWS)};
}

std::vector<Direction> Checkin::Directions() {
    return {
        {"person enters", [this](const Arguments& a) { return Enter(a); }},
        {"person leaves",
         [this](const Arguments& a) {
             const Argument* const name = a.Option("--name");
             return name != nullptr ? Leave(name->text) : Refused("--name NAME is missing");
         }},
        {"persons", [this](const Arguments&) { return Done(attendance_.Everybody()); }},
        {"arrive", [this](const Arguments& a) { return LetArrive(a[0].isGiven ? a[0].number : 1); }},
    };
}

void Checkin::SetParticipants(size_t count, std::chrono::milliseconds pace) {
    attendance_.SetParticipants(count);
    pace_ = pace;
}

// --- Requests ---

void Checkin::Init(const Request& request, Answer& answer) {
    preparers_.Add(request.sender);
    answer.Done();
}

void Checkin::Start(const Request& request, Answer& answer) {
    ConferenceId conference;
    if (!ReadConference(request, 0, conference, answer)) {
        return;
    }
    if (preparers_.Empty()) {
        answer.Refuse(ORVI_SIM_NOT_READY, "not ready, call init first");
        return;
    }
    const bool wasRunning = attendance_.IsRunning();
    if (attendance_.Start(conference) != ORVI_SIM_DONE) {
        answer.Refuse(ORVI_SIM_BUSY, "busy, that of another conference runs");
        return;
    }
    starters_.Add(request.sender);
    if (!wasRunning) {
        Log("check-in of %s started", (conference.id.empty() ? conference.uuid : conference.id).c_str());
        LetIn();
        PlanArrival();
    }
    answer.Done();
}

// What has happened before is told in sum: how many have come, and whether that is everybody.
void Checkin::StartReport(const Request& request, Answer& answer) {
    ConferenceId conference;
    if (!ReadConference(request, REPORT_CONFERENCE, conference, answer)) {
        return;
    }
    if (!attendance_.IsRunning()) {
        answer.Refuse(ORVI_SIM_NOT_READY, "not ready, start the check-in first");
        return;
    }
    if (!attendance_.IsOf(conference)) {
        answer.Refuse(ORVI_SIM_BUSY, "busy, the check-in of another conference runs");
        return;
    }
    const bool wasReported = !reporters_.Empty();
    reporters_.Add(request.sender);
    attendance_.SetType(static_cast<int32_t>(request.IntegerAt(0)));
    answer.Done();
    if (!wasReported && attendance_.Present() != 0) {
        TellCount();
    }
}

void Checkin::StopReport(const Request&, Answer& answer) {
    answer.Done();
    EndReport();
}

void Checkin::Stop(const Request&, Answer& answer) {
    End();
    answer.Done();
}

void Checkin::Clear(const Request&, Answer& answer) {
    attendance_.Clear();
    answer.Done();
    stage_.TellAll(CLEARED, IntegerPayload(ORVI_SIM_DONE));
    PlanArrival();  // they come again
}

void Checkin::Deinit(const Request& request, Answer& answer) {
    OnGone(request.sender);
    answer.Done();
}

void Checkin::QueryPage(const Request& request, Answer& answer) {
    answer.Data(attendance_.Page(request.IntegerAt(0), request.IntegerAt(4)));
}

void Checkin::QueryPhoto(const Request& request, Answer& answer) {
    std::string userId;
    if (!request.TextAt(0, USER_ID_SIZE, userId)) {
        answer.Refuse(ORVI_SIM_MALFORMED, "the user id has no end");
        return;
    }
    answer.Data(attendance_.Photo(userId));
}

// --- What happens in the room ---

Outcome Checkin::LetArrive(size_t count) {
    size_t arrived = 0;
    while (arrived < count && ArriveOne()) {
        ++arrived;
    }
    return Done(std::to_string(arrived));
}

Outcome Checkin::Enter(const Arguments& arguments) {
    const Argument* const name = arguments.Option("--name");
    const Argument* const kind = arguments.Option("--kind");
    const Argument* const file = arguments.Option("--photo");
    if (name == nullptr) {
        return Refused("--name NAME is missing");
    }
    Payload photo;
    if (file != nullptr) {
        if (auto reason = ReadPhoto(file->text, photo)) {
            return Refused(*reason);
        }
    }
    const auto isInvited = kind != nullptr ? std::optional<bool>(kind->text == "invited") : std::nullopt;
    if (auto reason = attendance_.Enter(name->text, isInvited, photo)) {
        return Refused(*reason);
    }
    LetIn();
    return Done(attendance_.IsRunning() ? "checked in" : "waits for the check-in");
}

Outcome Checkin::Leave(const std::string& name) {
    const uint32_t before = attendance_.Present();
    if (auto reason = attendance_.Leave(name)) {
        return Refused(*reason);
    }
    if (attendance_.Present() != before && !reporters_.Empty()) {
        stage_.TellAll(COUNT, IntegerPayload(attendance_.Present()));
    }
    return Done();
}

void Checkin::LetIn() {
    while (attendance_.SomebodyWaits() && ArriveOne()) {
    }
}

bool Checkin::ArriveOne() {
    const bool wasComplete = attendance_.IsComplete();
    const std::optional<OrviSimCheckinArrival> arrival = attendance_.Arrive(stage_.TimeOfDay());
    if (!arrival) {
        return false;
    }
    Log("%s has checked in, %u now", arrival->entry.name, arrival->present);
    if (!reporters_.Empty()) {
        stage_.TellAll(ARRIVED, BytesOf(*arrival));
        stage_.TellAll(COUNT, IntegerPayload(arrival->present));
        if (attendance_.IsComplete() && !wasComplete) {
            stage_.TellAll(COMPLETE, IntegerPayload(arrival->present));
        }
    }
    return true;
}

void Checkin::TellCount() {
    stage_.TellAll(COUNT, IntegerPayload(attendance_.Present()));
    if (attendance_.IsComplete()) {
        stage_.TellAll(COMPLETE, IntegerPayload(attendance_.Present()));
    }
}

void Checkin::PlanArrival() {
    const uint64_t plan = ++plan_;
    if (pace_.count() == 0 || !attendance_.IsRunning()) {
        return;
    }
    stage_.After(pace_, [this, plan] {
        if (plan == plan_ && ArriveOne()) {
            PlanArrival();
        }
    });
}

void Checkin::EndReport() {
    if (!reporters_.Empty()) {
        reporters_.Clear();
        stage_.TellAll(COUNT, IntegerPayload(attendance_.Present()));
    }
}

void Checkin::End() {
    starters_.Clear();
    reporters_.Clear();
    ++plan_;
    if (attendance_.IsRunning()) {
        attendance_.Stop();
        Log("check-in stopped");
    }
}

void Checkin::OnGone(const ApplicationId& application) {
    if (reporters_.Remove(application)) {
        stage_.TellAll(COUNT, IntegerPayload(attendance_.Present()));
    }
    const bool wasLastStarter = starters_.Remove(application);
    const bool wasLastPreparer = preparers_.Remove(application);
    if (wasLastStarter || wasLastPreparer) {
        End();
    }
}

std::string Checkin::Describe() const {
    const char* const state = !reporters_.Empty()       ? "reporting"
                              : attendance_.IsRunning() ? "running"
                              : !preparers_.Empty()     ? "ready"
                                                        : "off";
    return std::string("check-in=") + state + " present=" + std::to_string(attendance_.Present());
}

}  // namespace orvi_sim
