// What waits to be sent to the applications, and the one thread that sends it.
#ifndef ORVI_SIM_SERVICE_MAIL_H
#define ORVI_SIM_SERVICE_MAIL_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "orvi_os_msg.h"
#include "payload.h"
#include "service/application.h"

namespace orvi_sim {

struct MailCounts {
    uint64_t sent = 0;
    uint64_t failed = 0;      // the bus refused the message
    uint64_t overflowed = 0;  // the queue was full
    size_t queued = 0;
};

// A bounded queue for each application. The thread never waits for one of them: an application that does not drain its
// messages holds up nobody else. Any thread; no function but the Await ones waits.
class Mail {
 public:
    // `onAbsent` is called on the sending thread, without a lock, when nobody receives at an application's task.
    using OnAbsent = std::function<void(const ApplicationId&)>;
    explicit Mail(OnAbsent onAbsent);
    ~Mail();
    Mail(const Mail&) = delete;
    Mail& operator=(const Mail&) = delete;

    void SetCapacity(size_t messages);  // of each queue. Before the first Open

    // From now on messages may be posted; they wait until the application's task is known.
    void Open(const ApplicationId& application);
    void Deliver(const ApplicationId& application, const std::string& task);
    // What is queued is still sent, what is posted from now on waits for the next Deliver.
    void Withhold(const ApplicationId& application);
    // What is queued is dropped.
    void Close(const ApplicationId& application);

    // False, with one log line, when the queue is full or there is none.
    bool Post(const ApplicationId& application, uint32_t id, std::shared_ptr<const Payload> payload);

    MailCounts Counts(const ApplicationId& application) const;

    // Waits until the bus has taken everything that may be sent. False at the deadline or after Stop.
    bool AwaitSent(std::chrono::steady_clock::time_point deadline);

    // The same, but no longer than `patience`; an application that has used it up is waited for again only when it has
    // taken something.
    void Settle(std::chrono::milliseconds patience);

    // Drops what is queued and joins the thread.
    void Stop();

 private:
    static constexpr size_t MOST_AT_ONCE = 16;
    struct Letter {
        uint32_t id = 0;
        std::shared_ptr<const Payload> payload;
    };
    struct Box {
        ApplicationId application;
        std::string task;
        bool delivering = false;  // what is posted may be sent
        bool scheduled = false;   // in ready_ or blocked_
        bool closed = false;
        bool hasTriedPatience = false;  // of Settle, and has taken nothing since
        std::deque<Letter> queue;
        std::deque<Letter> waiting;  // for Deliver
        MailCounts counts;
    };
    using BoxPtr = std::shared_ptr<Box>;

    void Run();
    bool SendNext(std::unique_lock<std::mutex>& lock, const BoxPtr& box);
    // As OrviHostMsgTrySendSeveral; tells what happened.
    static int Send(const TagMsgBlock& to, const Letter* letters, size_t count, uint32_t& taken);
    void Schedule(const BoxPtr& box, std::list<BoxPtr> place);
    void Wake() const;
    void AwaitWork(bool isSomebodyBlocked) const;
    static size_t Drop(Box& box);

    const OnAbsent onAbsent_;
    const int wake_;  // eventfd: there is work, or the end
    size_t capacity_ = 256;

    mutable std::mutex mutex_;  // guards what follows, but for thread_
    std::condition_variable changed_;
    std::map<ApplicationId, BoxPtr> boxes_;
    // Boxes go from one to the other without taking memory.
    std::list<BoxPtr> ready_;    // have something to send
    std::list<BoxPtr> blocked_;  // had no room when it was tried
    bool sending_ = false;
    bool stopped_ = false;

    std::thread thread_;  // starts with the first Open
};

}  // namespace orvi_sim

#endif
