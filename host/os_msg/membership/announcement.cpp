#include "membership/announcement.h"

#include <algorithm>

namespace orvi_bus {

namespace {

bool IsRunning(const Presence& presence, uint64_t number) {
    return presence.seen == Presence::Seen::kThere && presence.alive && presence.latest.number == number;
}

// Incarnations from the oldest on: 0 is the first of the earlier ones, earlierCount the latest.
const Incarnation& InOrder(const Presence& presence, size_t index) {
    return index < presence.earlierCount ? presence.earlier[presence.earlierCount - 1 - index] : presence.latest;
}

}  // namespace

Known FirstKnown(const Presence& presence, uint64_t before) {
    Known known;
    switch (presence.seen) {
        case Presence::Seen::kUnknown:
            known.settled = before;
            break;
        case Presence::Seen::kAbsent:
            // Whatever a record tells from now on is new. A number is drawn a moment before its record can be seen, so
            // it may be lower than `before` and nevertheless belong to one that is to be announced.
            break;
        case Presence::Seen::kThere: {
            const bool mayStart = presence.alive && !presence.latest.started;
            known.settled = std::min(before, presence.latest.number - (mayStart ? 1 : 0));
            if (presence.alive && presence.latest.started && presence.latest.number <= before) {
                known.current = presence.latest.number;
                known.pid = presence.latest.pid;
            }
            break;
        }
    }
    return known;
}

Step Decide(const Presence& presence, const Known& known) {
    Step step;
    if (presence.seen == Presence::Seen::kUnknown) {
        step.what = Step::What::kLookAgain;
        return step;
    }
    if (known.current != 0) {
        if (!IsRunning(presence, known.current)) {
            step.what = Step::What::kEnd;
            step.incarnation = {known.current, known.pid, true};
        }
        return step;
    }
    if (presence.seen == Presence::Seen::kAbsent) {
        return step;
    }
    for (size_t i = 0; i <= presence.earlierCount; ++i) {
        const Incarnation& candidate = InOrder(presence, i);
        const bool running = IsRunning(presence, candidate.number);
        // One that runs while the subscriber takes it for ended: its record was deleted and it put it back.
        if (candidate.started && (candidate.number > known.settled || running)) {
            step.what = Step::What::kBegin;
            step.incarnation = candidate;
            step.running = running;
            return step;
        }
    }
    return step;
}

Backing BackingOf(const Presence& presence, uint64_t claimedNumber, uid_t peerUid, pid_t peerPid) {
    if (presence.seen == Presence::Seen::kUnknown) {
        return Backing::kUnknown;
    }
    if (presence.seen == Presence::Seen::kAbsent || presence.owner != peerUid || claimedNumber == 0 || peerPid <= 0) {
        return Backing::kNone;
    }
    for (size_t i = 0; i <= presence.earlierCount; ++i) {
        const Incarnation& candidate = InOrder(presence, i);
        if (candidate.number == claimedNumber && candidate.pid == peerPid) {
            return candidate.started ? Backing::kStarted : Backing::kJoined;
        }
    }
    return Backing::kNone;
}

}  // namespace orvi_bus
