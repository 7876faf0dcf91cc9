// What a subscriber is told about the processes of a name, and whose a connection is: decisions from a look at the
// name's presence and from what is known already. Nothing here looks, waits or tells; the caller carries it out.
#ifndef ORVI_HOST_OS_MSG_ANNOUNCEMENT_H
#define ORVI_HOST_OS_MSG_ANNOUNCEMENT_H

#include <cstdint>
#include <sys/types.h>

#include "membership/presence.h"

namespace orvi_bus {

// What one subscriber knows of a name.
struct Known {
    uint64_t current = 0;  // incarnation that counts as running for the subscriber, 0 for none
    uint64_t settled = 0;  // nothing more is to be said about the start of this incarnation and those before it
    pid_t pid = 0;         // of `current`
};

// What a new subscriber knows: what runs already and what has ended is not announced to it. `before` is NumberOfNow()
// from before the look. A subscriber whose first look failed (kUnknown) does not know yet what runs: for it this is asked
// again at the next look that succeeds, with the same `before`; what has joined since is then still announced.
Known FirstKnown(const Presence& presence, uint64_t before);

// One step from what is known towards what is there. After kEnd the caller knows of none that runs, after kBegin of
// `incarnation`; either way that one is settled. Then it asks again, until there is nothing left to say. `running` tells
// of kBegin that the incarnation has not ended already, which the next step says if so.
struct Step {
    enum class What { kNothing, kLookAgain, kEnd, kBegin };
    What what = What::kNothing;
    Incarnation incarnation;
    bool running = false;
};
Step Decide(const Presence& presence, const Known& known);

// What stands behind a peer's claim to be an incarnation of a name: its own bytes say the number, the kernel its uid and
// pid, and the presence of that name who that incarnation was. Unless all agree the peer is an unknown sender (kNone).
enum class Backing { kNone, kUnknown, kJoined, kStarted };
Backing BackingOf(const Presence& presence, uint64_t claimedNumber, uid_t peerUid, pid_t peerPid);

}  // namespace orvi_bus

#endif
