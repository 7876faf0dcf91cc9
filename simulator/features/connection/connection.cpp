#include "features/connection/connection.h"

#include <iterator>

namespace orvi_sim {

RequestTable Connection::Requests() const {
    static const RequestRow ROWS[] = {
        // id, name, task, shortest, longest, reply, address, told, handler
        {0x60000F, "init", TASK_MASTER, ADDRESS_LENGTH, ADDRESS_LENGTH, ONE_WAY, true, Told::Nobody,
         HandledBy(&Connection::Announce)},
        {0x600010, "uninit", TASK_MASTER, ADDRESS_LENGTH, ADDRESS_LENGTH, ONE_WAY, true, Told::Nobody,
         HandledBy(&Connection::Leave)},
    };
    return {ROWS, std::size(ROWS)};
}

void Connection::Announce(const Request& request, Answer&) {
    ClientAddress address;
    (void)request.Address(address);  // it was looked at before
    stage_.Announce(request.sender, address.task);
}

void Connection::Leave(const Request& request, Answer& answer) {
    if (!stage_.Leave(request.sender)) {
        answer.Refuse(ORVI_SIM_NOT_READY, "has not announced itself");
    }
}

}  // namespace orvi_sim
