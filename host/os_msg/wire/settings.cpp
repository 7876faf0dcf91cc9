#include "wire/settings.h"

#include <cerrno>
#include <cstdlib>
#include <sched.h>
#include <unistd.h>

#include "wire/bus_log.h"

namespace orvi_bus {

namespace {

uint32_t NumberFromEnvironment(const char* name, uint32_t least, uint32_t most, uint32_t fallback) {
    const char* text = getenv(name);
    if (text == nullptr || *text == '\0') {
        return fallback;
    }
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = strtoull(text, &end, 10);
    if (*text < '0' || *text > '9' || *end != '\0' || errno != 0 || value < least || value > most) {
        Log(kLogError, "%s='%.40s' is no number from %u to %u; taking %u", name, text, least, most, fallback);
        return fallback;
    }
    return static_cast<uint32_t>(value);
}

bool HasOneProcessor() {
    cpu_set_t processors;
    return sched_getaffinity(0, sizeof(processors), &processors) == 0 && CPU_COUNT(&processors) == 1;
}

Settings Read() {
    SetStderrLimit(NumberFromEnvironment("ORVI_BUS_LOG", kLogNothing, kLogInfo, kLogError));
    constexpr uint32_t kDayMs = 24U * 60 * 60 * 1000;
    Settings settings{};
    settings.defaultWaitMs = NumberFromEnvironment("ORVI_BUS_DEFAULT_WAIT_MS", 1, kDayMs, 25000);
    settings.sendWaitMs = NumberFromEnvironment("ORVI_BUS_SEND_WAIT_MS", 1, kDayMs, 1000);
    settings.frameWaitMs = NumberFromEnvironment("ORVI_BUS_FRAME_WAIT_MS", 1, kDayMs, 5000);
    settings.slowMs = NumberFromEnvironment("ORVI_BUS_SLOW_MS", 0, kDayMs, 1000);
    settings.yieldUs = NumberFromEnvironment("ORVI_BUS_YIELD_US", 0, 1000, 20);
    if (sysconf(_SC_NPROCESSORS_ONLN) == 1) {
        settings.yieldUs = 0;  // whoever is expected runs as soon as this process sleeps, and no sooner
    }
    settings.pinned = HasOneProcessor();
    settings.trace =
        static_cast<Trace>(NumberFromEnvironment("ORVI_BUS_TRACE", 0, 1, static_cast<uint32_t>(Trace::kWhenWatched)));
    return settings;
}

}  // namespace

const Settings& GetSettings() {
    static const Settings settings = Read();
    return settings;
}

}  // namespace orvi_bus
