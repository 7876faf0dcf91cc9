// What the process lends each peer process: memory for messages that are not complete, memory for answers that are not
// read, descriptors for connections.
#ifndef ORVI_HOST_OS_MSG_BUDGET_H
#define ORVI_HOST_OS_MSG_BUDGET_H

#include <cstddef>
#include <map>
#include <memory>
#include <utility>

#include "receive/linked_list.h"
#include "wire/mutex.h"
#include "wire/socket.h"

namespace orvi_bus {

class Connection;
class EventLoop;

// The accounts of all peers, over all tasks of the process. Any thread.
//
// A peer whose connections hold kPeerMemory together gets no more for its messages, except for one of them at a time:
// that one goes on, so that some frame is always completed and its memory given back. The others wait in the kernel,
// which makes the peer wait; nothing is lost.
class Budget {
 public:
    static constexpr size_t kPeerMemory = size_t{64} << 20;   // unfinished messages
    static constexpr size_t kPeerAnswers = size_t{64} << 20;  // unread answers

    // One peer process's account; its connections share it.
    struct Account {
        size_t held = 0;
        size_t answers = 0;
        size_t connections = 0;
        const Connection* favoured = nullptr;  // may go beyond kPeerMemory
        size_t waiting = 0;                    // connections that were refused memory
        bool refused = false;                  // its latest connection was, and that has been told
    };
    using AccountPtr = std::shared_ptr<Account>;

    // Those who are told when memory that somebody was refused has become free. A task's loop, for its life.
    struct Waiter {
        explicit Waiter(EventLoop* l) : loop(l) {}
        EventLoop* const loop;
        Link<Waiter> link;
    };
    void Register(Waiter* waiter);
    void Unregister(Waiter* waiter);

    // The account of the peer, with one connection more. A peer may have as many connections as descriptors are left to
    // others, which the number of the newest descriptor tells: null when it has them already, after one log line until
    // one is admitted again.
    AccountPtr Admit(const PeerIdentity& peer, int descriptor);
    void Leave(const PeerIdentity& peer, const AccountPtr& account);

    // False when the connection's memory may not grow from `from` to `to` now; it counts as waiting from then on.
    bool Grow(Account* account, const Connection* connection, size_t from, size_t to);
    // The connection, which is inside no frame, holds `to` in the place of `from`, which is more.
    void Shrink(Account* account, const Connection* connection, size_t from, size_t to);
    // The connection waits for memory no longer.
    void StopWaiting(Account* account);

    // False when the peer's unread answers may not take `size` bytes more.
    bool TakeForAnswer(Account* account, size_t size);
    void GiveBackOfAnswer(Account* account, size_t size);

 private:
    void WakeWaiters() ORVI_BUS_REQUIRES(mutex_);

    Mutex mutex_;
    std::map<std::pair<pid_t, uid_t>, AccountPtr> accounts_ ORVI_BUS_GUARDED_BY(mutex_);
    LinkedList<Waiter, &Waiter::link> waiters_ ORVI_BUS_GUARDED_BY(mutex_);
};

}  // namespace orvi_bus

#endif
