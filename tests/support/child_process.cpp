#include "child_process.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace orvi_test {
namespace {

using Clock = std::chrono::steady_clock;

// poll() for one descriptor until the deadline. False at the deadline.
bool AwaitReadable(int descriptor, Clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd watched{descriptor, POLLIN, 0};
        const int result = poll(&watched, 1, left > 0 ? static_cast<int>(left) : 0);
        if (result > 0) {
            return true;
        }
        if (result == 0 || errno != EINTR) {
            return false;
        }
    }
}

std::vector<std::string> CommandLine(const std::string& program, const std::vector<std::string>& arguments,
                                     const std::vector<std::string>& wrapper) {
    // setpriv makes the kernel end the program with its parent.
    std::vector<std::string> command{"/usr/bin/setpriv", "--pdeathsig", "KILL", "--"};
    command.insert(command.end(), wrapper.begin(), wrapper.end());
    if (program.front() == '/') {
        command.push_back(program);
    } else {
        std::istringstream emulator(ORVI_TEST_EMULATOR);
        for (std::string word; emulator >> word;) {
            command.push_back(word);
        }
        command.push_back(std::string(ORVI_TEST_BIN_DIR "/") + program);
    }
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

void Require(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error(what + ": " + std::strerror(errno));
    }
}

}  // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           const std::string& errorFile, const std::vector<std::string>& wrapper) {
    int toChild[2];
    int fromChild[2];
    // A socket for its input: writing to a child that has ended raises no signal.
    Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, toChild) == 0 && pipe2(fromChild, O_CLOEXEC) == 0,
            "no pipes");
    input_ = toChild[1];
    output_ = fromChild[0];

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toChild[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fromChild[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);

    std::vector<std::string> command = CommandLine(program, arguments, wrapper);
    std::vector<char*> argv;
    for (std::string& word : command) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    errno = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(toChild[0]);
    close(fromChild[1]);
    Require(errno == 0, argv[0]);
    process_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    Require(process_ >= 0, "pidfd_open");
}

ChildProcess::~ChildProcess() {
    if (!waited_ && pid_ > 0) {
        Signal(SIGKILL);
        (void)Wait();
    }
    CloseInput();
    close(output_);
    close(process_);
}

bool ChildProcess::IsAlive() const {
    return !waited_ && !AwaitReadable(process_, Clock::now());
}

void ChildProcess::WriteLine(const std::string& line) {
    const std::string text = line + "\n";
    for (size_t done = 0; done < text.size();) {
        const ssize_t count = send(input_, text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return;  // the missing answer tells
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

void ChildProcess::CloseInput() {
    if (input_ >= 0) {
        close(input_);
        input_ = -1;
    }
}

bool ChildProcess::ReadLine(std::string& line) {
    const auto deadline = Clock::now() + PATIENCE;
    for (;;) {
        if (const size_t end = unread_.find('\n'); end != std::string::npos) {
            line = unread_.substr(0, end);
            unread_.erase(0, end + 1);
            return true;
        }
        char buffer[4096];
        if (!AwaitReadable(output_, deadline)) {
            return false;
        }
        const ssize_t count = read(output_, buffer, sizeof(buffer));
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return false;
        }
        unread_.append(buffer, count > 0 ? static_cast<size_t>(count) : 0);
    }
}

bool ChildProcess::ReadUntil(const std::string& text) {
    for (std::string line; ReadLine(line);) {
        if (line.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

void ChildProcess::Signal(int signal) {
    if (!waited_) {
        kill(pid_, signal);
    }
}

int ChildProcess::Wait() {
    if (waited_) {
        return result_;
    }
    if (!AwaitReadable(process_, Clock::now() + PATIENCE)) {
        kill(pid_, SIGKILL);
    }
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    waited_ = true;
    result_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return result_;
}

}  // namespace orvi_test
