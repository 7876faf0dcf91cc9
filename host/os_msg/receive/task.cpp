#include "receive/task.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "orvi_host_bus.h"
#include "process.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"

namespace orvi_bus {

Task::Task(const char* name, OsMsgHandler handler) : handler_(handler) {
    SetName(name_, name);
}

Task::~Task() {
    Release();
}

bool Task::HasName(const char* name) const {
    return strcmp(name_, name) == 0;
}

int Task::Open() {
    const Directory& directory = Process::Get().Self().Where();
    path_ = EndpointPath(directory, Process::Get().Self().Name(), name_);
    // Only this process makes names that begin with its own, so the name of the unfinished endpoint is free.
    const std::string unfinished = path_ + '~';
    sockaddr_un address{};
    socklen_t length = 0;
    if (!MakeAddress(unfinished, &address, &length)) {
        Log(kLogError, "cannot register task '%s': %s is too long for a socket's address", name_, path_.c_str());
        return ORVI_BUS_E_ARGUMENT;
    }
    (void)unlink(unfinished.c_str());
    listener_ = Fd::StreamSocket(true);
    epoll_ = Fd::Epoll();
    wake_ = Fd::Event();
    if (!listener_ || !epoll_ || !wake_ ||
        bind(listener_.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        !AdoptSocket(directory, unfinished) || listen(listener_.Get(), SOMAXCONN) != 0 ||
        !Listen(&listenerSource_, listener_.Get(), EPOLLIN) || !Listen(&wakeSource_, wake_.Get(), EPOLLIN) ||
        rename(unfinished.c_str(), path_.c_str()) != 0) {
        Log(kLogError, "cannot register task '%s' at %s: %s", name_, path_.c_str(), strerror(errno));
        (void)unlink(unfinished.c_str());
        return ORVI_BUS_E_SYSTEM;
    }
    return 0;
}

void Task::RemoveEndpoint() {
    (void)unlink(path_.c_str());
}

bool Task::RunsHere() const {
    return pthread_equal(loopThread_.load(), pthread_self()) != 0;
}

void Task::Stop() {
    stop_.store(true);
    Wake();
}

void Task::TakeOff() {
    off_.store(true);
    {
        MutexLock lock(mutex_);
        if (running_) {
            Wake();  // the loop releases what the task holds when it ends
            return;
        }
    }
    Release();
}

void Task::Wake() {
    const uint64_t one = 1;
    (void)!write(wake_.Get(), &one, sizeof(one));  // a full counter wakes as well
}

// Ends the endpoint and the connections: what waits is dropped, and peers that wait for an answer are told by the
// hang-up. Runs when no loop does.
void Task::Release() {
    for (const auto& entry : connections_) {
        entry.second->Close();
    }
    connections_.clear();
    closed_.clear();
    if (listener_) {
        shutdown(listener_.Get(), SHUT_RDWR);  // also where another thread is just starting a program
        listener_.Reset();
    }
}

}  // namespace orvi_bus
