// orvi-bus doctor: what is wrong with the bus, and what to do about it.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "census.h"
#include "commands.h"
#include "message.h"
#include "orvi_host_bus.h"
#include "value.h"
#include "wire/deadline.h"
#include "wire/socket.h"
#include "wire/trace.h"

namespace orvi_bus_tool {
namespace {

constexpr unsigned long FEW_DESCRIPTORS = 256;
constexpr int FEW_WATCHES = 64;
constexpr uint32_t SELF_CHECK_MS = 3000;

enum class Level { Fine, Note, Fault };

struct Finding {
    Level level;
    std::string what;
    std::string todo;  // empty when there is nothing to do
};

class Doctor {
 public:
    void Examine() {
        Settings();
        if (!Directory()) {
            return;
        }
        census_ = TakeCensus(directory_);
        Members();
        Service();
        Names();
        OtherDirectories();
        Limits();
        SelfCheck();
    }

    const std::vector<Finding>& Findings() const { return findings_; }

 private:
    void Fine(const std::string& what) { findings_.push_back({Level::Fine, what, ""}); }
    void Note(const std::string& what, const std::string& todo) { findings_.push_back({Level::Note, what, todo}); }
    void Fault(const std::string& what, const std::string& todo) { findings_.push_back({Level::Fault, what, todo}); }

    // Numbers that the bus would not take.
    void Settings() {
        for (const char* name : {"ORVI_BUS_DEFAULT_WAIT_MS", "ORVI_BUS_SEND_WAIT_MS", "ORVI_BUS_FRAME_WAIT_MS",
                                 "ORVI_BUS_SLOW_MS", "ORVI_BUS_LOG", "ORVI_BUS_TRACE"}) {
            const char* const value = std::getenv(name);
            if (value != nullptr && *value != '\0' && std::strspn(value, "0123456789") != std::strlen(value)) {
                Fault(std::string(name) + " is '" + value + "', which is no number",
                      "unset it, or see docs/host-settings.md for its range");
            }
        }
    }

    bool Directory() {
        std::string why;
        const char* const named = std::getenv("ORVI_BUS_DIR");
        const bool isNamed = named != nullptr && *named != '\0';
        if (!orvi_bus::FindDirectory(&directory_, &why)) {
            Fault(why,
                  isNamed
                      ? "let ORVI_BUS_DIR name a directory of yours with mode 0700, or one of root with a group, in "
                        "every process; or unset it in all of them"
                      : "remove it, or set ORVI_BUS_DIR in every process");
            return false;
        }
        struct stat status {};
        (void)stat(directory_.path.c_str(), &status);
        char mode[16];
        std::snprintf(mode, sizeof(mode), "%04o", static_cast<unsigned>(status.st_mode & 07777));
        Fine("the bus directory is " + directory_.path + ", owner " + std::to_string(status.st_uid) + ", group " +
             std::to_string(status.st_gid) + ", mode " + mode + ", " +
             (isNamed ? "named by ORVI_BUS_DIR" : "the user's own, as ORVI_BUS_DIR is not set"));
        struct statvfs space {};
        if (statvfs(directory_.path.c_str(), &space) == 0 &&
            (space.f_bavail == 0 || (space.f_files != 0 && space.f_favail == 0))) {
            Fault("there is no room for a file in " + directory_.path, "free some space, or take another directory");
        }
        return true;
    }

    void Members() {
        std::string names;
        for (const Member& member : census_.members) {
            if (member.state == Member::State::Unknown) {
                Fault("'" + member.name + "' is held by a process that wrote no record that could be believed",
                      "end that process, and remove " + member.name + orvi_bus::kPresenceSuffix);
            }
            if (member.state != Member::State::Alive) {
                continue;
            }
            names += (names.empty() ? "" : ", ") + member.name + " (pid " + std::to_string(member.pid) + ")";
            if (StateOf(member.pid) == 'T') {
                Fault(member.name + " (pid " + std::to_string(member.pid) +
                          ") is stopped: requests to it wait to their end",
                      "kill -CONT " + std::to_string(member.pid) + ", or let the debugger go on");
            }
        }
        if (names.empty()) {
            Note("nobody is on the bus",
                 "start orvi-vision-sim and the application, with the same ORVI_BUS_DIR and user");
        } else {
            Fine("on the bus: " + names);
        }
    }

