#include "keeper.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <iterator>
#include <optional>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "family.h"

namespace orvi_test_run {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds GRACE{5};           // for a command that is told to end
constexpr std::chrono::seconds SERVICE_GRACE{10};  // for the service, whose answer counts
constexpr char READY[] = "ready AI_VISION ";

std::string EndText(int status) {
    if (WIFSIGNALED(status)) {
        return std::string("was ended by signal ") + std::to_string(WTERMSIG(status)) + " (" +
               strsignal(WTERMSIG(status)) + ")";
    }
    return "ended with exit code " + std::to_string(WEXITSTATUS(status));
}

int CodeOf(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

class Run {
 public:
    Run(const Order& order, const Scratch& scratch, int link) : order_(order), scratch_(scratch), link_(link) {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGCHLD);
        childSignals_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
        if (childSignals_ < 0) {
            throw std::system_error(errno, std::generic_category(), "signalfd");
        }
    }

    int Perform() {
        if (order_.timeout.count() != 0) {
            deadline_ = Clock::now() + order_.timeout;
        }
        StartService();
        Await([this] { return isReady_ || serviceStatus_; });
        if (!isReady_) {
            const bool hasEnded = serviceStatus_.has_value();
            EndAll();
            if (interruption_ != 0) {
                return Fail(128 + interruption_, InterruptionText());
            }
            if (isLate_ && !hasEnded) {
                return Fail(TIMED_OUT, "the service was not ready, and so the command not done within " + Limit());
            }
            return Fail(NOT_STARTED, "the service did not start: it " + EndText(*serviceStatus_));
        }
        StartCommand();
        Await([this] { return commandStatus_ || (serviceStatus_ && !MayServiceEnd()); });
        const bool hasEnded = commandStatus_.has_value();
        if (!hasEnded) {
            EndCommand();
        }
        const bool serviceFailed = serviceStatus_ && !MayServiceEnd();
        EndAll();
        if (interruption_ != 0 && !hasEnded) {
            return Fail(128 + interruption_, InterruptionText());
        }
        if (isLate_ && !hasEnded) {
            return Fail(TIMED_OUT, "the command was not done within " + Limit());
        }
        if (serviceFailed) {
            return Fail(SERVICE_ENDED, "the service " + EndText(*serviceStatus_) + " while the command ran");
        }
        if (const int code = CodeOf(*commandStatus_); code != 0) {
            return Fail(code, "the command " + EndText(*commandStatus_));
        }
        return JudgeService();
    }

    // All that the logs have, once the run has failed.
    std::string Told() const { return told_; }

 private:
    // The service's own end, with exit code 0 after a scenario, is no failure.
    bool MayServiceEnd() const {
        return order_.mayEnd || (serviceStatus_ && WIFEXITED(*serviceStatus_) && EndsByItself());
    }

    bool EndsByItself() const {
        const auto& words = order_.service;
        return std::find(words.begin(), words.end(), "--exit-at-end") != words.end();
    }

    // Nothing when nobody is there to read it, or who is there does not wait for it.
    std::string InterruptionText() const {
        return interruption_ == SIGKILL ? "" : std::string("interrupted: ") + strsignal(interruption_);
    }

    std::string Limit() const { return std::to_string(order_.timeout.count()) + " ms"; }

    int JudgeService() {
        if (serviceStatus_ && (*serviceStatus_ == 0 || (order_.mayEnd && WIFSIGNALED(*serviceStatus_)))) {
            return 0;
        }
        if (!serviceStatus_) {
            return Fail(TIMED_OUT, "the service did not end in time");
        }
        return WIFEXITED(*serviceStatus_)
                   ? Fail(SCENARIO_FAILED, "the command succeeded, but the service " + EndText(*serviceStatus_) +
                                               ": a direction of its scenario was answered no")
                   : Fail(SERVICE_ENDED, "the service " + EndText(*serviceStatus_));
    }

    void StartService() {
        const int log = scratch_.Create("service.log");
        int output[2];
        if (pipe2(output, O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        serviceOutput_ = output[0];
        serviceLog_ = log;
        if (setenv("ORVI_BUS_DIR", scratch_.BusDirectory().c_str(), 1) != 0 ||
            setenv("ORVI_TEST_PROGRAMS", order_.programs.c_str(), 1) != 0 ||
            setenv(Scratch::OUTER, scratch_.Path().c_str(), 1) != 0) {
            throw std::system_error(errno, std::generic_category(), "setenv");
        }
        std::vector<std::string> words = order_.service;
        const bool hasLog = std::any_of(words.begin(), words.end(),
                                        [](const std::string& word) { return word.rfind("--log", 0) == 0; });
        if (!hasLog) {
            words.insert(words.end(), {"--log", scratch_.Path("play.log")});
        }
        service_ = Start(words, open("/dev/null", O_RDONLY | O_CLOEXEC), output[1], log);
        close(output[1]);
    }

    void StartCommand() {
        const int output = order_.showsOutput ? -1 : scratch_.Create("command.log");
        command_ = Start(order_.command, -1, output, output);
    }

    static pid_t Start(std::vector<std::string> words, int input, int output, int errors) {
        std::vector<char*> argv;
        argv.reserve(words.size() + 1);
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        const pid_t child = StartChild(argv.data(), input, output, errors);
        if (child < 0) {
            throw std::system_error(errno, std::generic_category(), "fork");
        }
        return child;
    }

    // Until `isMet`, a signal for the command, the end of the process that was called or the deadline.
    template <class Condition>
    void Await(Condition isMet) {
        while (!isMet() && interruption_ == 0 && !isLate_) {
            Look(deadline_);
        }
    }

    // Until `isMet` or the end of a while of its own, which nothing shortens.
    template <class Condition>
    void AwaitEnd(Clock::duration patience, Condition isMet) {
        const Clock::time_point end = Clock::now() + patience;
        while (!isMet() && Clock::now() < end) {
            Look(end);
        }
    }

    // Takes in what has happened, and waits for something at most until `until`.
    void Look(Clock::time_point until) {
        int wait = -1;
        if (until != Clock::time_point::max()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
            wait = static_cast<int>(std::clamp<long long>(left, 0, 3600LL * 1000));
        }
        pollfd watched[] = {{childSignals_, POLLIN, 0}, {link_, POLLIN, 0}, {serviceOutput_, POLLIN, 0}};
        const int count = poll(watched, std::size(watched), wait);
        if (count < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        if (count > 0 && watched[2].revents != 0) {
            ReadServiceOutput();
        }
        if (count > 0 && watched[1].revents != 0) {
            ReadLink();
        }
        if (count > 0 && watched[0].revents != 0) {
            Reap();
        }
        isLate_ = isLate_ || Clock::now() >= deadline_;
    }

    void ReadLink() {
        int signal = 0;
        const ssize_t size = recv(link_, &signal, sizeof(signal), MSG_DONTWAIT);
        if (size == sizeof(signal)) {
            interruption_ = signal;
        } else if (size == 0 || errno != EAGAIN) {
            interruption_ = SIGKILL;  // who was called has gone
            link_ = -1;
        }
    }

    void ReadServiceOutput() {
        char text[4096];
        const ssize_t size = read(serviceOutput_, text, sizeof(text));
        if (size <= 0) {
            close(serviceOutput_);
            serviceOutput_ = -1;
            return;
        }
        (void)!write(serviceLog_, text, static_cast<size_t>(size));
        if (!isReady_) {
            firstOutput_.append(text, static_cast<size_t>(size));
            isReady_ = ("\n" + firstOutput_).find(std::string("\n") + READY) != std::string::npos;
        }
    }

    void Reap() {
        signalfd_siginfo ignored;
        while (read(childSignals_, &ignored, sizeof(ignored)) > 0) {
        }
        int status = 0;
        for (pid_t pid = 0; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
            if (pid == service_) {
                serviceStatus_ = status;
            } else if (pid == command_) {
                commandStatus_ = status;
            }
        }
    }

    // With the signal that came, or with SIGTERM; what does not obey is killed with all others.
    void EndCommand() {
        if (interruption_ == SIGKILL) {
            return;
        }
        (void)kill(-command_, interruption_ != 0 ? interruption_ : SIGTERM);
        AwaitEnd(GRACE, [this] { return commandStatus_.has_value() || interruption_ == SIGKILL; });
    }

    // Those whom the command left behind first: they have no say in what the service tells at its end.
    void EndAll() {
        KillDescendants(serviceStatus_ ? 0 : service_);
        const bool isContent = commandStatus_ && *commandStatus_ == 0 && interruption_ == 0 && !isLate_;
        if (isContent && EndsByItself()) {
            Await([this] { return serviceStatus_.has_value(); });
        }
        if (!serviceStatus_ && service_ > 0 && interruption_ != SIGKILL) {
            (void)kill(service_, SIGTERM);
            AwaitEnd(SERVICE_GRACE, [this] { return serviceStatus_.has_value() || interruption_ == SIGKILL; });
        }
        while (serviceStatus_ && serviceOutput_ >= 0) {
            ReadServiceOutput();
        }
        KillDescendants(0);
    }

    int Fail(int code, const std::string& reason) {
        if (!reason.empty()) {
            told_ = "orvi-test-run: " + reason + "\n";
        }
        told_ += scratch_.Shown("command.log", "the command");
        told_ += scratch_.Shown("service.log", "the service");
        told_ += scratch_.Shown("play.log", "what happened in the room");
        return code;
    }

    const Order& order_;
    const Scratch& scratch_;
    int link_;
    int childSignals_ = -1;
    int serviceOutput_ = -1;
    int serviceLog_ = -1;
    pid_t service_ = 0;
    pid_t command_ = 0;
    bool isReady_ = false;
    bool isLate_ = false;
    int interruption_ = 0;  // the signal, SIGKILL when nobody is there to tell
    std::optional<int> serviceStatus_;
    std::optional<int> commandStatus_;
    std::string firstOutput_;
    std::string told_;
    Clock::time_point deadline_ = Clock::time_point::max();
};

// Until nobody is there to read it, or a signal comes to the process that was called, or its end, while nobody does.
void Tell(const std::string& text, int link) {
    for (size_t written = 0; written < text.size();) {
        pollfd watched[] = {{STDERR_FILENO, POLLOUT, 0}, {link, POLLIN, 0}};
        if (poll(watched, std::size(watched), -1) < 0 && errno == EINTR) {
            continue;
        }
        if (watched[0].revents == 0) {
            return;
        }
        // So much a pipe with room takes at once.
        const size_t size = std::min<size_t>(text.size() - written, PIPE_BUF);
        const ssize_t count = write(STDERR_FILENO, text.data() + written, size);
        if (count < 0 && errno != EINTR && errno != EAGAIN) {
            return;
        }
        written += static_cast<size_t>(std::max<ssize_t>(count, 0));
    }
}

}  // namespace

void Keep(const Order& order, Scratch& scratch, int link) {
    Result result{NOT_STARTED};
    std::string told;
    AdoptOrphans();
    try {
        Run run(order, scratch, link);
        result.code = run.Perform();
        told = run.Told();
    } catch (const std::exception& exception) {
        told = std::string("orvi-test-run: ") + exception.what() + "\n";
    }
    KillDescendants(0);
    scratch.Remove();
    Tell(told, link);  // when nothing is left that a reader who does not read could keep
    (void)send(link, &result, sizeof(result), MSG_NOSIGNAL);
}

}  // namespace orvi_test_run
