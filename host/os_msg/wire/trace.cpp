#include "wire/trace.h"

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <new>
#include <string>
#include <sys/socket.h>

#include "wire/bus_name.h"
#include "wire/deadline.h"
#include "wire/socket.h"

namespace orvi_bus {

bool g_tracing = false;

namespace {

struct Monitor {
    static Monitor& Get() {
        static Monitor* monitor = new Monitor;  // never destroyed, like all of the bus
        return *monitor;
    }
    std::string own;  // the process's name, encoded
    Fd socket;
    sockaddr_un address{};
    socklen_t length = 0;
    bool reachable = false;
};

std::atomic<uint64_t> g_lost{0};

const char* KindName(FrameKind kind) {
    return kind == FrameKind::kOneWay ? "one-way" : kind == FrameKind::kRequest ? "request" : "reply";
}

}  // namespace

void StartTrace(const std::string& monitorSocket, const char* procName) {
    Monitor& monitor = Monitor::Get();
    monitor.own = EncodeName(procName);
    monitor.socket = Fd::DatagramSocket();
    monitor.reachable = MakeAddress(monitorSocket, &monitor.address, &monitor.length);
    g_tracing = true;
}

// Throws nothing: the message has gone already.
void TraceFrame(const FrameHeader& header, const char* toProc, const char* toTask, int result) try {
    const Monitor& monitor = Monitor::Get();
    char line[320];
    const std::string task = *toTask != '\0' ? EncodeName(toTask) : "-";
    const int size =
        snprintf(line, sizeof(line), "%" PRId64 " %s %s %s/%s id=%#x seq=%u len=%u result=%d lost=%" PRIu64,
                 MonotonicNs(), KindName(header.kind), monitor.own.c_str(), EncodeName(toProc).c_str(), task.c_str(),
                 header.msgId, header.sequence, header.dataLen, result, g_lost.load(std::memory_order_relaxed));
    if (!monitor.reachable || sendto(monitor.socket.Get(), line, static_cast<size_t>(size), MSG_DONTWAIT | MSG_NOSIGNAL,
                                     reinterpret_cast<const sockaddr*>(&monitor.address), monitor.length) != size) {
        g_lost.fetch_add(1, std::memory_order_relaxed);
    }
} catch (const std::bad_alloc&) {
    g_lost.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace orvi_bus
