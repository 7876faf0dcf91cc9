#include "stop_signal.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace orvi_sim {

StopSignal::StopSignal() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

StopSignal::~StopSignal() {
    close(descriptor_);
}

void StopSignal::Raise(int exitCode) {
    int none = -1;
    if (exitCode_.compare_exchange_strong(none, exitCode)) {
        // Cannot fail: the counter goes from 0 to 1 once.
        (void)eventfd_write(descriptor_, 1);
    }
}

}  // namespace orvi_sim
