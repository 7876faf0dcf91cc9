#include "receive/budget.h"

#include <algorithm>
#include <sys/resource.h>

#include "receive/event_loop.h"
#include "wire/bus_log.h"

namespace orvi_bus {

namespace {

// Descriptors that the process needs for other things than peers, of few a smaller part: an application has a connection
// to each task that it asks, and one that got the first should get the others.
constexpr size_t kKeptDescriptors = 16;
constexpr size_t kKeptPart = 16;

size_t DescriptorLimit() {
    rlimit limit{};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 ? static_cast<size_t>(limit.rlim_cur) : 0;
}

}  // namespace

void Budget::Register(Waiter* waiter) {
    MutexLock lock(mutex_);
    waiters_.Append(waiter);
}

void Budget::Unregister(Waiter* waiter) {
    MutexLock lock(mutex_);
    waiters_.Remove(waiter);
}

void Budget::WakeWaiters() {
    for (Waiter* waiter = waiters_.First(); waiter != nullptr; waiter = waiter->link.next) {
        waiter->loop->Wake();
    }
}

Budget::AccountPtr Budget::Admit(const PeerIdentity& peer, int descriptor) {
    MutexLock lock(mutex_);
    AccountPtr& account = accounts_[{peer.pid, peer.uid}];
    if (!account) {
        account = std::make_shared<Account>();
    }
    // The kernel gives the lowest free number, so about `descriptor` of them are in use.
    const size_t limit = DescriptorLimit();
    const size_t used = static_cast<size_t>(descriptor) + std::min(kKeptDescriptors, limit / kKeptPart);
    if (account->connections != 0 && used + account->connections > limit) {
        if (!account->refused) {
            Log(kLogError, "refusing connections of process %d (uid %u): it has %zu, as many as are left for others",
                static_cast<int>(peer.pid), static_cast<unsigned>(peer.uid), account->connections);
        }
        account->refused = true;
        return nullptr;
    }
    account->refused = false;
    ++account->connections;
    return account;
}

void Budget::Leave(const PeerIdentity& peer, const AccountPtr& account) {
    MutexLock lock(mutex_);
    if (--account->connections == 0) {
        accounts_.erase({peer.pid, peer.uid});
    }
}

bool Budget::Grow(Account* account, const Connection* connection, size_t from, size_t to) {
    MutexLock lock(mutex_);
    if (account->held - from + to > kPeerMemory) {
        if (account->favoured != nullptr && account->favoured != connection) {
            ++account->waiting;
            return false;
        }
        account->favoured = connection;
    }
    account->held = account->held - from + to;
    return true;
}

void Budget::Shrink(Account* account, const Connection* connection, size_t from, size_t to) {
    MutexLock lock(mutex_);
    account->held = account->held - from + to;
    if (account->favoured == connection) {
        account->favoured = nullptr;
    }
    if (account->waiting != 0 && account->favoured == nullptr) {
        WakeWaiters();
    }
}

void Budget::StopWaiting(Account* account) {
    MutexLock lock(mutex_);
    --account->waiting;
}

bool Budget::TakeForAnswer(Account* account, size_t size) {
    MutexLock lock(mutex_);
    if (account->answers + size > kPeerAnswers) {
        return false;
    }
    account->answers += size;
    return true;
}

void Budget::GiveBackOfAnswer(Account* account, size_t size) {
    MutexLock lock(mutex_);
    account->answers -= size;
}

}  // namespace orvi_bus
