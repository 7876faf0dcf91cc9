// Face detectors and the photos of faces. Requests of one task run one after the other, so what a handler keeps
// needs no lock.
#include <iterator>
#include <string>
#include <utility>

#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

// A detector's record: the client's address, status, a word, source id, a word.
constexpr uint32_t DETECTOR_LENGTH = 52;
constexpr uint32_t DETECTOR_SOURCE = 44;
constexpr uint32_t CREATE_LENGTH = 48;
constexpr uint32_t CREATE_SOURCE = 36;
constexpr uint32_t QUERY_LENGTH = 76;
constexpr uint32_t QUERY_IDS = DETECTOR_LENGTH;
constexpr uint32_t QUERY_COUNT = 72;
constexpr uint32_t MOST_IDS = 5;

enum DetectorStatus : uint32_t { CREATED = 1, RUNNING = 2, STOPPED = 3, DESTROYED = 4 };

void AnswerDetector(const Request& request, uint32_t sourceOffset, DetectorStatus status, Answer& answer) {
    ClientAddress address;
    if (!request.AddressAt(0, address)) {
        answer.Refuse("a name of the client is empty or has no end");
        return;
    }
    Payload record = request.BytesAt(0, ADDRESS_LENGTH);
    AppendInteger(record, status);
    AppendInteger(record, 0);
    AppendInteger(record, request.IntegerAt(sourceOffset));
    AppendInteger(record, 0);
    answer.Data(std::move(record));
}

void Create(Service&, const Request& request, Answer& answer) {
    AnswerDetector(request, CREATE_SOURCE, CREATED, answer);
}

void Destroy(Service&, const Request& request, Answer& answer) {
    AnswerDetector(request, DETECTOR_SOURCE, DESTROYED, answer);
}

void Start(Service&, const Request& request, Answer& answer) {
    AnswerDetector(request, DETECTOR_SOURCE, RUNNING, answer);
}

void Stop(Service&, const Request& request, Answer& answer) {
    AnswerDetector(request, DETECTOR_SOURCE, STOPPED, answer);
}

// One photo for each id: the number of photos, then face id, length and bytes of each.
void Photos(Service&, const Request& request, Answer& answer) {
    const uint32_t count = request.IntegerAt(QUERY_COUNT);
    if (count < 1 || count > MOST_IDS) {
        answer.Refuse(std::to_string(count) + " face ids");
        return;
    }
    Payload reply;
    AppendInteger(reply, count);
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t faceId = request.IntegerAt(QUERY_IDS + 4 * i);
        const std::string image = "photo of face " + std::to_string(faceId);
        AppendInteger(reply, faceId);
        AppendInteger(reply, static_cast<uint32_t>(image.size()));
        reply.insert(reply.end(), image.begin(), image.end());
    }
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
