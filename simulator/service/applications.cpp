#include "clients.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "bus_block.h"
#include "log.h"
#include "service.h"

namespace orvi_sim {
namespace {

constexpr size_t MOST_CLIENTS = 256;  // each has a thread

int WatchExit(const std::string& process) {
    OsMsgSubscribeEntry entry{};
    entry.eventId = OS_MSG_PROC_EXITRESULT;
    SetNameField(entry.procName, process);
    SetNameField(entry.procNameAgain, process);
    SetNameField(entry.taskName, TASK_MASTER);
    return OsMsgSubscribeEvent(&entry, 1);
}

}  // namespace

Clients::~Clients() {
    Stop();
}

Clients::Added Clients::Add(const ClientAddress& address, std::string& error) {
    JoinFinished();
    const std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) {
        error = "the service ends";
        return Added::Refused;
    }
    for (const OutboxPtr& outbox : active_) {
        if (outbox->Address() == address) {
            Log("client %s/%s announced itself again", address.process.c_str(), address.task.c_str());
            return Added::Known;
        }
    }
    if (active_.size() >= MOST_CLIENTS) {
        error = "there are " + std::to_string(MOST_CLIENTS) + " clients already";
        return Added::Refused;
    }
    if (watched_.find(address.process) == watched_.end()) {
        // Without the watch a dead client would be noticed at the next send to it, so go on without.
        if (const int result = WatchExit(address.process); result == 0) {
            watched_.insert(address.process);
        } else {
            Log("the exit of %s cannot be watched: the bus says %d", address.process.c_str(), result);
        }
    }
    active_.push_back(
        std::make_shared<Outbox>(address, queueCapacity_, [this](const ClientAddress& gone) { ClientGone(gone); }));
    Log("client %s/%s announced itself, %zu now", address.process.c_str(), address.task.c_str(), active_.size());
    changed_.notify_all();
    return Added::New;
}

bool Clients::Knows(const ClientAddress& address) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(active_.begin(), active_.end(),
                       [&](const OutboxPtr& outbox) { return outbox->Address() == address; });
}

bool Clients::Remove(const ClientAddress& address) {
    const auto taken = TakeOut([&](const ClientAddress& other) { return other == address; }, "has left");
    Close(taken, Outbox::Rest::Send);
    return !taken.empty();
}

void Clients::DropProcess(const std::string& process) {
    Close(TakeOut([&](const ClientAddress& other) { return other.process == process; },
                  "is gone: its process has exited"),
          Outbox::Rest::Discard);
}

void Clients::ClientGone(const ClientAddress& address) {
    Close(TakeOut([&](const ClientAddress& other) { return other == address; }, "is gone: the bus does not know it"),
          Outbox::Rest::Discard);
}

size_t Clients::PushToAll(uint32_t id, Payload payload) {
    const auto shared = std::make_shared<const Payload>(std::move(payload));
    size_t queued = 0;
    for (const OutboxPtr& outbox : Snapshot()) {
        queued += outbox->Push(id, shared) ? 1 : 0;
    }
    return queued;
}

size_t Clients::PushTo(const std::string& process, uint32_t id, Payload payload) {
    const auto shared = std::make_shared<const Payload>(std::move(payload));
    size_t queued = 0;
    for (const OutboxPtr& outbox : Snapshot()) {
        if (outbox->Address().process == process) {
            queued += outbox->Push(id, shared) ? 1 : 0;
        }
    }
    return queued;
}

std::vector<Clients::Status> Clients::List() const {
    std::vector<Status> list;
    for (const OutboxPtr& outbox : Snapshot()) {
        list.push_back({outbox->Address(), outbox->Counts()});
    }
    return list;
}

bool Clients::Knows(const std::string& process) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(active_.begin(), active_.end(),
                       [&](const OutboxPtr& outbox) { return outbox->Address().process == process; });
}

bool Clients::AwaitCount(size_t count, std::chrono::steady_clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_until(lock, deadline, [&] { return stopped_ || active_.size() == count; });
    return !stopped_ && active_.size() == count;
}

bool Clients::AwaitSent(std::chrono::steady_clock::time_point deadline) {
    for (const OutboxPtr& outbox : Snapshot()) {
        if (!outbox->AwaitEmpty(deadline)) {
            return false;
        }
    }
    return true;
}

void Clients::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }
    Close(TakeOut([](const ClientAddress&) { return true; }, "is left alone: the service ends"), Outbox::Rest::Discard);
    std::vector<OutboxPtr> leaving;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        leaving.swap(leaving_);
    }
    for (const OutboxPtr& outbox : leaving) {
        outbox->Close(Outbox::Rest::Discard);
        outbox->Join();
    }
}

std::vector<Clients::OutboxPtr> Clients::Snapshot() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return active_;
}

void Clients::Close(const std::vector<OutboxPtr>& outboxes, Outbox::Rest rest) {
    for (const OutboxPtr& outbox : outboxes) {
        outbox->Close(rest);
    }
}

// Moves the clients that `leaves` picks to the leaving ones and returns them; logs `why` before anybody can see it.
template <class Leaves>
std::vector<Clients::OutboxPtr> Clients::TakeOut(Leaves leaves, const char* why) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto firstOut = std::stable_partition(active_.begin(), active_.end(),
                                                [&](const OutboxPtr& outbox) { return !leaves(outbox->Address()); });
    std::vector<OutboxPtr> taken(firstOut, active_.end());
    active_.erase(firstOut, active_.end());
    leaving_.insert(leaving_.end(), taken.begin(), taken.end());
    for (const OutboxPtr& outbox : taken) {
        Log("client %s/%s %s", outbox->Address().process.c_str(), outbox->Address().task.c_str(), why);
    }
    changed_.notify_all();
    return taken;
}

void Clients::JoinFinished() {
    std::vector<OutboxPtr> finished;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto firstOut = std::stable_partition(leaving_.begin(), leaving_.end(),
                                                    [](const OutboxPtr& outbox) { return !outbox->Finished(); });
        finished.assign(firstOut, leaving_.end());
        leaving_.erase(firstOut, leaving_.end());
    }
    for (const OutboxPtr& outbox : finished) {
        outbox->Join();
    }
}

}  // namespace orvi_sim
