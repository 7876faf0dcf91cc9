#include "bus_peer.h"

#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kHangMs = 60000;

std::vector<std::string> Program() {
    std::vector<std::string> words;
    std::istringstream emulator(ORVI_TEST_EMULATOR);
    for (std::string word; emulator >> word;) {
        words.push_back(word);
    }
    words.push_back(ORVI_TEST_BIN_DIR "/orvi-test-bus-peer");
    return words;
}

[[noreturn]] void Become(const Environment& environment, uid_t uid, gid_t gid) {
    setpgid(0, 0);
    unsetenv("ORVI_BUS_DIR");
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    if (uid != static_cast<uid_t>(-1) && (setgroups(1, &gid) != 0 || setgid(gid) != 0 || setuid(uid) != 0)) {
        _exit(126);
    }
    std::vector<std::string> words = Program();
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

}  // namespace

size_t OpenDescriptors() {
    size_t count = 0;
    DIR* entries = opendir("/proc/self/fd");
    while (entries != nullptr && readdir(entries) != nullptr) {
        ++count;
    }
    closedir(entries);
    return count;
}

Peer::Peer(const Environment& environment, uid_t uid, gid_t gid) {
    int in[2];
    int out[2];
    char errors[] = "/tmp/orvi-peer-XXXXXX";
    const int errorFile = mkostemp(errors, O_CLOEXEC | O_APPEND);
    errorPath_ = errors;
    EXPECT_TRUE(errorFile >= 0 && pipe2(in, O_CLOEXEC) == 0 && pipe2(out, O_CLOEXEC) == 0);
    pid_ = fork();
    if (pid_ == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(errorFile, STDERR_FILENO);
        Become(environment, uid, gid);
    }
    close(in[0]);
    close(out[1]);
    close(errorFile);
    input_ = in[1];
    output_ = out[0];
}

Peer::~Peer() {
    close(input_);
    close(output_);
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    unlink(errorPath_.c_str());
}

void Peer::Tell(const std::string& command) {
    const std::string line = command + "\n";
    EXPECT_EQ(write(input_, line.data(), line.size()), static_cast<ssize_t>(line.size())) << command;
}

bool Peer::ReadLine(std::string* line) {
    for (;;) {
        const size_t end = received_.find('\n');
        if (end != std::string::npos) {
            *line = received_.substr(0, end);
            received_.erase(0, end + 1);
            return true;
        }
        pollfd entry{output_, POLLIN, 0};
        if (poll(&entry, 1, kHangMs) <= 0) {
            *line = "(nothing)";
            return false;
        }
        char buffer[4096];
        const ssize_t count = read(output_, buffer, sizeof(buffer));
        if (count <= 0) {
            *line = "(ended)";
            return false;
        }
        received_.append(buffer, static_cast<size_t>(count));
    }
}

std::string Peer::Answer() {
    std::string line;
    while (ReadLine(&line) && line.compare(0, 2, "= ") != 0) {
        lines_.push_back(line);
    }
    return line.compare(0, 2, "= ") == 0 ? line.substr(2) : line + " " + Errors();
}

std::string Peer::Ask(const std::string& command) {
    Tell(command);
    return Answer();
}

std::string Peer::Next() {
    if (!lines_.empty()) {
        std::string line = lines_.front();
        lines_.pop_front();
        return line;
    }
    std::string line;
    (void)ReadLine(&line);
    return line;
}

std::vector<std::string> Peer::Seen() {
    (void)Ask("name");
    std::vector<std::string> seen(lines_.begin(), lines_.end());
    lines_.clear();
    return seen;
}

std::string Peer::Errors() const {
    std::ifstream file(errorPath_);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

bool Peer::IsAlive() const {
    siginfo_t info{};
    return pid_ > 0 && waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == 0;
}

void Peer::KillWithoutWait() {
    kill(pid_, SIGKILL);
}

void Peer::Kill() {
    KillWithoutWait();
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

int Peer::WaitForExit() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void BusTest::SetUp() {
    descriptors_ = OpenDescriptors();
    char name[] = "/tmp/orvi-bus-XXXXXX";
    directory = mkdtemp(name);
}

void BusTest::TearDown() {
    for (const auto& peer : peers_) {
        if (peer->IsAlive()) {
            const std::string stat = peer->Ask("stat");
            EXPECT_NE(stat.find("replies 0"), std::string::npos) << stat;
        }
    }
    peers_.clear();
    EXPECT_EQ(std::system(("rm -rf " + directory).c_str()), 0);
    EXPECT_EQ(OpenDescriptors(), descriptors_);
}

Peer& BusTest::Start(Environment more) {
    more.insert(more.begin(), {{"ORVI_BUS_DIR", directory}, {"ORVI_BUS_SEND_WAIT_MS", std::to_string(kHangMs / 2)}});
    peers_.push_back(std::make_unique<Peer>(more));
    return *peers_.back();
}

Peer& BusTest::StartTask(const std::string& proc, const std::string& task, const Environment& more) {
    Peer& peer = Start(more);
    EXPECT_EQ(peer.Ask("join " + proc), "0") << peer.Errors();
    EXPECT_EQ(peer.Ask("task " + task), "0") << peer.Errors();
    EXPECT_EQ(peer.Ask("run " + task), "0");
    EXPECT_EQ(peer.Ask("call " + proc + " " + task + " 3 0 0").substr(0, 7), "reply 0");  // the loop runs
    return peer;
}
