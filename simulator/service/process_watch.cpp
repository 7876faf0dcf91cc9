#include "service/process_watch.h"

#include <cerrno>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "log.h"

namespace orvi_sim {
namespace {

constexpr int PAUSE_MS = 100;  // until there may be memory again

int Checked(int descriptor, const char* what) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return descriptor;
}

bool WatchDescriptor(int epoll, int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    return epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

}  // namespace

ProcessWatch::ProcessWatch(OnEnd onEnd)
    : onEnd_(std::move(onEnd)),
      epoll_(Checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      stop_(Checked(eventfd(0, EFD_CLOEXEC), "eventfd")) {
    if (!WatchDescriptor(epoll_, stop_)) {
        throw std::system_error(errno, std::generic_category(), "epoll_ctl");  // Stop would not be heard
    }
}

ProcessWatch::~ProcessWatch() {
    Stop();
    for (const auto& [application, descriptor] : processes_) {
        close(descriptor);
    }
    close(stop_);
    close(epoll_);
}

ProcessWatch::Added ProcessWatch::Add(const ApplicationId& application, uint32_t pid) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_ || pid == 0) {  // 0: a process that is not to be seen from here
        return Added::Unwatchable;
    }
    const auto descriptor = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));  // close-on-exec by itself
    if (descriptor < 0) {
        return errno == ESRCH ? Added::Ended : Added::Unwatchable;
    }
    try {
        if (!thread_.joinable()) {
            thread_ = std::thread(&ProcessWatch::Run, this);
        }
        processes_.emplace(application, descriptor);
        byDescriptor_.emplace(descriptor, application);
        if (WatchDescriptor(epoll_, descriptor)) {
            return Added::Watched;
        }
    } catch (const std::exception&) {  // no memory, or no thread: as where the kernel cannot tell
    }
    processes_.erase(application);
    byDescriptor_.erase(descriptor);
    close(descriptor);
    return Added::Unwatchable;
}

void ProcessWatch::Remove(const ApplicationId& application) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (const auto found = processes_.find(application); found != processes_.end()) {
        byDescriptor_.erase(found->second);
        close(found->second);  // epoll forgets it with that
        processes_.erase(found);
    }
}

void ProcessWatch::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
    }
    (void)eventfd_write(stop_, 1);
    if (thread_.joinable()) {  // no thread is started once stopped_ is set
        thread_.join();
    }
}

void ProcessWatch::Run() {
    for (bool more = true; more;) {
        epoll_event event{};
        if (epoll_wait(epoll_, &event, 1, -1) != 1) {
            continue;  // interrupted
        }
        try {
            more = Tell(event.data.fd);
        } catch (const std::exception& exception) {
            Log("the end of a process is told once more: %s", exception.what());
            pollfd end = {stop_, POLLIN, 0};
            (void)poll(&end, 1, PAUSE_MS);
        }
    }
}

// False at the watch's own end. What is not told for want of memory the kernel tells again.
bool ProcessWatch::Tell(int descriptor) {
    ApplicationId ended;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_) {
            return false;
        }
        // It may have been removed in the meantime, and its number given to another one.
        const auto found = byDescriptor_.find(descriptor);
        pollfd watched = {descriptor, POLLIN, 0};
        if (found == byDescriptor_.end() || poll(&watched, 1, 0) != 1) {
            return true;
        }
        ended = found->second;
    }
    onEnd_(ended);
    Remove(ended);
    return true;
}

}  // namespace orvi_sim
