// orvi-vision-sim: plays the device's vision service, the process AI_VISION, on a workstation's message bus.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iterator>
#include <optional>
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
#include "directions/words.h"
#include "log.h"
#include "options.h"
#include "room.h"
#include "scenario/player.h"
#include "standard_streams.h"
#include "view/view.h"

namespace orvi_sim {
namespace {

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

// The time of day at which every scenario begins: 5 January 2026, 9:00. It can be told otherwise with `time`.
constexpr uint32_t START_OF_SCENARIO = 1767603600;

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
    room.service.Seed(options.seed);
    if (!options.playLog.empty() && !room.stage.GetPlayLog().Open(options.playLog, Player::GoesOn())) {
        Log("cannot write %s: %s", options.playLog.c_str(), std::strerror(errno));
        return 1;
    }
    std::string error;
    std::optional<View> view;
    if (options.viewPort) {
        view.emplace(room.stage, room.directions, room.features, room.checkin);
        if (!view->Start(*options.viewPort, error)) {
            Log("%s", error.c_str());
            return 1;
        }
        Log("the room is shown at %s", view->Address().c_str());
        room.serviceDirections.SetViewAddress(view->Address());
    }
    Player player(room.stage, room.directions, options.scenario, room.stop, options.exitAtEnd);
    if (!options.scenarioFile.empty()) {
        room.stage.SetTimeAtStart(START_OF_SCENARIO);
        room.service.SetListener(&player);
        player.Prepare();
    }
    if (!room.service.Start(error)) {
        Log("%s", error.c_str());
        room.service.Stop();
        return 1;
    }
    if (!room.roomTask.Start()) {
        Log("the bus refuses the task %s", ROOM_TASK);
        room.service.Stop();
        return 1;
    }
    if (options.exitAfterMs != 0) {
        room.stage.After(std::chrono::milliseconds(options.exitAfterMs), [&room] { room.stop.Raise(0); });
    }
    std::printf("ready %s pid %ld\n", orvi_protocol::SERVICE_PROCESS, static_cast<long>(getpid()));
    std::fflush(stdout);
    if (!options.scenarioFile.empty()) {
        player.Start();
    }
    if (options.speed == "max") {
        room.stage.GetTimer().SetJumping();
    } else {
        room.stage.GetTimer().SetScale(*ParsePace(options.speed));
    }
    std::thread control;
    if (options.control) {
        control = std::thread([&room] { ServeControl(room.directions, room.stop); });
    }
    AwaitEnd(signals, room.stop);
    room.service.Stop();  // ends what a command waits for
    room.roomTask.Stop();
    if (view) {
        view->Stop();
    }
    if (control.joinable()) {
        control.join();
    }
    Log("ended");
    // Whoever asked for a log is told that it is not all.
    const bool hasFailed = player.RefusedCount() != 0 || room.stage.GetPlayLog().IsBroken();
    return hasFailed ? std::max(room.stop.ExitCode(), 1) : room.stop.ExitCode();
}

}  // namespace
}  // namespace orvi_sim

int main(int argc, char** argv) {
    orvi_tools::FillStandardStreams();
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
