// How much memory a task lends each peer process for frames that are not complete yet.
#ifndef ORVI_HOST_OS_MSG_PEER_BUDGET_H
#define ORVI_HOST_OS_MSG_PEER_BUDGET_H

#include <cstddef>
#include <map>
#include <sys/types.h>
#include <vector>

#include "receive/incoming.h"

namespace orvi_bus {

// A peer whose connections hold kPeerMemory together gets no more, except for one of them at a time: that one goes on,
// so that some frame is always completed and its memory given back. The others wait in the kernel, which makes the
// peer wait; nothing is lost. One thread at a time.
class PeerBudget {
 public:
    static constexpr size_t kPeerMemory = 64U << 20;

    // False when the connection's buffer may not become that large now; it is then to be paused.
    bool Grow(Incoming* connection, size_t capacity);
    // Counts what the connection holds now, 0 after it was closed. The paused connections in the result are to go on.
    std::vector<Incoming*> Settle(Incoming* connection);

 private:
    struct Peer {
        size_t held = 0;
        size_t connections = 0;        // that hold something
        Incoming* favoured = nullptr;  // may go beyond the limit
        std::vector<Incoming*> paused;
    };
    void Charge(Peer* peer, Incoming* connection, size_t capacity);
    std::map<pid_t, Peer> peers_;
};

}  // namespace orvi_bus

#endif
