#include "tests/host/bus_peer_process.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <map>
#include <random>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>
#include <time.h>
#include <unistd.h>
#include <vector>

#include "orvi_host_bus.h"

namespace {

size_t CountEntries(const char* folder) {
    size_t count = 0;
    DIR* entries = opendir(folder);
    while (entries != nullptr && readdir(entries) != nullptr) {
        ++count;
    }
    if (entries != nullptr) {
        closedir(entries);
    }
    return count;
}

// How many descriptors a program that is started now would get, beside 0 to 2.
int CountInherited() {
    int count = 0;
    for (int fd = 3; fd < 1024; ++fd) {
        const int flags = fcntl(fd, F_GETFD);
        count += flags >= 0 && (flags & FD_CLOEXEC) == 0 ? 1 : 0;
    }
    return count;
}

// Leaves a child behind that lives until it is killed.
pid_t LeaveChild() {
    const pid_t child = fork();
    while (child == 0) {
        pause();
    }
    return child;
}

// A signal every millisecond, which interrupts what can be interrupted.
bool RaiseAlarms() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    const itimerval interval{{0, 1000}, {0, 1000}};
    return sigaction(SIGALRM, &action, nullptr) == 0 && setitimer(ITIMER_REAL, &interval, nullptr) == 0;
}

// Gives up root for another user and one group. What the kernel takes from a process that changes its user comes back:
// a look at itself, and its end with its parent's.
bool Become(uid_t uid, gid_t gid) {
    return setgroups(1, &gid) == 0 && setresgid(gid, gid, gid) == 0 && setresuid(uid, uid, uid) == 0 &&
           prctl(PR_SET_DUMPABLE, 1) == 0 && prctl(PR_SET_PDEATHSIG, SIGKILL) == 0;
}

// "full" takes every descriptor that the process may have, "free" gives them back.
bool TakeDescriptors(const std::string& what) {
    static std::vector<int> taken;
    static rlimit before{};
    if (what == "full") {
        getrlimit(RLIMIT_NOFILE, &before);
        // The limit comes down to what is in use, so that few have to be taken.
        rlim_t used = before.rlim_cur;
        while (used > 0 && fcntl(static_cast<int>(used) - 1, F_GETFD) < 0) {
            --used;
        }
        const rlimit lowered{used, before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &lowered);
        for (int fd = dup(STDERR_FILENO); fd >= 0; fd = dup(STDERR_FILENO)) {
            taken.push_back(fd);
        }
        return errno == EMFILE;
    }
    for (const int fd : taken) {
        close(fd);
    }
    taken.clear();
    return setrlimit(RLIMIT_NOFILE, &before) == 0;
}

// A child of `Churn`: tells by a byte that it has joined, by another that its loop runs, and lives on.
[[noreturn]] void Live(const std::string& name, int told) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (OsMsgInit(name.c_str()) != 0 || write(told, "j", 1) != 1) {
        _exit(1);
    }
    static int out = told;
    const auto started = [](TagMsgBlock*) { return write(out, "s", 1) == 1 ? 0 : 1; };
    TagMsgBlock block{};
    name.copy(block.recvProcName, sizeof(block.recvProcName) - 1);
    block.recvTaskName[0] = 't';
    if (OsMsgRegTask("t", 64, started) == 0 && OsMsgAsynSend(&block) == 0) {
        (void)OsMsgTaskRoutineByName("t");
    }
    _exit(1);
}

// `count` processes, one after the other, that join under `stem` and a number. Each is killed at a random time within
// `mostUs` microseconds after it has joined, or after it has started where `untilStarted`. Tells how many got so far.
std::string Churn(uint32_t count, const std::string& stem, bool untilStarted, uint32_t mostUs) {
    std::minstd_rand random(count);
    uint32_t good = 0;
    for (uint32_t i = 0; i < count; ++i) {
        int told[2];
        if (pipe2(told, O_CLOEXEC) != 0) {
            return "no pipe";
        }
        const pid_t child = fork();
        if (child == 0) {
            close(told[0]);
            Live(stem + std::to_string(i), told[1]);
        }
        close(told[1]);
        char byte = 0;
        const bool joined = read(told[0], &byte, 1) == 1;
        good += joined && (!untilStarted || read(told[0], &byte, 1) == 1) ? 1 : 0;
        const timespec life{0, static_cast<long>(mostUs != 0 ? random() % mostUs : 0) * 1000};
        nanosleep(&life, nullptr);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(told[0]);
    }
    return std::to_string(good) + " joined";
}

