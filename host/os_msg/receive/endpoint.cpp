#include "receive/endpoint.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "orvi_host_bus.h"
#include "wire/bus_log.h"
#include "wire/socket.h"

namespace orvi_bus {

int Endpoint::Open(const char* taskName) {
    const Directory& directory = self_.Where();
    const std::string path = EndpointPath(directory, self_.Name(), taskName);
    // Only this process makes names that begin with its own, so the name of the unfinished endpoint is free.
    const std::string unfinished = path + '~';
    sockaddr_un address{};
    socklen_t length = 0;
    if (!MakeAddress(unfinished, &address, &length)) {
        Log(kLogError, "cannot register task '%s': %s is too long for a socket's address", taskName, path.c_str());
        return ORVI_BUS_E_ARGUMENT;
    }
    MutexLock lock(mutex_);
    (void)unlink(unfinished.c_str());
    Fd listener = Fd::StreamSocket(true);
    if (!listener || bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        !AdoptSocket(directory, unfinished) || listen(listener.Get(), SOMAXCONN) != 0 ||
        !loop_->Add(&source_, listener.Get(), EPOLLIN) || rename(unfinished.c_str(), path.c_str()) != 0) {
        Log(kLogError, "cannot register task '%s' at %s: %s", taskName, path.c_str(), strerror(errno));
        (void)unlink(unfinished.c_str());
        return ORVI_BUS_E_SYSTEM;
    }
    Drop();
    listener_ = std::move(listener);
    path_ = path;
    return 0;
}

void Endpoint::Drop() {
    if (listener_) {
        loop_->Remove(listener_.Get());
        shutdown(listener_.Get(), SHUT_RDWR);  // also where another thread is just starting a program
        listener_.Reset();
    }
}

void Endpoint::Unlink() const {
    MutexLock lock(mutex_);
    (void)unlink(path_.c_str());
}

bool Endpoint::InPlace() const {
    MutexLock lock(mutex_);
    struct stat status {};
    return lstat(path_.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

void Endpoint::Close() {
    MutexLock lock(mutex_);
    Drop();
}

Fd Endpoint::Accept() {
    MutexLock lock(mutex_);
    if (!listener_) {
        errno = EAGAIN;
        return Fd();
    }
    return Fd::Accept(listener_.Get());
}

void Endpoint::Pause() {
    MutexLock lock(mutex_);
    loop_->Remove(listener_.Get());
}

void Endpoint::Resume() {
    MutexLock lock(mutex_);
    if (listener_) {
        (void)loop_->Add(&source_, listener_.Get(), EPOLLIN);
    }
}

}  // namespace orvi_bus
