// The clients that have announced themselves.
#ifndef ORVI_SIM_CLIENTS_H
#define ORVI_SIM_CLIENTS_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "outbox.h"

namespace orvi_sim {

class Clients {
 public:
    struct Status {
        ClientAddress address;
        OutboxCounts counts;
    };

    explicit Clients(size_t queueCapacity) : queueCapacity_(queueCapacity) {}
    ~Clients();
    Clients(const Clients&) = delete;
    Clients& operator=(const Clients&) = delete;

    enum class Added { New, Known, Refused };
    // An announcement. Known clients stay as they are; a refusal comes with its reason.
    Added Add(const ClientAddress& address, std::string& error);

    bool Knows(const ClientAddress& address) const;

    // A client that leaves: what is queued for it is still sent. False when it is not known.
    bool Remove(const ClientAddress& address);

    // A process that has exited: what is queued for its tasks is dropped and logged.
    void DropProcess(const std::string& process);

    // Queue a message and return the number of clients for whom it was queued. Never wait.
    size_t PushToAll(uint32_t id, Payload payload);
    size_t PushTo(const std::string& process, uint32_t id, Payload payload);

    std::vector<Status> List() const;
    bool Knows(const std::string& process) const;  // a client of that process is there

    // Wait, false at the deadline: until exactly `count` clients are known; until nothing is queued any more.
    bool AwaitCount(size_t count, std::chrono::steady_clock::time_point deadline);
    bool AwaitSent(std::chrono::steady_clock::time_point deadline);

    // Drops what is queued, joins the senders and ends every wait. The bus bounds how long a sender can be busy.
    void Stop();

 private:
    using OutboxPtr = std::shared_ptr<Outbox>;

    void ClientGone(const ClientAddress& address);
    std::vector<OutboxPtr> Snapshot() const;
    template <class Leaves>
    std::vector<OutboxPtr> TakeOut(Leaves leaves, const char* why);
    static void Close(const std::vector<OutboxPtr>& outboxes, Outbox::Rest rest);
    void JoinFinished();

    const size_t queueCapacity_;
    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    std::vector<OutboxPtr> active_;
    std::vector<OutboxPtr> leaving_;  // closed, thread not joined yet
    std::set<std::string> watched_;   // processes whose exit the bus reports; a subscription cannot be taken back
    bool stopped_ = false;
};

}  // namespace orvi_sim

#endif