    void Service() {
        const Member* const service = census_.Find(orvi_protocol::SERVICE_PROCESS);
        if (service == nullptr || service->state == Member::State::Dead) {
            Fault(service == nullptr ? "there is no service AI_VISION" : "the service AI_VISION has ended",
                  "start orvi-vision-sim under this user and with this ORVI_BUS_DIR");
            return;
        }
        std::set<std::string> tasks;
        for (const orvi_protocol::Message* message : orvi_protocol::AllMessages()) {
            if (!message->task.empty()) {
                tasks.insert(std::string(message->task));
            }
        }
        for (const std::string& task : tasks) {
            if (service->tasks.count(task) == 0) {
                Fault("the service's task " + task + " cannot be reached: its socket is not there",
                      "nothing while the service starts; else start it again");
                continue;
            }
            orvi_bus::Socket socket;
            const orvi_bus::Deadline deadline(SELF_CHECK_MS);
            const std::string path = EndpointPath(directory_, orvi_protocol::SERVICE_PROCESS, task.c_str());
            if (orvi_bus::Socket::Connect(path, &deadline, &socket) != 0) {
                Fault("the service's task " + task + " takes no connection: " + std::strerror(errno),
                      "start the service again");
            }
        }
        Fine("the service runs, with " + std::to_string(service->tasks.size()) + " tasks");
    }

    // Two names for one record, and what is left or strange.
    void Names() {
        std::map<ino_t, std::string> records;
        size_t ended = 0;
        for (const Member& member : census_.members) {
            if (const auto known = records.find(member.inode); known != records.end()) {
                Fault("'" + known->second + "' and '" + member.name + "' are the same file",
                      "remove the one that was linked; a process has one name");
            }
            records.emplace(member.inode, member.name);
            ended += member.state == Member::State::Dead ? 1 : 0;
        }
        if (ended != 0) {
            Fine(std::to_string(ended) +
                 " names of processes that have ended are left, which is harmless: who joins next "
                 "removes them after a minute");
        }
        for (const std::string& file : census_.strange) {
            Note("'" + file + "' in the bus directory belongs to no process",
                 "remove it, unless something is being started");
        }
        for (const std::string& watcher : census_.watchers) {
            const orvi_bus::Fd probe = orvi_bus::Fd::PacketSocket();
            sockaddr_un address{};
            socklen_t length = 0;
            if (orvi_bus::MakeAddress(directory_.path + "/" + watcher, &address, &length) &&
                connect(probe.Get(), reinterpret_cast<const sockaddr*>(&address), length) == 0) {
                Fine("the traffic is watched at " + watcher);
            }
        }
    }

    // Processes that have the bus's library loaded and are not here, or see it otherwise.
    void OtherDirectories() {
        const std::map<std::string, std::string> mine = EnvironmentOf(getpid(), "ORVI_BUS_");
        const std::unique_ptr<DIR, int (*)(DIR*)> processes(opendir("/proc"), closedir);
        while (const dirent* entry = processes ? readdir(processes.get()) : nullptr) {
            const pid_t pid = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10));
            if (pid <= 0 || pid == getpid() || ReadProc(pid, "maps").find("/liborvi_os_msg.so") == std::string::npos) {
                continue;
            }
            std::string program = ReadProc(pid, "comm");
            program.erase(program.find_last_not_of('\n') + 1);
            const std::string who = program + " (pid " + std::to_string(pid) + ")";
            const std::map<std::string, std::string> theirs = EnvironmentOf(pid, "ORVI_BUS_");
            const auto directoryOf = [](const std::map<std::string, std::string>& settings) {
                const auto found = settings.find("ORVI_BUS_DIR");
                return found != settings.end() && !found->second.empty() ? found->second
                                                                         : std::string("the user's own");
            };
            if (directoryOf(theirs) != directoryOf(mine)) {
                Note(who + " has another bus directory: " + directoryOf(theirs),
                     "start it with the ORVI_BUS_DIR of the others, if it is meant to meet them");
                continue;
            }
            struct stat self {};
            struct stat other {};
            const bool isOther = stat(("/proc/" + std::to_string(pid)).c_str(), &other) == 0 &&
                                 stat("/proc/self", &self) == 0 && self.st_uid != other.st_uid && !directory_.shared;
            if (isOther) {
                Note(who + " runs as uid " + std::to_string(other.st_uid) + " and has a bus directory of its own",
                     "run both under one user, or name a shared directory in ORVI_BUS_DIR");
            }
        }
    }

