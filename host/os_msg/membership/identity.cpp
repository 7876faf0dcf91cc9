#include "membership/identity.h"

#include <cerrno>
#include <cstring>

#include "orvi_host_bus.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/settings.h"
#include "wire/trace.h"

namespace orvi_bus {

int Identity::Join(const char* name) {
    (void)GetSettings();
    MutexLock lock(mutex_);
    if (Joined()) {
        Log(kLogError, "cannot join as '%s': this process has joined as '%s'", name, name_);
        return ORVI_BUS_E_STATE;
    }
    std::string why;
    if (!FindDirectory(&directory_, &why)) {
        Log(kLogError, "cannot join as '%s': %s", name, why.c_str());
        return ORVI_BUS_E_DIRECTORY;
    }
    const int result = presence_.Acquire(directory_, name);
    if (result != 0) {
        return result;
    }
    SetName(name_, name);
    number_ = presence_.Incarnation();
    if (GetSettings().trace) {
        StartTrace(MonitorPath(directory_), name_);
    }
    joined_.store(true, std::memory_order_release);
    Log(kLogInfo, "joined as '%s' in %s", name, directory_.path.c_str());
    return 0;
}

int Identity::MarkStarted() {
    if (Started()) {
        return 0;
    }
    MutexLock lock(mutex_);
    if (!Started()) {
        if (!presence_.MarkStarted()) {
            Log(kLogError, "cannot tell the bus that '%s' has started: %s", name_, strerror(errno));
            return ORVI_BUS_E_SYSTEM;
        }
        started_.store(true, std::memory_order_release);
    }
    return 0;
}

}  // namespace orvi_bus
