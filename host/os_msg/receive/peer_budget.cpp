#include "receive/peer_budget.h"

#include <algorithm>

namespace orvi_bus {

void PeerBudget::Charge(Peer* peer, Incoming* connection, size_t capacity) {
    peer->connections += (capacity != 0 ? 1U : 0U);
    peer->connections -= (connection->charged != 0 ? 1U : 0U);
    peer->held += capacity;
    peer->held -= connection->charged;
    connection->charged = capacity;
}

bool PeerBudget::Grow(Incoming* connection, size_t capacity) {
    if (capacity <= connection->charged) {
        return true;
    }
    Peer& peer = peers_[connection->peer.pid];
    if (peer.held - connection->charged + capacity > kPeerMemory) {
        if (peer.favoured != nullptr && peer.favoured != connection) {
            peer.paused.push_back(connection);
            return false;
        }
        peer.favoured = connection;
        connection->favoured = true;
    }
    Charge(&peer, connection, capacity);
    return true;
}

std::vector<Incoming*> PeerBudget::Settle(Incoming* connection) {
    const size_t capacity = connection->closed ? 0 : connection->reader.Capacity();
    const bool waits = connection->closed && connection->paused;
    if (capacity == connection->charged && !waits && !connection->favoured) {
        return {};
    }
    Peer& peer = peers_[connection->peer.pid];
    if (waits) {
        peer.paused.erase(std::remove(peer.paused.begin(), peer.paused.end(), connection), peer.paused.end());
    }
    Charge(&peer, connection, capacity);
    std::vector<Incoming*> resumed;
    if (connection->favoured && (connection->closed || !connection->reader.InsideFrame())) {
        peer.favoured = nullptr;
        connection->favoured = false;
    }
    if (peer.favoured == nullptr) {
        resumed.swap(peer.paused);
    }
    if (peer.connections == 0 && peer.paused.empty()) {
        peers_.erase(connection->peer.pid);
    }
    return resumed;
}

}  // namespace orvi_bus
