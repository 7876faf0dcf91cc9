#include "wire/descriptor.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#include "wire/mutex.h"
#include "wire/never_destroyed.h"

namespace orvi_bus {

namespace {

std::atomic<bool> g_forkedChild{false};

// Which descriptor numbers are the bus's. Never destroyed: threads may use the bus while the process exits.
class Registry {
 public:
    static Registry& Get() {
        static NeverDestroyed<Registry> registry;
        return registry.Get();
    }

    template <typename Make>
    int Add(Make make) {
        MutexLock lock(mutex_);
        if (!forkIsKnown_) {
            errno = ENOMEM;
            return -1;
        }
        const int fd = make();
        if (fd >= 0) {
            const size_t index = static_cast<size_t>(fd);
            if (index >= ours_.size() && !Grow(index + 64)) {
                close(fd);
                errno = ENOMEM;
                return -1;
            }
            ours_[index] = true;
        }
        return fd;
    }

    void Close(int fd) {
        MutexLock lock(mutex_);
        ours_[static_cast<size_t>(fd)] = false;
        close(fd);
    }

 private:
    friend class NeverDestroyed<Registry>;
    Registry() : forkIsKnown_(pthread_atfork(&BeforeFork, &AfterForkInParent, &AfterForkInChild) == 0) {}

    bool Grow(size_t size) ORVI_BUS_REQUIRES(mutex_) {
        try {
            ours_.resize(size);
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    static void BeforeFork() ORVI_BUS_TSA(no_thread_safety_analysis) { Get().mutex_.Lock(); }
    static void AfterForkInParent() ORVI_BUS_TSA(no_thread_safety_analysis) { Get().mutex_.Unlock(); }
    static void AfterForkInChild() ORVI_BUS_TSA(no_thread_safety_analysis) {
        Registry& registry = Get();
        for (size_t fd = 0; fd < registry.ours_.size(); ++fd) {
            if (registry.ours_[fd]) {
                close(static_cast<int>(fd));
                registry.ours_[fd] = false;  // the child's own from now on, and its children's
                g_forkedChild.store(true);
            }
        }
        registry.mutex_.Unlock();
    }

    const bool forkIsKnown_;  // else a forked child would keep what its parent has
    Mutex mutex_;
    std::vector<bool> ours_ ORVI_BUS_GUARDED_BY(mutex_);
};

}  // namespace

bool IsShortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS || error == ENOLCK;
}

bool InForkedChild() {
    return g_forkedChild.load(std::memory_order_relaxed);
}

Fd& Fd::operator=(Fd&& other) noexcept {
    if (this != &other) {
        Reset();
        fd_ = other.fd_;
        other.fd_ = -1;
    }
    return *this;
}

void Fd::Reset() {
    if (fd_ >= 0 && !InForkedChild()) {  // the child has closed it, and the number may be another's by now
        const int savedErrno = errno;
        Registry::Get().Close(fd_);
        errno = savedErrno;
    }
    fd_ = -1;
}

Fd Fd::StreamSocket(bool nonBlocking) {
    const int type = SOCK_STREAM | SOCK_CLOEXEC | (nonBlocking ? SOCK_NONBLOCK : 0);
    return Fd(Registry::Get().Add([type] { return socket(AF_UNIX, type, 0); }));
}

Fd Fd::PacketSocket() {
    return Fd(Registry::Get().Add([] { return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }));
}

Fd Fd::Accept(int listener) {
    return Fd(
        Registry::Get().Add([listener] { return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK); }));
}

Fd Fd::Open(const char* path, int flags, mode_t mode) {
    return Fd(Registry::Get().Add([&] {
        int fd = -1;
        do {
            fd = open(path, flags | O_CLOEXEC, mode);
        } while (fd < 0 && errno == EINTR);
        return fd;
    }));
}

Fd Fd::Epoll() {
    return Fd(Registry::Get().Add([] { return epoll_create1(EPOLL_CLOEXEC); }));
}

Fd Fd::Event() {
    return Fd(Registry::Get().Add([] { return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); }));
}

Fd Fd::Inotify() {
    return Fd(Registry::Get().Add([] { return inotify_init1(IN_CLOEXEC | IN_NONBLOCK); }));
}

Fd Fd::Pid(pid_t pid) {  // the kernel sets close-on-exec
    return Fd(Registry::Get().Add([pid] { return static_cast<int>(syscall(SYS_pidfd_open, pid, 0)); }));
}

}  // namespace orvi_bus
