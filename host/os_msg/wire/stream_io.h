// System calls on the bus's stream sockets, with their waits and their errors put in order.
#ifndef ORVI_HOST_OS_MSG_STREAM_IO_H
#define ORVI_HOST_OS_MSG_STREAM_IO_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

#include "wire/deadline.h"
#include "wire/descriptor.h"

namespace orvi_bus {

// False when the path does not fit a socket address.
bool MakeAddress(const std::string& path, sockaddr_un* address, socklen_t* length);

struct PeerIdentity {
    uid_t uid = static_cast<uid_t>(-1);
    pid_t pid = 0;
};

// The process at the other end, from the kernel: who connected, or on the connecting side who listened.
PeerIdentity PeerOf(const Fd& socket);

// 0, ORVI_BUS_E_ABSENT when nobody listens, ORVI_BUS_E_TIMEOUT when the listener has no room for one more connection
// until the deadline, or ORVI_BUS_E_SYSTEM after a log line.
int ConnectStream(const std::string& path, const Deadline& deadline, Fd* socket);

// Sends all of both parts. 0, ORVI_BUS_E_TIMEOUT, ORVI_BUS_E_GONE or ORVI_BUS_E_SYSTEM; `taken` is the
// number of bytes that the kernel has taken in any case. Raises no SIGPIPE.
int SendStream(const Fd& socket, const void* head, size_t headSize, const void* data, size_t dataSize,
               const Deadline& deadline, size_t* taken);

// What is there to read: the number of bytes, 0 at the end or after an error, -1 when nothing is there now.
ssize_t ReceiveSome(const Fd& socket, uint8_t* at, size_t room);

// The other end is closed, or will send no more.
bool HasHungUp(const Fd& socket);

}  // namespace orvi_bus

#endif
