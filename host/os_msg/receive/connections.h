// The connections of a task: acceptance, hello, turns, time limits.
#ifndef ORVI_HOST_OS_MSG_CONNECTIONS_H
#define ORVI_HOST_OS_MSG_CONNECTIONS_H

#include <cstdint>
#include <map>
#include <memory>

#include "receive/endpoint.h"
#include "receive/peer_connection.h"

namespace orvi_bus {

// Belongs to the task's loop. Those that have something to be done stand in a queue; each gets a bounded turn.
class Connections {
 public:
    Connections(const char* taskName, Endpoint* endpoint, EventLoop* loop, Budget* budget);
    ~Connections();
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    // Accepts those that wait, up to `most`. False when the descriptors or the memory ran out: some may be waiting still,
    // and the loop accepts again after a while.
    static constexpr int kATurn = 16;
    static constexpr int kAll = 8192;  // more than a backlog holds
    bool Accept(int most) ORVI_BUS_REQUIRES(kLoop);
    void CloseAll() ORVI_BUS_REQUIRES(kLoop);
    // With one line that gives the reason; null: without one.
    void Close(Connection* connection, const char* reason) ORVI_BUS_REQUIRES(kLoop);

    // The kernel has told of it.
    void OnEvent(Connection* connection, uint32_t events) ORVI_BUS_REQUIRES(kLoop);
    // Reads what it holds, without being told. False when it holds nothing; true as well when it is over, or no longer
    // there.
    bool Look(uint64_t id) ORVI_BUS_REQUIRES(kLoop);
    // Another thread has queued an answer, or memory that somebody was refused has become free.
    void OnWake() ORVI_BUS_REQUIRES(kLoop);

    // The queue of those with something to be done.
    size_t ReadyCount() const ORVI_BUS_REQUIRES(kLoop) { return ready_.Size(); }
    Connection* FirstReady() const ORVI_BUS_REQUIRES(kLoop) { return ready_.First(); }
    // Its turn is over. `more`: it has something left and waits for its next turn; else the kernel will tell. May close
    // it, when its time was up.
    void EndTurn(Connection* connection, bool more) ORVI_BUS_REQUIRES(kLoop);
    // Nothing is held of it and the kernel has nothing more.
    void SeenEmpty(Connection* connection) ORVI_BUS_REQUIRES(kLoop);

    // The one place that changes a state; each step is a legal one.
    void MoveTo(Connection* connection, Connection::State next) ORVI_BUS_REQUIRES(kLoop);
    // Those that wait are to be looked at again: something that they may wait for has happened.
    void ReconsiderWaiting() ORVI_BUS_REQUIRES(kLoop);
    // The same in a moment: what one of them waits for could not be looked at.
    void ReconsiderSoon() ORVI_BUS_REQUIRES(kLoop);

    // Whose messages are to be handled before something else happens.
    struct Earlier {
        pid_t pid;
        uint64_t upTo;  // of a process: nothing of an incarnation after this one
        const Connection*
            before;  // of a thread: what it sent over earlier connections than this one; null: of a process
    };
    // Asks for them, whether the kernel has told of them or not. Drained tells when all that had come by then has been
    // handled; `tick` is what AskFor returned.
    uint64_t AskFor(const Earlier& earlier) ORVI_BUS_REQUIRES(kLoop);
    bool Drained(const Earlier& earlier, uint64_t tick) const ORVI_BUS_REQUIRES(kLoop);

    int64_t NextDeadlineNs() ORVI_BUS_REQUIRES(kLoop);
    void OnTime(int64_t nowNs) ORVI_BUS_REQUIRES(kLoop);

 private:
    static bool IsMeant(const Connection& connection, const Earlier& earlier) ORVI_BUS_REQUIRES(kLoop);
    void MakeReady(Connection* connection) ORVI_BUS_REQUIRES(kLoop);
    void SetDeadline(Connection* connection) ORVI_BUS_REQUIRES(kLoop);
    void SendAnswers(int64_t nowNs) ORVI_BUS_REQUIRES(kLoop);

    const char* const taskName_;
    Endpoint* const endpoint_;
    EventLoop* const loop_;
    Budget* const budget_;
    Budget::Waiter waiter_;
    std::map<uint64_t, std::shared_ptr<Connection>> connections_ ORVI_BUS_GUARDED_BY(kLoop);  // in order of acceptance
    LinkedList<Connection, &Connection::ready> ready_ ORVI_BUS_GUARDED_BY(kLoop);
    LinkedList<Connection, &Connection::timed> timed_ ORVI_BUS_GUARDED_BY(kLoop);  // by deadline: all have one length
    LinkedList<Connection, &Connection::aside> waiting_ ORVI_BUS_GUARDED_BY(kLoop);
    LinkedList<Connection, &Connection::aside> parked_ ORVI_BUS_GUARDED_BY(kLoop);
    uint64_t tick_ ORVI_BUS_GUARDED_BY(kLoop) = 1;
    int64_t answersDueNs_ ORVI_BUS_GUARDED_BY(kLoop) = INT64_MAX;  // when the first peer has read nothing for too long
    int64_t reconsiderNs_ ORVI_BUS_GUARDED_BY(kLoop) = INT64_MAX;
    int64_t acceptAgainNs_ ORVI_BUS_GUARDED_BY(kLoop) = 0;   // 0 while accepting
    bool acceptRefused_ ORVI_BUS_GUARDED_BY(kLoop) = false;  // and that has been told
};

}  // namespace orvi_bus

#endif
