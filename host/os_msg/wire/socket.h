// One end of a stream connection between two members of the bus: reading, writing and hang-up.
//
// Results are 0 or ORVI_BUS_E_...; with GONE and SYSTEM errno tells the reason (0: the other end closed in good order).
#ifndef ORVI_HOST_OS_MSG_SOCKET_H
#define ORVI_HOST_OS_MSG_SOCKET_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <utility>

#include "wire/deadline.h"
#include "wire/descriptor.h"

namespace orvi_bus {

// False when the path does not fit a socket address.
bool MakeAddress(const std::string& path, sockaddr_un* address, socklen_t* length);

// What the kernel knows of the process at the other end: who connected, or on the connecting side who listened. `pid`
// is 0 where that process is not visible from here.
struct PeerIdentity {
    uid_t uid = static_cast<uid_t>(-1);
    pid_t pid = 0;
};

// What is to be sent in one piece: parts that lie in several places. They belong to who made them; what the kernel has
// taken is taken off them.
struct Parcel {
    iovec* parts;
    size_t count;
    size_t taken = 0;
    size_t Left() const;
    void Take(size_t bytes);
    // Copies the first `bytes` of what is left.
    void Copy(uint8_t* out, size_t bytes) const;
};
inline iovec Part(const void* at, size_t size) {
    return {const_cast<void*>(at), size};  // it is only read
}

class Socket {
 public:
    enum class Received {
        kBytes,    // `count` of them, at least one
        kNothing,  // nothing is there now
        kEnd,      // the other end is closed, or sends no more
        kReset,    // it was closed with bytes unread
        kFailed    // the kernel refused, out of memory for one; errno tells. The connection may be good
    };

    Socket() = default;
    explicit Socket(Fd connected) : fd_(std::move(connected)) {}

    // Connects to the listener at `path`. 0; ABSENT when nobody listens; TIMEOUT when the listener has no room for one
    // more connection until the deadline, WOULD_BLOCK when it has none and `deadline` is null; ARGUMENT; SYSTEM.
    static int Connect(const std::string& path, const Deadline* deadline, Socket* connected);

    explicit operator bool() const { return static_cast<bool>(fd_); }
    int Get() const { return fd_.Get(); }
    PeerIdentity Peer() const;

    // Never waits.
    Received Receive(uint8_t* at, size_t room, size_t* count) const { return Take(at, room, MSG_DONTWAIT, count); }
    // The same, and waits for bytes or the end; kNothing when the deadline has passed, or a signal came.
    Received Await(uint8_t* at, size_t room, const Deadline& deadline, size_t* count);
    // Hands over what is left of the parcel as far as the kernel takes it. 0 when all is taken; WOULD_BLOCK, GONE or
    // SYSTEM with `parcel->taken` telling how much was. Raises no SIGPIPE.
    int SendNow(Parcel* parcel) const;
    // The same, waiting for room until the deadline: TIMEOUT in the place of WOULD_BLOCK.
    int Send(Parcel* parcel, const Deadline& deadline) const;

    // The other end is closed, or will send no more.
    bool HasHungUp() const;
    // Tells the other end at once, even while a program that another thread starts holds a copy of the descriptor up to
    // its exec.
    void HangUp();

 private:
    Received Take(uint8_t* at, size_t room, int flags, size_t* count) const;
    bool LimitReceive(const Deadline& deadline);

    Fd fd_;
    int64_t receiveLimitNs_ = 0;  // that the kernel keeps, 0: none that counts
};

}  // namespace orvi_bus

#endif
