// What comes before what: whether the next message of a connection may be handled now.
//
//   1. its sender is identified: what the hello claims is held against the presence of that name;
//   2. what the same thread sent over earlier connections comes first: it gave them up and goes on in this one; and what
//      earlier processes of the same name sent;
//   3. a watched process is announced before the first message that it sent as a process that had started.
//
// Nothing is drained inside anything else: a connection that is not to go on is set aside, what it waits for gets its
// turn like all others, and then it is looked at again.
#ifndef ORVI_HOST_OS_MSG_ORDER_H
#define ORVI_HOST_OS_MSG_ORDER_H

#include "membership/identity.h"
#include "receive/connections.h"
#include "receive/loop_right.h"
#include "receive/watches.h"

namespace orvi_bus {

class Order {
 public:
    Order(const Identity& self, Connections* connections, Watches* watches)
        : self_(self), connections_(connections), watches_(watches) {}

    // A connection that waits: true when it waits no longer; it is open then.
    bool GoesOn(Connection* connection) ORVI_BUS_REQUIRES(kLoop);
    // An open connection's next message: false when it waits from now on.
    bool MayHandle(Connection* connection, const FrameHeader& header) ORVI_BUS_REQUIRES(kLoop);

 private:
    // False when the sender cannot be looked at now.
    bool Identify(Connection* connection) ORVI_BUS_REQUIRES(kLoop);
    bool MustWaitForStart(const Connection& connection) ORVI_BUS_REQUIRES(kLoop);

    const Identity& self_;
    Connections* const connections_;
    Watches* const watches_;
};

}  // namespace orvi_bus

#endif
