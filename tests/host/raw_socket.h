// A stream socket of a test that talks to the bus without its library.
#ifndef ORVI_TESTS_HOST_RAW_SOCKET_H
#define ORVI_TESTS_HOST_RAW_SOCKET_H

#include <chrono>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "child_process.h"
#include "frames.h"

class Socket {
 public:
    explicit Socket(int fd) : fd_(fd) {}
    explicit Socket(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = Address(path);
        EXPECT_EQ(connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0) << path;
    }
    Socket(Socket&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    Socket& operator=(Socket&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Socket() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    static sockaddr_un Address(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        return address;
    }

    void Send(const Bytes& bytes) const {
        EXPECT_EQ(send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    // As much as the kernel takes now.
    size_t SendSome(const uint8_t* bytes, size_t size) const {
        const ssize_t sent = send(fd_, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        return sent > 0 ? static_cast<size_t>(sent) : 0;
    }
    // True when the other end closes the connection; what it has sent is not read.
    bool IsEnded() const {
        pollfd entry{fd_, POLLRDHUP, 0};
        return poll(&entry, 1, static_cast<int>(std::chrono::milliseconds(orvi_test::PATIENCE).count())) == 1;
    }
    bool ReadExactly(size_t size, Bytes* bytes) const {
        bytes->resize(size);
        return recv(fd_, bytes->data(), size, MSG_WAITALL) == static_cast<ssize_t>(size);
    }
    int Get() const { return fd_; }

 private:
    int fd_;
};

// Lets this process have `count` descriptors and some more. False when it may not.
inline bool AllowDescriptors(size_t count) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, count + 100);
    limit.rlim_max = std::max(limit.rlim_max, limit.rlim_cur);
    return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

#endif
