#include "features/face/face.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <optional>
#include <utility>

#include "features/face/face_scene.h"
#include "features/face/portrait.h"
#include "log.h"

namespace orvi_sim {
namespace {

using std::chrono::milliseconds;

constexpr uint32_t FACE_EVENT = 0x60000C;

// A new detector: the client's address, source id, frame rate, whether ids are kept.
constexpr uint32_t CREATE_LENGTH = 48;
constexpr uint32_t CREATE_SOURCE = 36;
constexpr uint32_t CREATE_FRAME_RATE = 40;
constexpr uint32_t CREATE_KEEP_IDS = 44;

// A detector's record: the client's address, status, frame rate, source id, the detector's number.
constexpr uint32_t DETECTOR_LENGTH = 52;
constexpr uint32_t DETECTOR_NUMBER = 48;
static_assert(sizeof(OrviSimDetectorRefusal) == DETECTOR_LENGTH + 4);

constexpr uint32_t QUERY_LENGTH = 76;
constexpr uint32_t QUERY_IDS = DETECTOR_LENGTH;
constexpr uint32_t QUERY_COUNT = 72;
constexpr uint32_t MOST_IDS = 5;

constexpr uint32_t FASTEST = 30;       // pictures per second
constexpr size_t MOST_DETECTORS = 64;  // of one application

// Milliseconds since the machine started: a service numbers its detectors from there on, so that its numbers are not
// those of the service before it.
uint32_t FirstNumber() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 +
                                 static_cast<uint64_t>(now.tv_nsec) / 1000000);
}

Payload RecordOf(const Payload& address, uint32_t status, uint32_t frameRate, uint32_t sourceId, uint32_t number) {
    Payload record = address;
    for (const uint32_t field : {status, frameRate, sourceId, number}) {
        AppendInteger(record, field);
    }
    return record;
}

std::string NoDetector(const Request& request) {
    return "there is no detector " + std::to_string(request.IntegerAt(DETECTOR_NUMBER)) + " of this client";
}

}  // namespace

Face::Face(Stage& stage) : stage_(stage), lastNumber_(FirstNumber()) {}

RequestTable Face::Requests() const {
    static const RequestRow ROWS[] = {
        // id, name, task, shortest, longest, reply, address, told, handler
        {0x600002, "detector create", TASK_INTERFACE, CREATE_LENGTH, CREATE_LENGTH, DETECTOR_LENGTH, true, Told::Nobody,
         HandledBy(&Face::Create)},
        {0x600003, "detector destroy", TASK_INTERFACE, DETECTOR_LENGTH, DETECTOR_LENGTH, DETECTOR_LENGTH, false,
         Told::Nobody, HandledBy(&Face::Destroy)},
        {0x600004, "detector start", TASK_INTERFACE, DETECTOR_LENGTH, DETECTOR_LENGTH, DETECTOR_LENGTH, false,
         Told::Nobody, HandledBy(&Face::Start)},
        {0x600005, "detector stop", TASK_INTERFACE, DETECTOR_LENGTH, DETECTOR_LENGTH, DETECTOR_LENGTH, false,
         Told::Nobody, HandledBy(&Face::Stop)},
        {0x600006, "face photos", TASK_INTERFACE, QUERY_LENGTH, QUERY_LENGTH, VERDICT, false, Told::Nobody,
         HandledBy(&Face::Photos)},
    };
    return {ROWS, std::size(ROWS)};
}

// --- Pictures ---

Payload Face::Picture(const Detector& detector) const {
    OrviSimFaceEvent event = {};
    const std::vector<OrviSimFace> faces = posed_ ? *posed_ : FacesAt(stage_.SinceStart(), detector.keepIds);
    event.faceCount = static_cast<uint32_t>(faces.size());
    std::copy(faces.begin(), faces.end(), event.faces);
    event.sourceId = static_cast<int32_t>(detector.sourceId);
    return BytesOf(event);
}

void Face::PlanPicture(uint32_t number, const Detector& detector, uint64_t picture) {
    const milliseconds due = detector.startedAt + PictureDue(picture, detector.frameRate);
    stage_.After(std::max(due - stage_.SinceStart(), milliseconds(0)), [this, number, run = detector.run, picture] {
        const auto found = detectors_.find(number);
        if (found != detectors_.end() && found->second.status == ORVI_SIM_DETECTOR_RUNNING &&
            found->second.run == run) {
            SendPicture(number, found->second, picture);
        }
    });
}

void Face::SendPicture(uint32_t number, const Detector& detector, uint64_t picture) {
    if (stage_.GetApplications().HasTask(detector.owner)) {  // yesterday's pictures are no news
        stage_.Tell(detector.owner, FACE_EVENT, Picture(detector));
    }
    const milliseconds elapsed = stage_.SinceStart() - detector.startedAt;
    PlanPicture(number, detector, NextPicture(picture, elapsed, detector.frameRate));
}

// --- Detectors ---

void Face::Create(const Request& request, Answer& answer) {
    const auto own = std::count_if(detectors_.begin(), detectors_.end(),
                                   [&](const auto& entry) { return entry.second.owner == request.sender; });
    if (static_cast<size_t>(own) >= MOST_DETECTORS) {
        answer.Refuse(ORVI_SIM_NOT_READY, "there are " + std::to_string(MOST_DETECTORS) + " detectors already");
        return;
    }
    Detector detector = {};
    detector.owner = request.sender;
    detector.address = request.BytesAt(0, ADDRESS_LENGTH);
    detector.sourceId = request.IntegerAt(CREATE_SOURCE);
    detector.frameRate = std::clamp(request.IntegerAt(CREATE_FRAME_RATE), 1U, FASTEST);
    detector.keepIds = request.BytesAt(CREATE_KEEP_IDS, 1).front() != 0;
    detector.status = ORVI_SIM_DETECTOR_CREATED;
    const uint32_t number = ++lastNumber_;
    answer.Data(RecordOf(detector.address, detector.status, detector.frameRate, detector.sourceId, number));
    detectors_.emplace(number, std::move(detector));
}

