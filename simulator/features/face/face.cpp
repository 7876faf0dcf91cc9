// Face detectors, the pictures that they report, and the photos of faces.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "face_scene.h"
#include "log.h"
#include "orvi_vision_sim_payloads.h"
#include "portrait.h"
#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

using Clock = std::chrono::steady_clock;
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

constexpr uint32_t QUERY_LENGTH = 76;
constexpr uint32_t QUERY_IDS = DETECTOR_LENGTH;
constexpr uint32_t QUERY_COUNT = 72;
constexpr uint32_t MOST_IDS = 5;

constexpr uint32_t FASTEST = 30;  // pictures per second
constexpr size_t MOST_DETECTORS = 64;

// A running detector ends when its client has been away for so long. An announcement goes to another task and may be
// handled after the first requests.
constexpr std::chrono::seconds PATIENCE_WITH_CLIENT{5};

struct Detector {
    ClientAddress client;
    Payload address;  // the same as bytes
    uint32_t sourceId;
    uint32_t frameRate;
    bool keepIds;
    uint32_t status;
    uint64_t run;  // counts the starts: pictures planned before the last one are not sent any more
    Clock::time_point startedAt;
    Clock::time_point lastSent;  // to the client, which was there
};

const Clock::time_point g_sceneStart = Clock::now();

std::mutex g_mutex;  // guards what follows: requests and pictures have threads of their own
std::map<uint32_t, Detector> g_detectors;
uint32_t g_lastNumber = 0;

milliseconds SceneTime() {
    return std::chrono::duration_cast<milliseconds>(Clock::now() - g_sceneStart);
}

Payload FaceEvent(const Detector& detector) {
    OrviSimFaceEvent event = {};
    const std::vector<OrviSimFace> faces = FacesAt(SceneTime(), detector.keepIds);
    event.faceCount = static_cast<uint32_t>(faces.size());
    std::copy(faces.begin(), faces.end(), event.faces);
    event.sourceId = static_cast<int32_t>(detector.sourceId);
    Payload payload(sizeof(event));
    std::memcpy(payload.data(), &event, sizeof(event));
    return payload;
}

void SendPicture(Service& service, uint32_t number, uint64_t run, uint64_t picture);

void PlanPicture(Service& service, uint32_t number, const Detector& detector, uint64_t picture) {
    const Clock::time_point due = detector.startedAt + PictureDue(picture, detector.frameRate);
    const auto delay = std::chrono::ceil<milliseconds>(due - Clock::now());
    service.After(std::max(delay, milliseconds(0)),
                  [&service, number, run = detector.run, picture] { SendPicture(service, number, run, picture); });
}

void SendPicture(Service& service, uint32_t number, uint64_t run, uint64_t picture) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    const auto found = g_detectors.find(number);
    if (found == g_detectors.end() || found->second.status != ORVI_SIM_DETECTOR_RUNNING || found->second.run != run) {
        return;
    }
    Detector& detector = found->second;
    if (service.GetClients().Knows(detector.client.process)) {
        service.GetClients().PushTo(detector.client.process, FACE_EVENT, FaceEvent(detector));
        detector.lastSent = Clock::now();
    } else if (Clock::now() - detector.lastSent > PATIENCE_WITH_CLIENT) {
        Log("detector %u ends with its client %s", number, detector.client.process.c_str());
        g_detectors.erase(found);
        return;
    }
    const auto elapsed = std::chrono::duration_cast<milliseconds>(Clock::now() - detector.startedAt);
    PlanPicture(service, number, detector, NextPicture(picture, elapsed, detector.frameRate));
}

void AnswerDetector(uint32_t number, const Detector& detector, Answer& answer) {
    Payload record = detector.address;
    AppendInteger(record, detector.status);
    AppendInteger(record, detector.frameRate);
    AppendInteger(record, detector.sourceId);
    AppendInteger(record, number);
    answer.Data(std::move(record));
}

// Too long for a detector's record, so that the library's call fails.
void RefuseDetector(Payload record, const std::string& reason, Answer& answer) {
    answer.Refuse(reason);
    record.resize(DETECTOR_LENGTH);
    AppendInteger(record, ORVI_SIM_NOT_READY);
    answer.Data(std::move(record));
}

void DropDetectorsWithoutClient(const Clients& clients) {
    for (auto entry = g_detectors.begin(); entry != g_detectors.end();) {
        entry = clients.Knows(entry->second.client.process) ? std::next(entry) : g_detectors.erase(entry);
    }
}

