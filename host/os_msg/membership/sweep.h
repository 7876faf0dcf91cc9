// What dead processes left in the bus directory.
#ifndef ORVI_HOST_OS_MSG_SWEEP_H
#define ORVI_HOST_OS_MSG_SWEEP_H

#include "membership/directory.h"
#include "membership/presence.h"

namespace orvi_bus {

// Removes the endpoints and records of processes that have ended, and unfinished files. A record of the last minute stays
// for watchers that have not looked since. `ownName` is the name that the caller is about to take: its endpoints go, its
// record is the caller's. What is linked from `own` stays.
//
// One pass over the directory and a bounded number of looks at records, however many died; what one call leaves, the
// next ones find. Under the join lock: nobody can take a name meanwhile, so a record that nobody holds is a dead one's.
void SweepDead(const Directory& directory, const char* ownName, const OwnFiles& own);

}  // namespace orvi_bus

#endif
