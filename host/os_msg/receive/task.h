// A task of this process: its endpoint, and the loop that receives for it.
//
// The loop waits for everything in one place: new connections, messages, the end of watched processes, and changes in the
// bus directory. So a process needs no thread beside those that run its loops.
#ifndef ORVI_HOST_OS_MSG_TASK_H
#define ORVI_HOST_OS_MSG_TASK_H

#include <atomic>
#include <cstdint>
#include <pthread.h>
#include <string>

#include "membership/identity.h"
#include "orvi_os_msg.h"
#include "receive/budget.h"
#include "receive/connections.h"
#include "receive/endpoint.h"
#include "receive/event_loop.h"
#include "receive/handler_calls.h"
#include "receive/loop_right.h"
#include "receive/order.h"
#include "receive/watches.h"

namespace orvi_bus {

class Task {
 public:
    // `restore` puts the process's files back where they were deleted: 0 when they are in place, NAME or DIRECTORY when
    // they never will be.
    using Restore = int (*)();
    Task(Identity* self, Budget* budget, const char* name, OsMsgHandler handler, Restore restore);
    ~Task();
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

    bool HasName(const char* name) const;
    // Makes the endpoint: from now on messages may be sent to the task.
    int Open();  // 0, or an error after a log line
    void RemoveEndpoint() { endpoint_.Unlink(); }
    // Any thread. The endpoint stands in the directory; if it was deleted, or the directory, Reopen makes it again:
    // 0, or an error and the reason in `why`.
    bool InPlace() const { return endpoint_.InPlace(); }
    int Reopen(std::string* why) { return endpoint_.Open(name_, why); }

    // Runs the loop on the calling thread.
    int Run();
    // True on the thread that runs the loop, inside a handler that is.
    bool RunsHere() const { return pthread_equal(loopThread_.load(), pthread_self()) != 0; }

    // Any thread. Stop ends this run of the loop, or the next one; TakeOff ends the task and drops what waits.
    void Stop() { loop_.Stop(); }
    void TakeOff();

    int Subscribe(const char* procName, uint32_t eventId) { return watches_.Subscribe(procName, eventId); }
    void TellIfSlow() { calls_.TellIfSlow(); }

 private:
    class Running;  // holds the right to the loop until the scope ends, by an exception or the thread's end too

    int Loop() ORVI_BUS_REQUIRES(kLoop);
    int Wait(int64_t untilNs, epoll_event (&events)[EventLoop::kMostEvents]) ORVI_BUS_REQUIRES(kLoop);
    bool HandleEvents(const epoll_event* events, int count) ORVI_BUS_REQUIRES(kLoop);
    bool PutBack() ORVI_BUS_REQUIRES(kLoop);
    int64_t NextDeadlineNs() ORVI_BUS_REQUIRES(kLoop);
    bool KeepTime() ORVI_BUS_REQUIRES(kLoop);
    bool ServeReady() ORVI_BUS_REQUIRES(kLoop);
    void Serve(Connection* connection) ORVI_BUS_REQUIRES(kLoop);
    bool Greet(Connection* connection, const uint8_t* hello) ORVI_BUS_REQUIRES(kLoop);
    bool Dispatch(Connection* connection, const FrameHeader& header, const uint8_t* payload) ORVI_BUS_REQUIRES(kLoop);
    void ClearUp();

    Identity* const self_;
    char name_[OS_MSG_NAME_SIZE] = {};
    const Restore restore_;
    LoopRight right_;
    std::atomic<pthread_t> loopThread_{};
    EventLoop loop_;
    Endpoint endpoint_;
    HandlerCalls calls_;
    Connections connections_;
    Watches watches_;
    Order order_;
    uint64_t answered_ ORVI_BUS_GUARDED_BY(kLoop) = 0;  // the connection of the latest answer, 0: nothing expected
    int64_t askAllNs_ ORVI_BUS_GUARDED_BY(kLoop) = 0;   // until when that one alone may be looked at
    int64_t restoreNs_ ORVI_BUS_GUARDED_BY(kLoop) = INT64_MAX;  // when `restore_` is tried again
};

}  // namespace orvi_bus

#endif
