// Clients that come and go.
#include <iterator>

#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

void Announce(Service& service, const Request& request, Answer& answer) {
    ClientAddress address;
    std::string error;
    if (!request.AddressAt(0, address)) {
        answer.Refuse("a name of the client is empty or has no end");
    } else if (!service.AddClient(address, error)) {
        answer.Refuse(error);
    }
}

void Leave(Service& service, const Request& request, Answer& answer) {
    ClientAddress address;
    if (!request.AddressAt(0, address)) {
        answer.Refuse("a name of the client is empty or has no end");
    } else if (!service.GetClients().Remove(address)) {
        answer.Refuse("client " + address.process + "/" + address.task + " is not known");
    }
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x60000F, "init", TASK_MASTER, ADDRESS_LENGTH, ADDRESS_LENGTH, Announce},
    {0x600010, "uninit", TASK_MASTER, ADDRESS_LENGTH, ADDRESS_LENGTH, Leave},
    {REQUEST_SELF_CHECK, "self check", TASK_MASTER, 0, 0, AcceptWithVerdict},
};

}  // namespace

RequestTable ConnectionRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
