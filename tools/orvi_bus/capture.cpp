// orvi-bus capture: keeps the traffic in a file. orvi-bus print: shows such a file.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "capture_file.h"
#include "commands.h"
#include "value.h"

namespace orvi_bus_tool {
namespace {

// A shell's command that runs while the traffic is kept, with the signals of who started this program.
class Program {
 public:
    // 0, or why it does not run.
    int Start(const std::string& command) {
        const char* const arguments[] = {"sh", "-c", command.c_str(), nullptr};
        (void)setenv("ORVI_BUS_TRACE", "1", 1);  // so that its first message is told
        (void)std::signal(SIGCHLD, SIG_DFL);     // a caller that ignores it would have its exit code thrown away
        posix_spawnattr_t attributes;
        sigset_t none;
        sigset_t pipe;
        sigemptyset(&none);
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        (void)posix_spawnattr_init(&attributes);
        (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        (void)posix_spawnattr_setsigmask(&attributes, &none);
        (void)posix_spawnattr_setsigdefault(&attributes, &pipe);
        const int error =
            posix_spawn(&pid_, "/bin/sh", nullptr, &attributes, const_cast<char* const*>(arguments), environ);
        (void)posix_spawnattr_destroy(&attributes);
        return error;
    }

    bool Runs() {
        hasEnded_ = hasEnded_ || waitpid(pid_, &status_, WNOHANG) != 0;
        return !hasEnded_;
    }

    // As a shell tells it.
    int Code() const { return WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_); }

 private:
    pid_t pid_ = -1;
    int status_ = 0;
    bool hasEnded_ = false;
};

}  // namespace

int Capture(const CaptureOptions& options) {
    const EndSignal end;
    CaptureWriter writer;
    std::string why;
    uint64_t kept = 0;
    bool isOpen = false;
    bool hasFailed = false;
    uint32_t lostBefore = 0;  // that records told which are not kept
    const auto take = [&](TrafficRecord record) {
        record.lost += lostBefore;
        lostBefore = record.lost;
        if (!options.filter.WantsRecord(record) || hasFailed ||
            (options.limits.count != 0 && kept >= options.limits.count)) {
            return !hasFailed;
        }
        lostBefore = 0;
        const bool isMasked = options.payloads && !options.reveal;
        if (!options.payloads) {
            record.payload.reset();
        } else if (isMasked && record.payload) {
            orvi_protocol::MaskPrivate(LayoutOf(record), record.payload->data(), record.payload->size());
        }
        hasFailed = !writer.Write(record, isMasked, why);
        ++kept;
        return !hasFailed && (options.limits.count == 0 || kept < options.limits.count);
    };
    Program program;
    bool isStarted = false;
    int error = 0;
    // Not before it listens: without a bus an old file stays.
    const auto tick = [&] {
        if (!isOpen && !hasFailed) {
            isOpen = writer.Open(options.file, why);
            hasFailed = !isOpen;
        }
        if (hasFailed || options.command.empty()) {
            return !hasFailed;
        }
        if (!isStarted) {
            isStarted = true;
            error = program.Start(options.command);
        }
        return error == 0 && program.Runs();
    };
    uint64_t lost = 0;
    const int result = Watch(options.limits, options.payloads, end, take, tick, lost);
    if (error != 0) {
        return Fail("/bin/sh: " + std::string(+std::strerror(error)));
    }
    if (hasFailed) {
        return Fail(isOpen ? why + "; what was kept before is whole" : why);
    }
    if (result == DONE) {
        std::fprintf(stderr, "orvi-bus: %llu records in %s, %llu lost\n", static_cast<unsigned long long>(kept),
                     options.file.c_str(), static_cast<unsigned long long>(lost));
    }
    const bool runs = isStarted && program.Runs();
    if (runs) {
        std::fprintf(stderr, "orvi-bus: %s still runs\n", options.command.c_str());
    }
    if (result == DONE && isStarted && !runs && program.Code() != 0) {
        return Fail(options.command + " ended with " + std::to_string(program.Code()));
    }
    return result;
}

// The file may be a pipe that nobody writes to: the signals keep their effect.
int Print(const PrintOptions& options) {
    (void)std::signal(SIGPIPE, SIG_IGN);
    CaptureReader reader;
    std::string why;
    if (!reader.Open(options.file, why)) {
        return BadFile(why);
    }
    int64_t start = -1;
    bool goesOn = true;
    int error = 0;
    Exchanges exchanges([&](const Exchange& exchange) {
        if (goesOn && options.filter.Wants(exchange)) {
            start = start < 0 ? exchange.message.timeNs : start;
            goesOn = std::puts(LineOf(exchange, options.display, start).c_str()) >= 0 && std::fflush(stdout) == 0;
            error = goesOn ? 0 : errno;
        }
    });
    TrafficRecord record;
    while (goesOn && reader.Read(record, why)) {
        exchanges.Advance(record.timeNs);
        exchanges.Add(std::move(record));
    }
    exchanges.Finish();
    return why.empty() ? Written(DONE, error) : BadFile(why);
}

}  // namespace orvi_bus_tool
