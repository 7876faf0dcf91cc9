// A task of this process: its endpoint, the connections that it has accepted, its receive loop, and the processes that
// it watches.
//
// The loop waits for everything in one epoll instance: new connections, messages, the end of watched processes, and
// changes in the bus directory. So a process needs no thread beside those that run its loops.
#ifndef ORVI_HOST_OS_MSG_TASK_H
#define ORVI_HOST_OS_MSG_TASK_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <pthread.h>
#include <string>
#include <vector>

#include "orvi_os_msg.h"
#include "receive/incoming.h"
#include "receive/peer_budget.h"
#include "wire/descriptor.h"
#include "wire/mutex.h"

namespace orvi_bus {

// One watched process. An incarnation is a process's number from presence.h.
struct Watch : Source {
    explicit Watch(const char* name);
    char procName[OS_MSG_NAME_SIZE] = {};
    std::string fileName;  // of its presence
    std::atomic<bool> wantsStart{false};
    std::atomic<bool> wantsExit{false};
    // The rest belongs to the loop once the watch is in place.
    uint64_t current = 0;  // incarnation that counts as running for the subscriber, 0 for none
    uint64_t settled = 0;  // nothing is to be said about the start of this incarnation and those before it
    bool dirty = true;     // something may have changed: look
    Fd process;            // readable when the current incarnation has ended
    int missed = 0;        // how often in a row the process was gone before `process` was made
};

class Task {
 public:
    Task(const char* name, OsMsgHandler handler);
    ~Task();
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

    bool HasName(const char* name) const;
    // Makes the endpoint: from now on messages may be sent to the task.
    int Open();
    void RemoveEndpoint();

    // Runs the loop on the calling thread.
    int Run();
    // True on the thread that runs the loop, inside a handler that is.
    bool RunsHere() const;

    // Any thread. Stop ends this run of the loop, or the next one; TakeOff ends the task and drops what waits.
    void Stop();
    void TakeOff();

    // Any thread. Watches a process for one kind of event; in place at return. 0 or ORVI_BUS_E_....
    int Subscribe(const char* procName, uint32_t eventId);

 private:
    class Running;  // marks the loop as running until the scope ends, by an exception or the thread's end too

    // receive_loop.cpp
    int Loop();
    bool Interrupted() const;  // the loop is to return before it dispatches anything more
    void Wake();
    void HandleEvent(Source* source);
    void AcceptAll();
    void CheckTimers();
    int TimeoutMs() const;
    bool Listen(Source* source, int fd, uint32_t events);
    void StopListening(Fd* fd);
    void Release();

    // receive_incoming.cpp
    enum class Filled { kBytes, kNothing, kClosed };
    void Pump(Incoming* connection, bool untilEmpty);
    void PumpAll();
    Filled Fill(Incoming* connection, bool unlimited);
    bool DispatchHeld(Incoming* connection);
    bool Greet(Incoming* connection);
    void Identify(Incoming* connection);
    void IdentifyAll();
    void DrainPredecessors(const Incoming& connection);
    void Dispatch(Incoming* connection, const FrameHeader& header, const uint8_t* payload);
    void CallHandler(TagMsgBlock* block);
    void UpdateDeadline(Incoming* connection, bool progress);
    void SettleBudget(Incoming* connection);
    void Fail(Incoming* connection, const char* reason);
    void Close(Incoming* connection);
    std::vector<std::shared_ptr<Incoming>> Snapshot() const;

    // watch.cpp
    void ReadDirectoryEvents();
    void MarkWatchesDirty();
    void SettleWatches();
    void Follow(Watch* watch, uint64_t incarnation, pid_t pid);
    void BeforeMessage(const Incoming& connection, bool senderStarted);
    void DrainIncarnations(const char* procName, uint64_t first, uint64_t last);
    void Announce(const Watch& watch, uint32_t eventId);
    void StartLooking(const char* reason);
    std::vector<Watch*> Watches();

    char name_[OS_MSG_NAME_SIZE] = {};
    const OsMsgHandler handler_;
    std::string path_;

    Fd listener_;
    Fd epoll_;
    Fd wake_;
    Source listenerSource_{Source::Kind::kListener};
    Source wakeSource_{Source::Kind::kWake};
    Source directorySource_{Source::Kind::kDirectory};

    std::atomic<bool> stop_{false};
    std::atomic<bool> off_{false};
    std::atomic<pthread_t> loopThread_{};

    Mutex mutex_;
    bool running_ ORVI_BUS_GUARDED_BY(mutex_) = false;
    Fd directoryEvents_ ORVI_BUS_GUARDED_BY(mutex_);
    std::vector<std::unique_ptr<Watch>> watches_ ORVI_BUS_GUARDED_BY(mutex_);  // grows only
    std::atomic<size_t> watchCount_{0};
    std::atomic<bool> looking_{false};  // the kernel does not tell of changes: look from time to time

    // The loop's own.
    std::map<uint64_t, std::shared_ptr<Incoming>> connections_;  // in the order of acceptance
    std::vector<std::shared_ptr<Incoming>> closed_;              // kept until no event can name them
    bool held_ = false;                                          // some may hold complete frames
    size_t timed_ = 0;                                           // connections that have a deadline
    PeerBudget budget_;
    int64_t acceptAgainNs_ = 0;   // when to accept again after the descriptors ran out, 0 while accepting
    bool acceptRefused_ = false;  // and that has been told
    int64_t lookAtNs_ = 0;
};

}  // namespace orvi_bus

#endif
