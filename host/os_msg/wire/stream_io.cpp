#include "wire/stream_io.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include "orvi_host_bus.h"
#include "wire/bus_log.h"

namespace orvi_bus {

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

PeerIdentity PeerOf(const Fd& socket) {
    ucred credentials{};
    socklen_t size = sizeof(credentials);
    if (getsockopt(socket.Get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return {};
    }
    return {credentials.uid, credentials.pid};
}

int ConnectStream(const std::string& path, const Deadline& deadline, Fd* socket) {
    sockaddr_un address{};
    socklen_t length = 0;
    if (!MakeAddress(path, &address, &length)) {
        Log(kLogError, "%s is too long for a socket's address", path.c_str());
        return ORVI_BUS_E_ARGUMENT;
    }
    *socket = Fd::StreamSocket(false);
    if (!*socket) {
        Log(kLogError, "no socket: %s", strerror(errno));
        return ORVI_BUS_E_SYSTEM;
    }
    for (;;) {
        // A connect to a full backlog waits in the kernel; poll() cannot wait for that.
        const timeval wait = deadline.RemainingTimeval();
        setsockopt(socket->Get(), SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof(wait));
        if (connect(socket->Get(), reinterpret_cast<const sockaddr*>(&address), length) == 0) {
            return 0;
        }
        switch (errno) {
            case EINTR:
                break;
            case EAGAIN:
                return ORVI_BUS_E_TIMEOUT;
            case ENOENT:
            case ECONNREFUSED:
                return ORVI_BUS_E_ABSENT;
            default:
                Log(kLogError, "cannot connect to %s: %s", path.c_str(), strerror(errno));
                return ORVI_BUS_E_SYSTEM;
        }
        if (deadline.Expired()) {
            return ORVI_BUS_E_TIMEOUT;
        }
    }
}

int SendStream(const Fd& socket, const void* head, size_t headSize, const void* data, size_t dataSize,
               const Deadline& deadline, size_t* taken) {
    *taken = 0;
    while (*taken < headSize + dataSize) {
        iovec parts[2];
        size_t count = 0;
        if (*taken < headSize) {
            parts[count++] = {const_cast<uint8_t*>(static_cast<const uint8_t*>(head)) + *taken, headSize - *taken};
        }
        const size_t dataTaken = *taken > headSize ? *taken - headSize : 0;
        if (dataTaken < dataSize) {
            parts[count++] = {const_cast<uint8_t*>(static_cast<const uint8_t*>(data)) + dataTaken,
                              dataSize - dataTaken};
        }
        msghdr message{};
        message.msg_iov = parts;
        message.msg_iovlen = count;
        const ssize_t sent = sendmsg(socket.Get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            *taken += static_cast<size_t>(sent);
        } else if (sent < 0 && errno == EAGAIN) {
            if (!PollFor(socket.Get(), POLLOUT, deadline)) {
                return ORVI_BUS_E_TIMEOUT;
            }
        } else if (sent < 0 && errno != EINTR) {
            return errno == EPIPE || errno == ECONNRESET ? ORVI_BUS_E_GONE : ORVI_BUS_E_SYSTEM;
        }
    }
    return 0;
}

ssize_t ReceiveSome(const Fd& socket, uint8_t* at, size_t room) {
    for (;;) {
        const ssize_t count = recv(socket.Get(), at, room, MSG_DONTWAIT);
        if (count >= 0) {
            return count;
        }
        if (errno == EAGAIN) {
            return -1;
        }
        if (errno != EINTR) {
            return 0;
        }
    }
}

bool HasHungUp(const Fd& socket) {
    pollfd entry{socket.Get(), POLLRDHUP, 0};
    return poll(&entry, 1, 0) > 0;
}

}  // namespace orvi_bus