void Create(Service& service, const Request& request, Answer& answer) {
    Detector detector = {};
    if (!request.AddressAt(0, detector.client)) {
        answer.Refuse("a name of the client is empty or has no end");
        return;
    }
    detector.address = request.BytesAt(0, ADDRESS_LENGTH);
    detector.sourceId = request.IntegerAt(CREATE_SOURCE);
    detector.frameRate = std::clamp(request.IntegerAt(CREATE_FRAME_RATE), 1U, FASTEST);
    detector.keepIds = request.BytesAt(CREATE_KEEP_IDS, 1).front() != 0;
    detector.status = ORVI_SIM_DETECTOR_CREATED;

    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_detectors.size() >= MOST_DETECTORS) {
        DropDetectorsWithoutClient(service.GetClients());
    }
    if (g_detectors.size() >= MOST_DETECTORS) {
        RefuseDetector({}, "there are " + std::to_string(MOST_DETECTORS) + " detectors already", answer);
        return;
    }
    const uint32_t number = ++g_lastNumber;
    g_detectors.emplace(number, detector);
    AnswerDetector(number, detector, answer);
}

// The detector of a request, or the end when it does not exist or is another client's.
std::map<uint32_t, Detector>::iterator Find(const Request& request) {
    const auto found = g_detectors.find(request.IntegerAt(DETECTOR_NUMBER));
    ClientAddress client;
    if (found != g_detectors.end() && request.AddressAt(0, client) && client == found->second.client) {
        return found;
    }
    return g_detectors.end();
}

std::string NoDetector(const Request& request) {
    return "there is no detector " + std::to_string(request.IntegerAt(DETECTOR_NUMBER)) + " of this client";
}

void Start(Service& service, const Request& request, Answer& answer) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    const auto found = Find(request);
    if (found == g_detectors.end()) {
        RefuseDetector(request.BytesAt(0, DETECTOR_LENGTH), NoDetector(request), answer);
        return;
    }
    auto& [number, detector] = *found;
    if (detector.status != ORVI_SIM_DETECTOR_RUNNING) {
        detector.status = ORVI_SIM_DETECTOR_RUNNING;
        detector.startedAt = Clock::now();
        detector.lastSent = detector.startedAt;
        ++detector.run;
        PlanPicture(service, number, detector, 1);
    }
    AnswerDetector(number, detector, answer);
}

void Stop(Service&, const Request& request, Answer& answer) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    const auto found = Find(request);
    if (found == g_detectors.end()) {
        RefuseDetector(request.BytesAt(0, DETECTOR_LENGTH), NoDetector(request), answer);
        return;
    }
    found->second.status = ORVI_SIM_DETECTOR_STOPPED;
    AnswerDetector(found->first, found->second, answer);
}

void Destroy(Service&, const Request& request, Answer& answer) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    const auto found = Find(request);
    if (found == g_detectors.end()) {
        LogVerbose("%s: nothing to destroy", NoDetector(request).c_str());
        answer.Data(request.BytesAt(0, DETECTOR_LENGTH));
        return;
    }
    found->second.status = ORVI_SIM_DETECTOR_DESTROYED;
    AnswerDetector(found->first, found->second, answer);
    g_detectors.erase(found);
}

// The photos of those faces that are known: their number, then face id, length and bytes of each.
void Photos(Service&, const Request& request, Answer& answer) {
    const uint32_t count = request.IntegerAt(QUERY_COUNT);
    if (count < 1 || count > MOST_IDS) {
        answer.Refuse(std::to_string(count) + " face ids");
        return;
    }
    const milliseconds now = SceneTime();
    uint32_t found = 0;
    Payload photos;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t faceId = request.IntegerAt(QUERY_IDS + 4 * i);
        if (const std::optional<uint32_t> person = PersonOf(faceId, now)) {
            const Payload image = DrawPortrait(*person);
            AppendInteger(photos, faceId);
            AppendInteger(photos, static_cast<uint32_t>(image.size()));
            photos.insert(photos.end(), image.begin(), image.end());
            ++found;
        }
    }
    Payload reply;
    AppendInteger(reply, found);
    reply.insert(reply.end(), photos.begin(), photos.end());
    answer.Data(std::move(reply));
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600002, "detector create", TASK_INTERFACE, CREATE_LENGTH, CREATE_LENGTH, Create},
    {0x600003, "detector destroy", TASK_INTERFACE, DETECTOR_LENGTH, DETECTOR_LENGTH, Destroy},
    {0x600004, "detector start", TASK_INTERFACE, DETECTOR_LENGTH, DETECTOR_LENGTH, Start},
    {0x600005, "detector stop", TASK_INTERFACE, DETECTOR_LENGTH, DETECTOR_LENGTH, Stop},
    {0x600006, "face photos", TASK_INTERFACE, QUERY_LENGTH, QUERY_LENGTH, Photos},
};

}  // namespace

RequestTable FaceRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
