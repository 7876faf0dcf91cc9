// Descriptors of the bus: owned, close-on-exec, and known to the fork handler.
//
// A forked child must not keep the bus alive in its parent's place: a listening socket or a connection that it
// inherits would stay open after the parent's death and its peers would go on waiting. So every descriptor of the
// bus is made here, under the lock that fork() takes, and the child closes all of them before fork() returns.
#ifndef ORVI_HOST_OS_MSG_DESCRIPTOR_H
#define ORVI_HOST_OS_MSG_DESCRIPTOR_H

#include <string>
#include <sys/types.h>

namespace orvi_bus {

class Fd {
 public:
    Fd() = default;
    Fd(Fd&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    Fd& operator=(Fd&& other) noexcept;
    ~Fd() { Reset(); }

    int Get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void Reset();  // keeps errno
    // For a descriptor that must not be closed as long as the process lives. A forked child closes it all the same.
    void LeaveOpen() { fd_ = -1; }

    // Each returns an empty Fd with errno set on failure.
    static Fd StreamSocket(bool nonBlocking);
    static Fd PacketSocket();        // SOCK_SEQPACKET, non-blocking
    static Fd Accept(int listener);  // non-blocking
    static Fd Open(const char* path, int flags, mode_t mode);
    static Fd Open(const std::string& path, int flags, mode_t mode) { return Open(path.c_str(), flags, mode); }
    static Fd Epoll();
    static Fd Event();
    static Fd Inotify();
    static Fd Pid(pid_t pid);

 private:
    explicit Fd(int fd) : fd_(fd) {}
    int fd_ = -1;
};

// What the errno says is that descriptors, memory or locks ran out: tried again later, the same may succeed.
bool IsShortage(int error);

// True in a child whose parent had descriptors here when it forked: it was on the bus. In such a child other threads'
// locks may be held for ever: check this before any lock of the bus is taken.
bool InForkedChild();

}  // namespace orvi_bus

#endif
