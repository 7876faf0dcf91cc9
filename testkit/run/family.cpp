#include "family.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "run_order.h"

namespace orvi_test_run {
namespace {

struct Process {
    pid_t pid;
    pid_t parent;
    pid_t session;
};

// False for one that has gone or is a zombie.
bool ReadProcess(const char* pid, Process& process) {
    char path[64];
    char text[512];
    std::snprintf(path, sizeof(path), "/proc/%.20s/stat", pid);
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    const ssize_t size = read(file, text, sizeof(text) - 1);
    close(file);
    if (size <= 0) {
        return false;
    }
    text[size] = '\0';
    // The name before it may hold anything, brackets as well.
    const char* const behindName = std::strrchr(text, ')');
    if (behindName == nullptr || size < behindName - text + 4) {
        return false;
    }
    const char state = behindName[2];
    char* at = const_cast<char*>(behindName) + 3;
    process.pid = static_cast<pid_t>(std::strtol(pid, nullptr, 10));
    process.parent = static_cast<pid_t>(std::strtol(at, &at, 10));
    (void)std::strtol(at, &at, 10);  // its process group
    process.session = static_cast<pid_t>(std::strtol(at, &at, 10));
    return state != 'Z' && state != 'X';
}

std::vector<Process> AllProcesses() {
    std::vector<Process> all;
    DIR* const processes = opendir("/proc");
    while (const dirent* const entry = processes != nullptr ? readdir(processes) : nullptr) {
        Process process{};
        if (entry->d_name[0] >= '1' && entry->d_name[0] <= '9' && ReadProcess(entry->d_name, process)) {
            all.push_back(process);
        }
    }
    if (processes != nullptr) {
        closedir(processes);
    }
    return all;
}

// Without `spared` and whoever descends from it.
std::vector<pid_t> Descendants(pid_t spared) {
    std::multimap<pid_t, pid_t> children;
    for (const Process& process : AllProcesses()) {
        children.emplace(process.parent, process.pid);
    }
    std::vector<pid_t> found{getpid()};
    for (size_t i = 0; i < found.size(); ++i) {
        const auto [begin, end] = children.equal_range(found[i]);
        for (auto child = begin; child != end; ++child) {
            if (child->second != spared) {
                found.push_back(child->second);
            }
        }
    }
    found.erase(found.begin());
    return found;
}

}  // namespace

void AdoptOrphans() {
    (void)prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void KillDescendants(pid_t spared) {
    for (;;) {
        bool anyLives = false;
        for (const pid_t pid : Descendants(spared)) {
            anyLives = kill(pid, SIGKILL) == 0 || anyLives;
        }
        // Those who have been killed are reaped as they come; who was their child is this one's by then.
        bool anyReaped = false;
        for (;;) {
            siginfo_t ended{};
            // What is spared keeps its state for whoever waits for it.
            if (waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) != 0 || ended.si_pid == 0 ||
                ended.si_pid == spared) {
                break;
            }
            anyReaped = waitpid(ended.si_pid, nullptr, 0) > 0 || anyReaped;
        }
        if (!anyLives && !anyReaped) {
            return;
        }
        (void)poll(nullptr, 0, 1);  // the kernel takes a moment to end them
    }
}

void KillSession(pid_t session) {
    for (bool anyLives = true; anyLives;) {
        anyLives = false;
        for (const Process& process : AllProcesses()) {
            anyLives = (process.session == session && kill(process.pid, SIGKILL) == 0) || anyLives;
        }
        (void)poll(nullptr, 0, 1);
    }
}

pid_t StartChild(char* const* words, int input, int output, int errors) {
    const pid_t keeper = getpid();
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != keeper) {
        _exit(NOT_STARTED);  // it ended before the line above
    }
    setpgid(0, 0);
    if ((input >= 0 && dup2(input, STDIN_FILENO) < 0) || (output >= 0 && dup2(output, STDOUT_FILENO) < 0) ||
        (errors >= 0 && dup2(errors, STDERR_FILENO) < 0)) {
        _exit(NOT_STARTED);
    }
    signal(SIGPIPE, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execvp(words[0], words);
    const int reason = errno;
    std::fprintf(stderr, "orvi-test-run: %s cannot be run: %s\n", words[0], std::strerror(reason));
    _exit(reason == ENOENT ? NOT_FOUND : NOT_EXECUTABLE);
}

}  // namespace orvi_test_run
