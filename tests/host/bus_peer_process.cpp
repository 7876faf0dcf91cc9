#include "tests/host/bus_peer_process.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
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

// What a forked child opens takes numbers that were its parent's on the bus; its own child has them all the same.
bool GrandchildKeepsDescriptors() {
    constexpr int kOpened = 16;
    const pid_t child = fork();
    if (child == 0) {
        int opened[kOpened];
        for (int& fd : opened) {
            fd = open("/dev/null", O_RDONLY);
        }
        const pid_t grandchild = fork();
        if (grandchild == 0) {
            const bool kept = std::all_of(opened, opened + kOpened, [](int fd) { return fcntl(fd, F_GETFD) >= 0; });
            _exit(kept ? 0 : 1);
        }
        int status = 1;
        (void)waitpid(grandchild, &status, 0);
        _exit(status == 0 ? 0 : 1);
    }
    int status = 1;
    return waitpid(child, &status, 0) == child && status == 0;
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

std::string Told(bool good) {
    return good ? "0" : "failed: " + std::to_string(errno);
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

const Commands& kProcessCommands = *new Commands{
    {"stat",
     [](const Words&) {
         return "fds " + std::to_string(CountEntries("/proc/self/fd")) + " threads " +
                std::to_string(CountEntries("/proc/self/task")) + " replies " +
                std::to_string(OrviHostMsgOutstandingReplies());
     }},
    {"inherited", [](const Words&) { return std::to_string(CountInherited()); }},
    {"fork", [](const Words&) { return std::to_string(LeaveChild()); }},
    {"grandchild", [](const Words&) { return Told(GrandchildKeepsDescriptors()); }},
    // COUNT STEM joined|started MICROSECONDS
    {"churn", [](const Words& w) { return Churn(Number(w[1]), w[2], w[3] == "started", Number(w[4])); }},
    {"alarm", [](const Words&) { return Told(RaiseAlarms()); }},
    {"umask", [](const Words& w) { return Told((umask(static_cast<mode_t>(std::stoul(w[1], nullptr, 8))), true)); }},
    {"become", [](const Words& w) { return Told(Become(Number(w[1]), Number(w[2]))); }},
    {"seteuid", [](const Words& w) { return Told(seteuid(Number(w[1])) == 0); }},
    {"nofile",
     [](const Words& w) {
         const rlimit limit{Number(w[1]), Number(w[1])};
         return Told(setrlimit(RLIMIT_NOFILE, &limit) == 0);
     }},
    {"descriptors", [](const Words& w) { return Told(TakeDescriptors(w[1])); }},
    {"exhaust",  // the user's inotify instances, until this process ends
     [](const Words&) {
         while (inotify_init1(IN_CLOEXEC) >= 0) {
         }
         return Told(true);
     }},
};
