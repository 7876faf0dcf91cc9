// orvi-bus-monitor: prints what processes with ORVI_BUS_TRACE=1 send over the bus, a line a message.
//
// It owns the socket to which they tell their messages (host/os_msg/wire/trace.h). They never wait for it: what comes faster
// than it prints is counted as lost by its sender, whose next line tells.
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "membership/directory.h"
#include "wire/socket.h"

namespace {

constexpr char kUsage[] =
    "usage: orvi-bus-monitor [--help | --version]\n"
    "Prints what the processes on the bus send, a line a message, until it is interrupted:\n"
    "  SECONDS KIND FROM TO/TASK id=ID seq=NUMBER len=BYTES result=CODE lost=COUNT\n"
    "Processes tell their messages when they run with ORVI_BUS_TRACE=1, without the payloads. `lost` counts those of\n"
    "a process that nobody printed. The bus is the one that ORVI_BUS_DIR names, or the user's own.\n";

constexpr int kMostAtOnce = 1000;  // lines between two looks for a signal

int Fail(const std::string& what) {
    std::fprintf(stderr, "orvi-bus-monitor: %s\n", what.c_str());
    return 1;
}

// Takes the place that a monitor left which was killed; one that lives keeps its own.
bool Bind(const orvi_bus::Directory& directory, const std::string& path, const orvi_bus::Fd& socket, std::string* why) {
    sockaddr_un address{};
    socklen_t length = 0;
    if (!orvi_bus::MakeAddress(path, &address, &length)) {
        *why = path + " is too long for a socket's address";
        return false;
    }
    const auto* const name = reinterpret_cast<const sockaddr*>(&address);
    if (connect(socket.Get(), name, length) == 0) {
        *why = "another monitor prints what is told to " + path;
        return false;
    }
    if (errno == ECONNREFUSED) {
        (void)unlink(path.c_str());
    }
    if (bind(socket.Get(), name, length) != 0 || !orvi_bus::AdoptSocket(directory, path)) {
        *why = path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

// A told line with its clock in seconds since the first one. Anybody in the directory's group may send: what is no text
// does not reach the terminal.
void Print(char* line) {
    for (char* at = line; *at != '\0'; ++at) {
        *at = *at >= ' ' && *at <= '~' ? *at : '?';
    }
    static int64_t first = -1;
    char* rest = nullptr;
    const int64_t now = std::strtoll(line, &rest, 10);
    if (rest == line || *rest != ' ') {
        return;  // nothing of the bus
    }
    first = first < 0 ? now : first;
    // Processes tell at the same time, so a line may be a little older than the first.
    const int64_t micros = std::max<int64_t>(now - first, 0) / 1000;
    std::printf("%5" PRId64 ".%06" PRId64 "%s\n", micros / 1000000, micros % 1000000, rest);
}

// Prints until a signal asks for the end, or its output is closed.
int Watch(const orvi_bus::Fd& socket, int signals) {
    for (;;) {
        pollfd entries[] = {{socket.Get(), POLLIN, 0}, {signals, POLLIN, 0}};
        if (poll(entries, 2, -1) < 0 && errno != EINTR) {
            return Fail(std::strerror(errno));
        }
        for (int i = 0; i < kMostAtOnce; ++i) {
            char line[512];
            const ssize_t size = recv(socket.Get(), line, sizeof(line) - 1, MSG_DONTWAIT);
            if (size < 0) {
                break;
            }
            line[size] = '\0';
            Print(line);
        }
        if (std::fflush(stdout) != 0) {
            return Fail(std::string("cannot print: ") + std::strerror(errno));
        }
        if (entries[1].revents != 0) {
            return 0;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::puts("orvi-bus-monitor " ORVI_VERSION);
        return 0;
    }
    if (argc > 1) {
        const bool help = std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0;
        std::fputs(kUsage, help ? stdout : stderr);
        return help ? 0 : 2;
    }
    orvi_bus::Directory directory;
    std::string why;
    if (!orvi_bus::FindDirectory(&directory, &why)) {
        return Fail(why);
    }
    (void)std::signal(SIGPIPE, SIG_IGN);
    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&ends, signal);
    }
    (void)sigprocmask(SIG_BLOCK, &ends, nullptr);
    const int signals = signalfd(-1, &ends, SFD_CLOEXEC);
    const orvi_bus::Fd socket = orvi_bus::Fd::DatagramSocket();
    if (signals < 0 || !socket) {
        return Fail(std::strerror(errno));
    }
    const std::string path = MonitorPath(directory);
    if (!Bind(directory, path, socket, &why)) {
        return Fail(why);
    }
    std::fprintf(stderr, "orvi-bus-monitor: listening at %s\n", path.c_str());
    const int result = Watch(socket, signals);
    (void)unlink(path.c_str());
    return result;
}