// The detector of a request, or the end when it does not exist or is another application's.
Face::Detectors::iterator Face::Find(const Request& request) {
    const auto found = detectors_.find(request.IntegerAt(DETECTOR_NUMBER));
    return found != detectors_.end() && found->second.owner == request.sender ? found : detectors_.end();
}

void Face::Start(const Request& request, Answer& answer) {
    const auto found = Find(request);
    if (found == detectors_.end()) {
        answer.Refuse(ORVI_SIM_NOT_READY, NoDetector(request));
        return;
    }
    auto& [number, detector] = *found;
    if (detector.status != ORVI_SIM_DETECTOR_RUNNING) {
        detector.status = ORVI_SIM_DETECTOR_RUNNING;
        detector.startedAt = stage_.SinceStart();
        ++detector.run;
        PlanPicture(number, detector, 1);
    }
    answer.Data(RecordOf(detector.address, detector.status, detector.frameRate, detector.sourceId, number));
}

void Face::Stop(const Request& request, Answer& answer) {
    const auto found = Find(request);
    if (found == detectors_.end()) {
        answer.Refuse(ORVI_SIM_NOT_READY, NoDetector(request));
        return;
    }
    auto& [number, detector] = *found;
    detector.status = ORVI_SIM_DETECTOR_STOPPED;
    answer.Data(RecordOf(detector.address, detector.status, detector.frameRate, detector.sourceId, number));
}

void Face::Destroy(const Request& request, Answer& answer) {
    const auto found = Find(request);
    if (found == detectors_.end()) {
        LogVerbose("%s: nothing to destroy", NoDetector(request).c_str());
        answer.Data(request.BytesAt(0, DETECTOR_LENGTH));
        return;
    }
    const auto& [number, detector] = *found;
    answer.Data(RecordOf(detector.address, ORVI_SIM_DETECTOR_DESTROYED, detector.frameRate, detector.sourceId, number));
    detectors_.erase(found);
}

void Face::OnGone(const ApplicationId& application) {
    for (auto entry = detectors_.begin(); entry != detectors_.end();) {
        entry = entry->second.owner == application ? detectors_.erase(entry) : std::next(entry);
    }
}

// The photos of those faces that are known: their number, then face id, length and bytes of each.
void Face::Photos(const Request& request, Answer& answer) {
    const uint32_t count = request.IntegerAt(QUERY_COUNT);
    if (count < 1 || count > MOST_IDS) {
        answer.Refuse(ORVI_SIM_MALFORMED, std::to_string(count) + " face ids");
        return;
    }
    const milliseconds now = stage_.SinceStart();
    uint32_t found = 0;
    Payload photos;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t faceId = request.IntegerAt(QUERY_IDS + 4 * i);
        std::optional<uint32_t> person = PersonOf(faceId, now);
        if (posed_ && faceId >= FaceIdOf(0) && faceId - FaceIdOf(0) < posed_->size()) {
            person = faceId - FaceIdOf(0);
        }
        if (person) {
            const Payload image = DrawPortrait(*person);
            AppendInteger(photos, faceId);
            AppendInteger(photos, static_cast<uint32_t>(image.size()));
            photos.insert(photos.end(), image.begin(), image.end());
            ++found;
        }
    }
    Payload reply = IntegerPayload(found);
    reply.insert(reply.end(), photos.begin(), photos.end());
    answer.Data(std::move(reply));
}

// --- Directions ---

std::vector<Direction> Face::Directions() {
    return {
        {"faces", [this](const Arguments& a) { return SetFaces(a[0]); }},
        {"face", [this](const Arguments& a) { return MoveFace(a[0].number, a[1].number, a[2].number); }},
    };
}

// They have the ids of the first people of the scene, and look straight ahead.
Outcome Face::SetFaces(const Argument& word) {
    if (word.text == "usual") {
        posed_.reset();
        return Done();
    }
    const uint32_t count = word.number;
    constexpr int32_t HEIGHT = 200;
    std::vector<OrviSimFace> faces(count);
    for (uint32_t i = 0; i < count; ++i) {
        faces[i].faceId = FaceIdOf(i);
        faces[i].height = HEIGHT;
        faces[i].width = HEIGHT * 3 / 4;
        faces[i].left = static_cast<int32_t>(ORVI_SIM_PICTURE_WIDTH * (2 * i + 1) / (2 * count)) - faces[i].width / 2;
        faces[i].top = ORVI_SIM_PICTURE_HEIGHT / 2 - HEIGHT / 2;
        faces[i].score = 95;
    }
    posed_ = std::move(faces);
    return Done();
}

Outcome Face::MoveFace(uint32_t number, uint32_t x, uint32_t y) {
    if (!posed_ || number > posed_->size()) {
        return Refused(posed_ ? "there are " + std::to_string(posed_->size()) + " faces"
                              : "the usual faces move by themselves: `faces N` puts others there");
    }
    OrviSimFace& face = (*posed_)[number - 1];
    const auto place = [](uint32_t middle, int32_t size, int32_t room) {
        return std::clamp(static_cast<int32_t>(middle) - size / 2, 0, room - size);
    };
    face.left = place(x, face.width, ORVI_SIM_PICTURE_WIDTH);
    face.top = place(y, face.height, ORVI_SIM_PICTURE_HEIGHT);
    return Done();
}

std::string Face::Describe() const {
    return "detectors=" + std::to_string(detectors_.size());
}

}  // namespace orvi_sim