    void Limits() {
        for (const Member& member : census_.members) {
            if (member.state != Member::State::Alive || member.pid == 0) {
                continue;
            }
            std::istringstream limits(ReadProc(member.pid, "limits"));
            for (std::string line; std::getline(limits, line);) {
                constexpr char OPEN_FILES[] = "Max open files";
                const unsigned long most = line.rfind(OPEN_FILES, 0) == 0
                                               ? std::strtoul(line.c_str() + sizeof(OPEN_FILES) - 1, nullptr, 10)
                                               : FEW_DESCRIPTORS;
                if (most != 0 && most < FEW_DESCRIPTORS) {  // 0: "unlimited"
                    Note(member.name + " may open " + std::to_string(most) + " files only",
                         "raise its limit (ulimit -n 1024): each connection of the bus is one");
                }
            }
        }
        int instances = FEW_WATCHES;
        std::ifstream("/proc/sys/fs/inotify/max_user_instances") >> instances;
        if (instances < FEW_WATCHES) {
            Note("a user may have " + std::to_string(instances) + " inotify instances",
                 "raise fs.inotify.max_user_instances: who gets none looks every 50 ms instead");
        }
    }

    // A process of its own joins and asks itself.
    void SelfCheck() {
        const pid_t child = fork();
        if (child == 0) {
            _exit(AskMyself() ? 0 : 1);
        }
        int status = 0;
        while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        if (child > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
            Fine("a process that joins and asks itself has its answer");
        } else {
            Fault("a process that joins and asks itself has no answer",
                  "read what the bus said above, and check what else is named here");
        }
    }

    static int Answer(TagMsgBlock* message) {
        return OrviHostMsgWantsReply(message) != 0 ? OrviHostMsgReply(message, "y", 1) : 0;
    }

    static bool AskMyself() {
        const std::string name = "doctor" + std::to_string(getpid());
        if (OsMsgInit(name.c_str()) != 0 || OsMsgRegTask("doctor", 1, Answer) != 0) {
            return false;
        }
        std::thread loop([] { (void)OsMsgTaskRoutineByName("doctor"); });
        TagMsgBlock block{};
        (void)name.copy(block.recvProcName, sizeof(block.recvProcName) - 1);
        std::strcpy(block.recvTaskName, "doctor");
        block.msgId = 1;
        TagMsgBlock* reply = nullptr;
        const bool isAnswered = OsMsgSynSend(&block, &reply, SELF_CHECK_MS) == 0;
        if (isAnswered) {
            (void)OsMsgSynRespFree(reply);
        }
        (void)OrviHostMsgStopRoutine("doctor");
        loop.join();
        (void)OsMsgUnregTask(name.c_str(), 1, "doctor");
        return isAnswered;
    }

    orvi_bus::Directory directory_;
    Census census_;
    std::vector<Finding> findings_;
};

}  // namespace

int Examine(const DoctorOptions& options) {
    Doctor doctor;
    doctor.Examine();
    bool isFine = true;
    for (const Finding& finding : doctor.Findings()) {
        const char* const level = finding.level == Level::Fine   ? "fine"
                                  : finding.level == Level::Note ? "note"
                                                                 : "fault";
        isFine = isFine && finding.level != Level::Fault;
        if (options.json) {
            std::printf("{\"level\":\"%s\",\"finding\":%s,\"todo\":%s}\n", level,
                        orvi_protocol::JsonString(finding.what).c_str(),
                        orvi_protocol::JsonString(finding.todo).c_str());
            continue;
        }
        std::printf("%-6s %s\n", level, orvi_protocol::Printable(finding.what).c_str());
        if (!finding.todo.empty()) {
            std::printf("       -> %s\n", finding.todo.c_str());
        }
    }
    return Flushed(isFine ? DONE : FAILED);
}

}  // namespace orvi_bus_tool
