#include "service/process_watch.h"

#include <cerrno>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace orvi_sim {
namespace {

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
    (void)WatchDescriptor(epoll_, stop_);
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
    if (!WatchDescriptor(epoll_, descriptor)) {
        close(descriptor);
        return Added::Unwatchable;
    }
    processes_.emplace(application, descriptor);
    byDescriptor_.emplace(descriptor, application);
    if (!thread_.joinable()) {
        thread_ = std::thread(&ProcessWatch::Run, this);
    }
    return Added::Watched;
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
    for (;;) {
        epoll_event event{};
        if (epoll_wait(epoll_, &event, 1, -1) != 1) {
            continue;  // interrupted
        }
        ApplicationId ended;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (stopped_) {
                return;
            }
            // It may have been removed in the meantime, and its number given to another one.
            const auto found = byDescriptor_.find(event.data.fd);
            pollfd watched = {event.data.fd, POLLIN, 0};
            if (found == byDescriptor_.end() || poll(&watched, 1, 0) != 1) {
                continue;
            }
            ended = found->second;
        }
        Remove(ended);
        onEnd_(ended);
    }
}

}  // namespace orvi_sim
