#include "receive/order.h"

namespace orvi_bus {

bool Order::Identify(Connection* connection) {
    const Hello& hello = connection->hello;
    const Presence presence = self_.Look(hello.procName);
    Backing backing = BackingOf(presence, hello.incarnation, connection->peer.uid, connection->peer.pid);
    if (backing == Backing::kUnknown && !IsShortage(presence.error)) {
        backing = Backing::kNone;  // a record that others may not read stays so, and backs nothing
    }
    switch (backing) {
        case Backing::kUnknown:
            connections_->ReconsiderSoon();
            return false;
        case Backing::kNone:
            connection->number = 0;
            connection->mustStart = false;
            break;
        case Backing::kJoined:
            connection->number = connection->saysStarted ? 0 : hello.incarnation;
            connection->mustStart = false;
            break;
        case Backing::kStarted:
            connection->number = hello.incarnation;
            connection->mustStart = true;
            break;
    }
    connection->identified = true;
    return true;
}

bool Order::MustWaitForStart(const Connection& connection) {
    if (!connection.mustStart) {
        return false;
    }
    Watch* watch = watches_->Find(connection.hello.procName);
    if (watch == nullptr || connection.number <= watch->known.settled) {
        return false;
    }
    watches_->MarkDirty(watch);
    return true;
}

bool Order::GoesOn(Connection* connection) {
    if (!connection->identified && !Identify(connection)) {
        return false;
    }
    if (connection->drainTick == 0) {
        connection->drainTick = connections_->AskFor({connection->peer.pid, 0, connection});
    }
    if (!connections_->Drained({connection->peer.pid, 0, connection}, connection->drainTick)) {
        return false;
    }
    if (MustWaitForStart(*connection)) {
        // The watch looks. When it has found nothing to announce, the record has changed since the claim was held
        // against it, and that is done again.
        connection->identified = !connection->startAsked;
        connection->startAsked = !connection->startAsked;
        return false;
    }
    connections_->MoveTo(connection, Connection::State::kOpen);
    return true;
}

bool Order::MayHandle(Connection* connection, const FrameHeader& header) {
    // A sender that had not started when it was identified says so when it has. Its presence is asked, not its word.
    const bool says = (header.flags & kFlagStarted) != 0;
    if (connection->number == 0 || connection->mustStart || !says) {
        return true;
    }
    const Watch* watch = watches_->Find(connection->hello.procName);
    if (watch == nullptr || connection->number <= watch->known.settled) {
        return true;
    }
    connection->saysStarted = true;
    connection->identified = false;
    connections_->MoveTo(connection, Connection::State::kWaiting);
    return false;
}

}  // namespace orvi_bus
