#include "census.h"

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "membership/presence.h"
#include "membership/presence_record.h"
#include "wire/bus_name.h"

namespace orvi_bus_tool {
namespace {

constexpr char WATCHER_PREFIX[] = "monitor.";

// Connected sockets per listening path, under which the kernel knows the name that it was bound to: an endpoint is
// renamed into its place.
std::map<std::string, size_t> Connections() {
    std::map<std::string, size_t> count;
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);) {
        std::istringstream words(line);
        std::string number;
        std::string references;
        std::string protocol;
        std::string flags;
        std::string type;
        std::string state;
        std::string inode;
        std::string path;
        words >> number >> references >> protocol >> flags >> type >> state >> inode >> path;
        if (state == "03" && !path.empty()) {
            ++count[path.substr(0, path.find(orvi_bus::kUnfinishedMark, path.rfind('/')))];
        }
    }
    return count;
}

std::vector<std::string> FilesOf(const std::string& path) {
    std::vector<std::string> files;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(path.c_str()), closedir);
    while (const dirent* entry = directory ? readdir(directory.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            files.push_back(name);
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

Member LookAt(const orvi_bus::Directory& directory, const std::string& stem, const orvi_bus::BootId& boot) {
    Member member;
    member.name = stem;
    const std::string path = directory.path + '/' + stem + orvi_bus::kPresenceSuffix;
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        member.inode = status.st_ino;
        member.uid = status.st_uid;
    }
    orvi_bus::Fd spare;
    const orvi_bus::Looker looker{boot, {}, &spare};
    const orvi_bus::RecordLook look = LookAtRecord(looker, path.c_str(), stem.c_str());
    if (look.presence.seen == orvi_bus::Presence::Seen::kThere) {
        member.state = look.presence.alive ? Member::State::Alive : Member::State::Dead;
        member.pid = look.presence.latest.pid;
        member.sinceNs = look.presence.latest.number;
    } else if (look.presence.seen == orvi_bus::Presence::Seen::kAbsent) {
        member.state = look.held ? Member::State::Unknown : Member::State::Dead;
    }
    return member;
}

}  // namespace

const Member* Census::Find(const std::string& name) const {
    const auto found =
        std::find_if(members.begin(), members.end(), [&name](const Member& member) { return member.name == name; });
    return found != members.end() ? &*found : nullptr;
}

Census TakeCensus(const orvi_bus::Directory& directory) {
    Census census;
    const orvi_bus::BootId boot = orvi_bus::ThisBoot();
    const std::map<std::string, size_t> connections = Connections();
    const std::vector<std::string> files = FilesOf(directory.path);
    for (const std::string& file : files) {
        if (const std::string stem = orvi_bus::PresenceStem(file); !stem.empty()) {
            census.members.push_back(LookAt(directory, stem, boot));
        }
    }
    for (const std::string& file : files) {
        const size_t separator = file.find(orvi_bus::kTaskSeparator);
        if (file == orvi_bus::kPresenceSuffix || !orvi_bus::PresenceStem(file).empty()) {
            continue;
        }
        if (file.rfind(WATCHER_PREFIX, 0) == 0) {
            census.watchers.push_back(file);
            continue;
        }
        const auto owner = std::find_if(census.members.begin(), census.members.end(), [&](const Member& member) {
            return separator != std::string::npos && member.name == file.substr(0, separator);
        });
        if (owner == census.members.end() || file.find(orvi_bus::kUnfinishedMark) != std::string::npos) {
            census.strange.push_back(file);
            continue;
        }
        const auto count = connections.find(directory.path + '/' + file);
        owner->tasks[file.substr(separator + 1)] = count != connections.end() ? count->second : 0;
    }
    return census;
}

std::string ReadProc(pid_t pid, const char* file) {
    const std::string path = "/proc/" + std::to_string(pid) + "/" + file;
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::string text;
    char piece[4096];
    for (ssize_t size = 1; descriptor >= 0 && size > 0;) {
        size = read(descriptor, piece, sizeof(piece));  // fails once the process has ended
        text.append(piece, static_cast<size_t>(std::max<ssize_t>(size, 0)));
    }
    if (descriptor >= 0) {
        (void)close(descriptor);
    }
    return text;
}

char StateOf(pid_t pid) {
    const std::string text = ReadProc(pid, "stat");
    const size_t behindName = text.rfind(") ");
    return behindName != std::string::npos && behindName + 2 < text.size() ? text[behindName + 2] : '\0';
}

std::map<std::string, std::string> EnvironmentOf(pid_t pid, const std::string& prefix) {
    std::map<std::string, std::string> settings;
    std::istringstream entries(ReadProc(pid, "environ"));
    for (std::string entry; std::getline(entries, entry, '\0');) {
        const size_t equals = entry.find('=');
        if (entry.rfind(prefix, 0) == 0 && equals != std::string::npos) {
            settings[entry.substr(0, equals)] = entry.substr(equals + 1);
        }
    }
    return settings;
}

}  // namespace orvi_bus_tool
