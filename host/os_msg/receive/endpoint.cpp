#include "receive/endpoint.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "orvi_host_bus.h"
#include "wire/fault_point.h"
#include "wire/socket.h"

namespace orvi_bus {

int Endpoint::Open(const char* taskName, std::string* why) {
    const Directory& directory = self_.Where();
    std::string path = EndpointPath(directory, self_.Name(), taskName);
    // Only this process makes names that begin with its own, so the name of the unfinished endpoint is free.
    const std::string unfinished = path + '~';
    sockaddr_un address{};
    socklen_t length = 0;
    if (!MakeAddress(unfinished, &address, &length)) {
        *why = path + " is too long for a socket's address";
        return ORVI_BUS_E_ARGUMENT;
    }
    MutexLock lock(mutex_);
    (void)unlink(unfinished.c_str());
    Fd listener = Fd::StreamSocket(true);
    struct stat status {};
    if (!listener || bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        !AdoptSocket(directory, unfinished) || listen(listener.Get(), SOMAXCONN) != 0 ||
        lstat(unfinished.c_str(), &status) != 0 || !loop_->Add(&source_, listener.Get(), EPOLLIN) ||
        rename(unfinished.c_str(), path.c_str()) != 0) {
        const int error = errno;
        (void)unlink(unfinished.c_str());
        *why = path + ": " + strerror(error);
        return ORVI_BUS_E_SYSTEM;
    }
    Drop();
    listener_ = std::move(listener);
    path_ = std::move(path);  // takes no memory: the endpoint can be seen
    file_ = FileId(status);
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
    if (IsThere() && AtFaultPoint(FaultPoint::kBeforeUnlink) != Fault::kDrop) {
        (void)unlink(path_.c_str());
    }
}

bool Endpoint::InPlace() const {
    MutexLock lock(mutex_);
    return IsThere();
}

bool Endpoint::IsThere() const {
    struct stat status {};
    // What cannot be looked at is not known to have gone.
    return lstat(path_.c_str(), &status) == 0 ? FileId(status) == file_ : errno != ENOENT && errno != ENOTDIR;
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
    (void)loop_->Change(&source_, listener_.Get(), 0);  // taken out, it might not be let in again for want of memory
}

void Endpoint::Resume() {
    MutexLock lock(mutex_);
    (void)loop_->Change(&source_, listener_.Get(), EPOLLIN);
}

}  // namespace orvi_bus
