#include "wire/socket.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>

#include "orvi_host_bus.h"

namespace orvi_bus {

namespace {

constexpr int64_t kCoarseNs = 25000000;  // longer than two ticks of any kernel

}  // namespace

bool MakeAddress(const std::string& path, sockaddr_un* address, socklen_t* length) {
    *address = sockaddr_un{};
    address->sun_family = AF_UNIX;
    if (path.size() >= sizeof(address->sun_path)) {
        return false;
    }
    memcpy(address->sun_path, path.c_str(), path.size() + 1);
    *length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
    return true;
}

size_t Parcel::Left() const {
    size_t left = 0;
    for (size_t i = 0; i < count; ++i) {
        left += parts[i].iov_len;
    }
    return left;
}

void Parcel::Take(size_t bytes) {
    taken += bytes;
    while (count != 0 && bytes >= parts->iov_len) {
        bytes -= parts->iov_len;
        ++parts;
        --count;
    }
    if (bytes != 0) {
        *parts = {static_cast<uint8_t*>(parts->iov_base) + bytes, parts->iov_len - bytes};
    }
}

void Parcel::Copy(uint8_t* out, size_t bytes) const {
    for (const iovec* part = parts; bytes != 0; ++part) {
        const size_t size = std::min(bytes, part->iov_len);
        if (size != 0) {
            memcpy(out, part->iov_base, size);
        }
        out += size;
        bytes -= size;
    }
}

int Socket::Connect(const std::string& path, const Deadline* deadline, Socket* connected) {
    sockaddr_un address{};
    socklen_t length = 0;
    if (!MakeAddress(path, &address, &length)) {
        return ORVI_BUS_E_ARGUMENT;
    }
    connected->fd_ = Fd::StreamSocket(deadline == nullptr);
    if (!connected->fd_) {
        return ORVI_BUS_E_SYSTEM;
    }
    for (;;) {
        if (deadline != nullptr) {
            // A connect to a full backlog waits in the kernel; poll() cannot wait for that.
            const timeval wait = deadline->RemainingTimeval();
            setsockopt(connected->Get(), SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof(wait));
        }
        if (connect(connected->Get(), reinterpret_cast<const sockaddr*>(&address), length) == 0) {
            return 0;
        }
        switch (errno) {
            case EINTR:
                break;
            case EAGAIN:
                return deadline != nullptr ? ORVI_BUS_E_TIMEOUT : ORVI_BUS_E_WOULD_BLOCK;
            case ENOENT:
            case ECONNREFUSED:
                return ORVI_BUS_E_ABSENT;
            default:
                return ORVI_BUS_E_SYSTEM;
        }
        if (deadline != nullptr && deadline->Expired()) {
            return ORVI_BUS_E_TIMEOUT;
        }
    }
}

PeerIdentity Socket::Peer() const {
    ucred credentials{};
    socklen_t size = sizeof(credentials);
    if (getsockopt(Get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return {};
    }
    return {credentials.uid, credentials.pid};
}

Socket::Received Socket::Take(uint8_t* at, size_t room, int flags, size_t* count) const {
    for (;;) {
        const ssize_t received = recv(Get(), at, room, flags);
        if (received > 0) {
            *count = static_cast<size_t>(received);
            return Received::kBytes;
        }
        if (received == 0) {
            return Received::kEnd;
        }
        switch (errno) {
            case EINTR:
                if ((flags & MSG_DONTWAIT) == 0) {
                    return Received::kNothing;  // the kernel's limit would begin anew
                }
                break;
            case EAGAIN:
                return Received::kNothing;
            case ECONNRESET:
                return Received::kReset;
            default:
                return Received::kFailed;
        }
    }
}

// The kernel's limit of a receive is as coarse as its ticks: it is kept short of the deadline, and the rest is waited for
// exactly. It stays as it was set for the next wait that is about as long.
bool Socket::LimitReceive(const Deadline& deadline) {
    const int64_t most = deadline.RemainingNs() - kCoarseNs;
    if (receiveLimitNs_ <= most && receiveLimitNs_ > most / 2) {
        return true;
    }
    receiveLimitNs_ = 0;
    if (most < 2 * kCoarseNs) {
        return false;
    }
    const int64_t limit = most - kCoarseNs;
    timeval value{};
    value.tv_sec = static_cast<time_t>(limit / 1000000000);
    value.tv_usec = static_cast<suseconds_t>(limit % 1000000000 / 1000);
    if (setsockopt(Get(), SOL_SOCKET, SO_RCVTIMEO, &value, sizeof(value)) != 0) {
        return false;
    }
    receiveLimitNs_ = limit;
    return true;
}

Socket::Received Socket::Await(uint8_t* at, size_t room, const Deadline& deadline, size_t* count) {
    if (LimitReceive(deadline)) {
        const Received received = Take(at, room, 0, count);
        if (received != Received::kNothing || errno == EINTR) {
            return received;
        }
    }
    return PollFor(Get(), POLLIN, deadline) ? Receive(at, room, count) : Received::kNothing;
}

int Socket::SendNow(Parcel* parcel) const {
    while (parcel->count != 0) {
        msghdr message{};
        message.msg_iov = parcel->parts;
        message.msg_iovlen = parcel->count;
        const ssize_t sent = sendmsg(Get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            parcel->Take(static_cast<size_t>(sent));
        } else if (errno == EAGAIN) {
            return ORVI_BUS_E_WOULD_BLOCK;
        } else if (errno != EINTR) {
            return errno == EPIPE || errno == ECONNRESET ? ORVI_BUS_E_GONE : ORVI_BUS_E_SYSTEM;
        }
    }
    return 0;
}

int Socket::Send(Parcel* parcel, const Deadline& deadline) const {
    for (;;) {
        const int result = SendNow(parcel);
        if (result != ORVI_BUS_E_WOULD_BLOCK) {
            return result;
        }
        if (!PollFor(Get(), POLLOUT, deadline)) {
            return ORVI_BUS_E_TIMEOUT;
        }
    }
}

bool Socket::HasHungUp() const {
    pollfd entry{Get(), POLLRDHUP, 0};
    return poll(&entry, 1, 0) > 0;
}

void Socket::HangUp() {
    if (fd_) {
        shutdown(Get(), SHUT_RDWR);
        fd_.Reset();
    }
}

}  // namespace orvi_bus
