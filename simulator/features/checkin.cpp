// Check-in of a meeting's participants.
#include <iterator>
#include <string>
#include <utility>

#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

constexpr uint32_t PAGE_LENGTH = 33164;
constexpr uint32_t USER_ID_SIZE = 256;

// A page: the view and the page number that were asked for, then nothing.
void QueryPage(Service&, const Request& request, Answer& answer) {
    Payload page;
    AppendInteger(page, request.IntegerAt(0));
    AppendInteger(page, request.IntegerAt(4));
    page.resize(PAGE_LENGTH);
    answer.Data(std::move(page));
}

void QueryPhoto(Service&, const Request& request, Answer& answer) {
    std::string userId;
    if (!request.TextAt(0, USER_ID_SIZE, userId)) {
        answer.Refuse("the user id has no end");
        return;
    }
    const std::string photo = "photo of " + userId;
    answer.Data(Payload(photo.begin(), photo.end()));
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600022, "check-in init", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, AcceptWithVerdict},
    {0x600023, "check-in start", TASK_FACE, 1152, 1152, AcceptWithVerdict},
    {0x600024, "check-in start report", TASK_FACE, 1156, 1156, AcceptWithVerdict},
    {0x600025, "check-in stop report", TASK_FACE, 0, 0, AcceptWithVerdict},
    {0x600026, "check-in page", TASK_FACE, 8, 8, QueryPage},
    {0x600027, "check-in photo", TASK_FACE, 260, 260, QueryPhoto},
    {0x600028, "check-in stop", TASK_FACE, 0, 0, AcceptWithVerdict},
    {0x600029, "check-in clear data", TASK_FACE, 0, 0, AcceptWithVerdict},
    {0x60002A, "check-in deinit", TASK_FACE, ADDRESS_LENGTH, ADDRESS_LENGTH, AcceptWithVerdict},
};

}  // namespace

RequestTable CheckinRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
