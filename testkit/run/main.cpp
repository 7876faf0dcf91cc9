// orvi-test-run: runs one command of a test beside a simulated vision service on a bus of their own.
//
// The work is done by the keeper, a process that is no descendant of this one: whoever ends a test and all of its
// descendants leaves the keeper alive, which sees the end of the socket between them and clears up.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "directions/words.h"
#include "duration.h"
#include "family.h"
#include "keeper.h"
#include "scratch.h"
#include "standard_streams.h"

namespace orvi_test_run {
namespace {

constexpr char FOOTER[] =
    "Options that are not listed here go to orvi-vision-sim, whose --help explains them:\n"
    "  orvi-test-run --scenario tea.jsonl --speed 60 -- ./my-application-test\n\n"
    "COMMAND starts once the service is ready, with ORVI_BUS_DIR set to a directory of its own. When COMMAND and the\n"
    "service succeed nothing is printed; else both logs are. With --exit-at-end the run ends when COMMAND has ended "
    "and\n"
    "the scenario has been played. Whatever COMMAND leaves behind is ended.\n\n"
    "Exit code: COMMAND's, or 128 + the signal that ended it; 1 = COMMAND succeeded, but a direction of the scenario\n"
    "was answered no; 2 = usage; 123 = the service ended while COMMAND ran; 124 = the time was over; 125 = there was "
    "no\n"
    "service, COMMAND has not run; 126, 127 = COMMAND cannot be run, is not there.";

class HelpText : public CLI::Formatter {
 public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: orvi-test-run [OPTIONS] [OPTIONS OF orvi-vision-sim] -- COMMAND [ARGUMENT...]\n";
    }
};

constexpr int HURRY_MS = 2000;  // that the keeper has for a second signal
constexpr int ENDING_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

int Complain(const std::string& text) {
    std::fprintf(stderr, "orvi-test-run: %s\n", text.c_str());
    return USAGE;
}

// -1 when the order is complete, else the exit code.
int ReadOrder(int argc, char** argv, Order& order) {
    int own = 1;
    while (own < argc && std::strcmp(argv[own], "--") != 0) {
        ++own;
    }
    std::string timeout = "60s";
    CLI::App app("Runs COMMAND beside a simulated vision service on a message bus of their own.");
    app.name("orvi-test-run");
    app.formatter(std::make_shared<HelpText>());
    app.set_version_flag("--version", "orvi-test-run " ORVI_VERSION, "print the version");
    app.add_option("--timeout", timeout, "how long it may take, as 500ms, 30s or 2m; 0s: as long as it takes")
        ->type_name("TIME")
        ->capture_default_str();
    app.add_flag("--service-may-end", order.mayEnd, "the service may crash or end while COMMAND runs");
    app.add_flag("--show", order.showsOutput, "do not keep COMMAND's output back");
    app.footer(FOOTER);
    app.allow_extras();
    try {
        app.parse(own, argv);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app.exit(error) : Complain(error.what());
    }
    const std::vector<std::string> others = app.remaining();
    for (const std::string& word : others) {
        if (word == "--check" || word == "--control" || word == "-c") {
            return Complain(word + " has no use here: the service runs without a terminal beside COMMAND");
        }
    }
    const auto limit = orvi_protocol::ParseMilliseconds(timeout);
    if (!limit) {
        return Complain("--timeout: '" + timeout + "' is no time up to a day, as 500ms, 30s or 2m");
    }
    if (own + 1 >= argc) {
        return Complain("a command is missing, behind --; see orvi-test-run --help");
    }
    order.timeout = *limit;
    order.command.assign(argv + own + 1, argv + argc);
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    order.programs = self.parent_path().string();
    order.service = {order.programs + "/orvi-vision-sim"};
    order.service.insert(order.service.end(), others.begin(), others.end());
    return -1;
}

// Makes the keeper a child of nobody here. The session of the keeper and all whom it starts; -1 when there is no process.
pid_t StartKeeper(const Order& order, Scratch& scratch, int ours, int keepers) {
    const pid_t between = fork();
    if (between == 0) {
        setsid();
        const pid_t keeper = fork();
        if (keeper == 0) {
            close(ours);
            signal(SIGPIPE, SIG_IGN);
            Keep(order, scratch, keepers);
            _exit(0);
        }
        _exit(keeper > 0 ? 0 : 1);
    }
    int status = -1;
    while (between > 0 && waitpid(between, &status, 0) < 0 && errno == EINTR) {
    }
    return between > 0 && status == 0 ? between : -1;
}

// Ends as the signal would have ended it, so that a shell stops as well.
[[noreturn]] void EndBy(int ending) {
    signal(ending, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, ending);
    raise(ending);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    _exit(128 + ending);
}

int Main(int argc, char** argv) {
    Order order;
    if (const int code = ReadOrder(argc, argv, order); code >= 0) {
        return code;
    }
    Scratch scratch;  // the keeper removes it before it tells its result
    signal(SIGCHLD, SIG_DFL);
    // The keeper takes the mask along: its children's ends arrive by descriptor.
    sigset_t signals;
    sigemptyset(&signals);
    for (const int ending : ENDING_SIGNALS) {
        sigaddset(&signals, ending);
    }
    sigset_t all = signals;
    sigaddset(&all, SIGCHLD);
    sigprocmask(SIG_BLOCK, &all, nullptr);
    int link[2];
    pid_t session = -1;
    const int endings = signalfd(-1, &signals, SFD_CLOEXEC);
    if (endings < 0 || socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, link) != 0 ||
        (session = StartKeeper(order, scratch, link[0], link[1])) < 0) {
        std::fprintf(stderr, "orvi-test-run: cannot start: %s\n", std::strerror(errno));
        return NOT_STARTED;
    }
    close(link[1]);
    int ending = 0;
    bool isHurried = false;
    for (;;) {
        pollfd watched[] = {{link[0], POLLIN, 0}, {endings, POLLIN, 0}};
        const int count = poll(watched, 2, isHurried ? HURRY_MS : -1);
        if (count < 0) {
            continue;
        }
        if (count == 0) {
            KillSession(session);  // a keeper that is stopped, or waits for the kernel
            break;
        }
        if (watched[0].revents != 0) {
            break;
        }
        signalfd_siginfo info{};
        if (read(endings, &info, sizeof(info)) == sizeof(info)) {
            // A second one is in a hurry.
            const int told = ending == 0 ? static_cast<int>(info.ssi_signo) : SIGKILL;
            isHurried = ending != 0;
            ending = ending == 0 ? told : ending;
            (void)send(link[0], &told, sizeof(told), MSG_NOSIGNAL);
        }
    }
    Result result{};
    ssize_t size = 0;
    do {  // a signal that it did not read any more resets the connection first, once
        size = recv(link[0], &result, sizeof(result), 0);
    } while (size < 0 && (errno == ECONNRESET || errno == EINTR));
    if (size != sizeof(result)) {
        KillSession(session);
        std::fprintf(stderr, "orvi-test-run: its keeper was killed, and the service and the command with it\n");
        return NOT_STARTED;
    }
    scratch.Forget();
    char none;
    (void)recv(link[0], &none, sizeof(none), 0);  // its end: nobody is to find it once this process has ended
    if (ending != 0 && result.code >= 128) {
        EndBy(ending);
    }
    return result.code;
}

}  // namespace
}  // namespace orvi_test_run

int main(int argc, char** argv) {
    orvi_tools::FillStandardStreams();
    try {
        return orvi_test_run::Main(argc, argv);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "orvi-test-run: %s\n", exception.what());
        return orvi_test_run::NOT_STARTED;
    }
}
