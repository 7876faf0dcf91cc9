#include "member.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <new>
#include <sched.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "membership/identity.h"

namespace {

long g_allocationsLeft = -1;  // negative: no limit. Members have one thread

using orvi_bus::Incarnation;
using orvi_bus::Presence;

std::string Describe(const Presence& presence) {
    if (presence.seen == Presence::Seen::kAbsent) {
        return "absent";
    }
    if (presence.seen == Presence::Seen::kUnknown) {
        return "unknown " + std::to_string(presence.error);
    }
    return std::string(presence.alive ? "alive" : "dead") + (presence.latest.started ? " started " : " joined ") +
           std::to_string(presence.latest.pid) + ' ' + std::to_string(presence.owner) + ' ' +
           std::to_string(presence.earlierCount);
}

std::string History(const Presence& presence) {
    std::string text = std::to_string(presence.latest.number);
    for (size_t i = 0; i < presence.earlierCount; ++i) {
        const Incarnation& incarnation = presence.earlier[i];
        text += ' ' + std::to_string(incarnation.number) + (incarnation.started ? "*" : "");
    }
    return text;
}

std::string Join(orvi_bus::Identity* self, const std::string& name, long allocations) {
    g_allocationsLeft = allocations;
    try {
        const int result = self->Join(name.c_str());
        g_allocationsLeft = -1;
        return std::to_string(result);
    } catch (const std::bad_alloc&) {
        g_allocationsLeft = -1;
        return "bad_alloc";
    }
}

std::string CountDescriptors() {
    DIR* entries = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(entries) != nullptr) {
        ++count;
    }
    closedir(entries);
    return std::to_string(count);
}

std::string Obey(orvi_bus::Identity* self, const std::string& line) {
    std::istringstream words(line);
    std::string what;
    std::string name;
    words >> what >> name;
    if (what == "join") {
        long allocations = -1;
        words >> allocations;
        return Join(self, name, words ? allocations : -1);
    }
    if (what == "start") {
        return std::to_string(self->MarkStarted());
    }
    if (what == "number") {
        return std::to_string(self->Number());
    }
    if (what == "look") {
        return Describe(self->Look(name.c_str()));
    }
    if (what == "history") {
        return History(self->Look(name.c_str()));
    }
    if (what == "inplace") {
        return self->InPlace() ? "yes" : "no";
    }
    if (what == "putback") {
        std::string why;
        const int result = self->PutBack(&why);
        return std::to_string(result) + (why.empty() ? "" : " " + why);
    }
    if (what == "umask") {
        (void)umask(static_cast<mode_t>(std::stoul(name, nullptr, 8)));
        return "0";
    }
    if (what == "limit") {
        rlimit limit{};
        (void)getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::stoul(name);
        return std::to_string(setrlimit(RLIMIT_NOFILE, &limit));
    }
    if (what == "fds") {
        return CountDescriptors();
    }
    if (what == "looks") {
        std::string seen = "absent";
        for (int i = 0; i < 20000 && seen == "absent"; ++i) {
            seen = Describe(self->Look(name.c_str()));
        }
        return seen;
    }
    static std::vector<int> taken;
    if (what == "exhaust") {
        for (int fd = 0; (fd = dup(STDERR_FILENO)) >= 0;) {
            taken.push_back(fd);
        }
        return std::to_string(errno);
    }
    if (what == "release") {
        for (const int fd : taken) {
            close(fd);
        }
        return "0";
    }
    struct flock lock {};
    const bool reading = what == "readlock";
    lock.l_type = reading ? F_RDLCK : F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    return std::to_string(fcntl(open(name.c_str(), (reading ? O_RDONLY : O_RDWR) | O_CLOEXEC), F_SETLK, &lock));
}

[[noreturn]] void Live(int in, int out, const std::string& directory) {
    (void)setenv("ORVI_BUS_DIR", directory.c_str(), 1);
    static orvi_bus::Identity self;
    FILE* lines = fdopen(in, "r");
    char line[256];
    while (fgets(line, sizeof(line), lines) != nullptr) {
        line[strcspn(line, "\n")] = '\0';
        const std::string answer = Obey(&self, line) + "\n";
        if (write(out, answer.data(), answer.size()) < 0) {
            break;
        }
    }
    _exit(0);
}

}  // namespace

void* operator new(size_t size) {
    if (g_allocationsLeft == 0) {
        throw std::bad_alloc();
    }
    g_allocationsLeft -= g_allocationsLeft > 0 ? 1 : 0;
    void* memory = malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    free(memory);
}

void operator delete(void* memory, size_t) noexcept {
    free(memory);
}

Member::Member(const std::string& directory, const std::string& errors, const Options& options) {
    int commands[2];
    int answers[2];
    if (pipe2(commands, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0) {
        abort();
    }
    pid_ = fork();
    if (pid_ == 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(commands[1]);
        close(answers[0]);
        const int log = open(errors.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        (void)dup2(log, STDERR_FILENO);
        if (options.ownPidNamespace) {
            if (unshare(CLONE_NEWPID) != 0) {
                _exit(1);
            }
            const pid_t inside = fork();
            if (inside > 0) {
                (void)waitpid(inside, nullptr, 0);
                _exit(0);
            }
            (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        }
        if (options.gid != 0 && (setgroups(0, nullptr) != 0 || setgid(options.gid) != 0 || setuid(options.uid) != 0)) {
            _exit(1);
        }
        Live(commands[0], answers[1], directory);
    }
    close(commands[0]);
    close(answers[1]);
    in_ = commands[1];
    out_ = answers[0];
}

Member::~Member() {
    Kill();
    close(in_);
    close(out_);
}

void Member::Kill() {
    if (pid_ > 0) {
        (void)kill(pid_, SIGKILL);
        (void)waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

std::string Member::Ask(const std::string& line) {
    Tell(line);
    return Answer();
}

void Member::Tell(const std::string& line) {
    const std::string text = line + "\n";
    (void)!write(in_, text.data(), text.size());
}

std::string Member::Answer() {
    std::string answer;
    for (char c = 0; read(out_, &c, 1) == 1 && c != '\n';) {
        answer += c;
    }
    return answer;
}
