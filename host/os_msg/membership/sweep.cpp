#include "membership/sweep.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "wire/bus_name.h"

namespace orvi_bus {

namespace {

constexpr size_t kMostLooks = 256;
constexpr time_t kRecordKeptSeconds = 60;  // longer than a watcher is held up

struct CloseDirectory {
    void operator()(DIR* entries) const { closedir(entries); }
};

// Written when its process joined or started, by the file system's clock. A time from the future is no reason to stay.
bool IsRecent(const struct stat& status) {
    const time_t age = time(nullptr) - status.st_mtim.tv_sec;
    return age > -kRecordKeptSeconds && age < kRecordKeptSeconds;
}

struct Leftovers {
    std::vector<std::string> names;      // encoded, of processes that may have left something
    std::vector<std::string> endpoints;  // file names
};

// The part of an endpoint's name that names its process.
std::string ProcessOf(const std::string& endpoint) {
    return endpoint.substr(0, endpoint.find(kTaskSeparator));
}

Leftovers Find(DIR* entries, const std::string& own, const OwnFiles& ownFiles) {
    Leftovers found;
    while (const dirent* entry = readdir(entries)) {
        std::string file = entry->d_name;
        const std::string stem = PresenceStem(file);
        if (file.find(kTaskSeparator) != std::string::npos) {
            found.names.push_back(ProcessOf(file));
            found.endpoints.push_back(std::move(file));
        } else if (file.find(std::string(kPresenceSuffix) + kUnfinishedMark) != std::string::npos) {
            (void)unlinkat(dirfd(entries), file.c_str(), 0);
        } else if (!stem.empty() && stem != own) {
            struct stat status {};
            if (fstatat(dirfd(entries), file.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && !IsRecent(status) &&
                !ownFiles.Has(FileId(status))) {
                found.names.push_back(stem);
            }
        }
    }
    std::sort(found.names.begin(), found.names.end());
    found.names.erase(std::unique(found.names.begin(), found.names.end()), found.names.end());
    return found;
}

// True when the process of that name has ended for certain. Its old record is removed then.
bool Bury(const Directory& directory, const std::string& name, const OwnFiles& own) {
    const std::string path = directory.path + '/' + name + kPresenceSuffix;
    Fd file = Fd::Open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0);
    if (!file) {
        return errno == ENOENT;
    }
    struct stat status {};
    if (fstat(file.Get(), &status) != 0 || own.Has(FileId(status))) {
        file.LeaveOpen();  // linked here since it was found
        return false;
    }
    pid_t holder = 0;
    if (IsHeld(file, &holder) != Held::kNo) {
        return false;
    }
    if (!IsRecent(status)) {
        (void)unlink(path.c_str());
    }
    return true;
}

}  // namespace

void SweepDead(const Directory& directory, const char* ownName, const OwnFiles& ownFiles) {
    const std::unique_ptr<DIR, CloseDirectory> entries(opendir(directory.path.c_str()));
    if (!entries) {
        return;
    }
    const std::string own = EncodeName(ownName);
    const Leftovers found = Find(entries.get(), own, ownFiles);
    std::vector<std::string> dead{own};
    // Starting anywhere, so that names which live do not keep the looks from those behind them for ever.
    const size_t count = found.names.size();
    const size_t first = count == 0 ? 0 : static_cast<size_t>(NumberOfNow() / 1000 % count);
    for (size_t i = 0; i < std::min(count, kMostLooks); ++i) {
        const std::string& name = found.names[(first + i) % count];
        if (name != own && Bury(directory, name, ownFiles)) {
            dead.push_back(name);
        }
    }
    std::sort(dead.begin(), dead.end());
    for (const std::string& endpoint : found.endpoints) {
        if (std::binary_search(dead.begin(), dead.end(), ProcessOf(endpoint))) {
            (void)unlinkat(dirfd(entries.get()), endpoint.c_str(), 0);
        }
    }
}

}  // namespace orvi_bus
