// orvi-vision-sim: plays the device's vision service, the process AI_VISION, on a workstation's message bus.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iterator>
#include <poll.h>
#include <signal.h>
#include <string>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "directions/control.h"
#include "directions/pushes.h"
#include "directions/vocabulary.h"
#include "features/checkin/attendance.h"
#include "log.h"
#include "room.h"

namespace orvi_sim {
namespace {

constexpr int EXIT_USAGE = 2;

struct Options {
    bool verbose = false;
    bool control = false;
    uint32_t exitAfterMs = 0;
    uint32_t queueSize = 256;
    uint32_t participants = 12;
    uint32_t arrivalMs = 500;
    std::vector<std::string> pushes;
    std::vector<ScheduledPush> scheduled;
};

int ReadOptions(int argc, char** argv, Options& options) {
    CLI::App app("Plays the device's vision service on this workstation's message bus.");
    app.name("orvi-vision-sim");
    app.set_version_flag("--version", "orvi-vision-sim " ORVI_VERSION, "print the version");
    app.add_flag("-v,--verbose", options.verbose, "log every message");
    app.add_flag("-c,--control", options.control, "take commands on standard input, see below");
    app.add_option("-e,--exit-after", options.exitAfterMs, "end after this time")->type_name("MS");
    app.add_option("-q,--queue-size", options.queueSize, "messages that may wait for one client")
        ->type_name("N")
        ->check(CLI::Range(1U, 65536U))
        ->capture_default_str();
    app.add_option("--participants", options.participants, "how many people check in")
        ->type_name("N")
        ->check(CLI::Range(size_t{0}, Attendance::MOST_PARTICIPANTS))
        ->capture_default_str();
    app.add_option("--arrival", options.arrivalMs, "time between two of them; 0: only on command")
        ->type_name("MS")
        ->capture_default_str();
    app.add_option("-p,--push", options.pushes,
                   "send a message to each client, MS milliseconds after it announced itself; may be repeated")
        ->type_name("MESSAGE[:WORD,...][@MS]")
        ->allow_extra_args(false);
    app.footer(
        std::string("It prints \"ready\" once every task can be reached, and ends at SIGTERM, SIGINT or Ctrl-C.\n"
                    "ORVI_BUS_DIR names the bus directory.\n\n"
                    "Commands on standard input (--control); each is answered by one line, ok or error:\n") +
        ExplainAll() + "help NAME explains one of them.\n\n" +
        "Example:\n  orvi-vision-sim --verbose --push checkin.count:7@500 --push face.event");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);  // --help, --version
        }
        std::fprintf(stderr, "orvi-vision-sim: %s\n", error.what());
        return EXIT_USAGE;
    }
    for (const std::string& text : options.pushes) {
        std::string reason;
        const std::optional<ScheduledPush> push = ParseScheduledPush(text, reason);
        if (!push) {
            std::fprintf(stderr, "orvi-vision-sim: --push %s: %s\n", text.c_str(), reason.c_str());
            return EXIT_USAGE;
        }
        options.scheduled.push_back(*push);
    }
    return -1;
}

// Signals arrive through this descriptor, so they are blocked before the first thread starts.
int OpenSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    if (const int result = pthread_sigmask(SIG_BLOCK, &signals, nullptr); result != 0) {
        throw std::system_error(result, std::generic_category(), "pthread_sigmask");
    }
    signal(SIGPIPE, SIG_IGN);
    const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return descriptor;
}

void AwaitEnd(int signals, StopSignal& stop) {
    pollfd watched[] = {{signals, POLLIN, 0}, {stop.Descriptor(), POLLIN, 0}};
    while (!stop.Raised()) {
        if (poll(watched, std::size(watched), -1) > 0 && watched[0].revents != 0) {
            stop.Raise(0);
        }
    }
}

// Sends what the command line asks for to each application that comes.
class Greeter : public ApplicationListener {
 public:
    Greeter(Stage& stage, const std::vector<ScheduledPush>& pushes) : stage_(stage), pushes_(pushes) {}

    void OnCame(const ApplicationId& application) override {
        for (const ScheduledPush& push : pushes_) {
            stage_.After(push.delay,
                         [this, push, application] { (void)stage_.Push(&application.process, push.id, push.payload); });
        }
    }

 private:
    Stage& stage_;
    const std::vector<ScheduledPush>& pushes_;
};

// Each application takes two descriptors and more.
void RaiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        (void)setrlimit(RLIMIT_NOFILE, &limit);
    }
}

int Run(Room& room, const Options& options) {
    SetVerbose(options.verbose);
    RaiseDescriptorLimit();
    const int signals = OpenSignals();
    Greeter greeter(room.stage, options.scheduled);
    std::vector<ApplicationListener*> listeners(room.features.begin(), room.features.end());
    listeners.push_back(&greeter);
    room.stage.SetListeners(std::move(listeners));
    room.stage.GetApplications().GetMail().SetCapacity(options.queueSize);
    room.checkin.SetParticipants(options.participants, std::chrono::milliseconds(options.arrivalMs));
    std::string error;
    if (!room.service.Start(error)) {
        Log("%s", error.c_str());
        room.service.Stop();
        return 1;
    }
    if (!room.roomTask.Start()) {
        Log("the bus refuses the task %s", ROOM_TASK);
        return 1;
    }
    if (options.exitAfterMs != 0) {
        room.stage.After(std::chrono::milliseconds(options.exitAfterMs), [&room] { room.stop.Raise(0); });
    }
    std::printf("ready %s pid %ld\n", SERVICE_NAME, static_cast<long>(getpid()));
    std::fflush(stdout);
    std::thread control;
    if (options.control) {
        control = std::thread([&room] { ServeControl(room.directions, room.stop); });
    }
    AwaitEnd(signals, room.stop);
    room.service.Stop();  // ends what a command waits for
    room.roomTask.Stop();
    if (control.joinable()) {
        control.join();
    }
    Log("ended");
    return room.stop.ExitCode();
}

}  // namespace
}  // namespace orvi_sim

int main(int argc, char** argv) {
    try {
        orvi_sim::Room room;
        orvi_sim::Options options;
        const int result = orvi_sim::ReadOptions(argc, argv, options);
        return result >= 0 ? result : orvi_sim::Run(room, options);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "orvi-vision-sim: %s\n", exception.what());
        return 1;
    }
}