// Children that take commands as this process does, one by one: by name, and killed with this process.
struct Child {
    pid_t pid = -1;
    int input = -1;
    int output = -1;
};
std::map<std::string, Child> g_children;

bool Spawn(const std::string& name) {
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
        return false;
    }
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        for (const auto& [other, child] : g_children) {
            close(child.input);
            close(child.output);
        }
        g_children.clear();
    } else {
        g_children[name] = {pid, input[1], output[0]};
    }
    close(input[0]);
    close(output[1]);
    if (pid == 0) {
        close(input[1]);
        close(output[0]);
        return true;  // the child answers the command that made it, like its parent
    }
    std::string answer;
    return pid > 0 && ReadLine(output[0], &answer);
}

// Hands a command to the child and takes its answer; lines before that are dropped.
std::string AskChild(const std::string& name, std::string command) {
    const Child& child = g_children[name];
    command += '\n';
    std::string line;
    if (write(child.input, command.data(), command.size()) == static_cast<ssize_t>(command.size())) {
        while (ReadLine(child.output, &line)) {
            if (line.compare(0, 2, "= ") == 0) {
                return line.substr(2);
            }
        }
    }
    return "(ended)";
}

bool KillChild(const std::string& name) {
    const Child child = g_children[name];
    g_children.erase(name);
    close(child.input);
    close(child.output);
    return kill(child.pid, SIGKILL) == 0 && waitpid(child.pid, nullptr, 0) == child.pid;
}

}  // namespace

bool ReadLine(int descriptor, std::string* line) {
    line->clear();
    for (char c = 0;;) {
        const ssize_t count = read(descriptor, &c, 1);
        if (count == 1 && c == '\n') {
            return true;
        }
        if (count == 1) {
            *line += c;
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
}

bool DoProcessCommand(const std::string& command, std::istringstream& words, std::string* answer) {
    std::string text;
    uint32_t first = 0;
    uint32_t second = 0;
    bool good = true;
    if (command == "stat") {
        *answer = "fds " + std::to_string(CountEntries("/proc/self/fd")) + " threads " +
                  std::to_string(CountEntries("/proc/self/task")) + " replies " +
                  std::to_string(OrviHostMsgOutstandingReplies());
        return true;
    }
    if (command == "inherited") {
        *answer = std::to_string(CountInherited());
        return true;
    }
    if (command == "fork") {
        *answer = std::to_string(LeaveChild());
        return true;
    }
    if (command == "in") {
        std::string rest;
        words >> text;
        std::getline(words >> std::ws, rest);
        *answer = AskChild(text, rest);
        return true;
    }
    if (command == "churn") {
        std::string until;
        words >> first >> text >> until >> second;
        *answer = Churn(first, text, until == "started", second);
        return true;
    }
    if (command == "alarm") {
        good = RaiseAlarms();
    } else if (command == "spawn") {
        words >> text;
        good = Spawn(text);
    } else if (command == "kill") {
        words >> text;
        good = KillChild(text);
    } else if (command == "umask") {
        words >> text;
        umask(static_cast<mode_t>(std::stoul(text, nullptr, 8)));
    } else if (command == "become") {
        words >> first >> second;
        good = Become(first, second);
    } else if (command == "seteuid") {
        words >> first;
        good = seteuid(first) == 0;
    } else if (command == "nofile") {
        words >> first;
        const rlimit limit{first, first};
        good = setrlimit(RLIMIT_NOFILE, &limit) == 0;
    } else if (command == "descriptors") {
        words >> text;
        good = TakeDescriptors(text);
    } else if (command == "exhaust") {  // the user's inotify instances, until this process ends
        while (inotify_init1(IN_CLOEXEC) >= 0) {
        }
    } else {
        return false;
    }
    *answer = good ? "0" : "failed: " + std::to_string(errno);
    return true;
}
