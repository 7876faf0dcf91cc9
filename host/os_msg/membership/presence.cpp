#include "membership/presence.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "orvi_host_bus.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/deadline.h"

namespace orvi_bus {

namespace {

constexpr off_t kNameByte = 0;
constexpr off_t kStartedByte = 1;
constexpr uint32_t kJoinLockWaitMs = 2000;  // others hold it for as long as a few file operations take
constexpr uint32_t kDyingHolderWaitMs = 500;
constexpr time_t kRecordKeptSeconds = 60;  // longer than a watcher is held up

struct flock LockOf(off_t byte) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

bool TryLock(const Fd& file, off_t byte) {
    struct flock lock = LockOf(byte);
    return fcntl(file.Get(), F_SETLK, &lock) == 0;
}

// True when another process holds the byte; `pid` is then its id as far as it is visible.
bool IsLocked(const Fd& file, off_t byte, pid_t* pid) {
    struct flock lock = LockOf(byte);
    if (fcntl(file.Get(), F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) {
        return false;
    }
    *pid = std::max<pid_t>(lock.l_pid, 0);
    return true;
}

// What the file holds.
struct Record {
    uint64_t latest = 0;
    uint64_t latestStarted = 0;
    bool operator==(const Record& other) const {
        return latest == other.latest && latestStarted == other.latestStarted;
    }
};

Record ReadRecord(const Fd& file) {
    Record record;
    return pread(file.Get(), &record, sizeof(record), 0) == sizeof(record) ? record : Record();
}

bool WriteRecord(const Fd& file, const Record& record) {
    return pwrite(file.Get(), &record, sizeof(record), 0) == sizeof(record);
}

// When the record was written is when its process joined or started.
bool IsRecent(const Fd& file) {
    struct stat status {};
    return fstat(file.Get(), &status) == 0 && time(nullptr) - status.st_mtim.tv_sec < kRecordKeptSeconds;
}

// True when the path still names the opened file: a lock on a removed file holds nothing.
bool IsCurrent(const Fd& file, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    return fstat(file.Get(), &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

// The lock that serialises joining. The kernel has no lock with a time limit, hence the short naps; only a stopped
// process makes them many.
Fd TakeJoinLock(const Directory& directory) {
    Fd file = OpenLockFile(directory, JoinLockPath(directory));
    const Deadline deadline(kJoinLockWaitMs);
    while (file && !TryLock(file, kNameByte)) {
        if ((errno != EAGAIN && errno != EACCES) || deadline.Expired()) {
            return Fd();
        }
        const timespec nap{0, 2000000};
        nanosleep(&nap, nullptr);
    }
    return file;
}

// A process that was killed a moment ago may hold its name still.
void WaitForEnd(pid_t holder) {
    const Fd process = holder > 0 ? Fd::Pid(holder) : Fd();
    if (process) {
        (void)PollFor(process.Get(), POLLIN, Deadline(kDyingHolderWaitMs));
    }
}

// Removes what dead processes left, so that names that hold a process id do not fill the directory; the record of one
// that started a moment ago stays for watchers that have not looked since. `own` is left to the caller. Whoever opened a
// presence before it was removed finds out by IsCurrent.
void SweepDead(const Directory& directory, const std::string& own) {
    std::vector<std::string> stems;
    DIR* entries = opendir(directory.path.c_str());
    if (entries == nullptr) {
        return;
    }
    while (const dirent* entry = readdir(entries)) {
        std::string stem = PresenceStem(entry->d_name);
        if (!stem.empty() && stem != own) {
            stems.push_back(std::move(stem));
        }
    }
    closedir(entries);
    for (const std::string& stem : stems) {
        const std::string path = directory.path + '/' + stem + ".lock";
        const Fd file = Fd::Open(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK, 0);
        if (file && TryLock(file, kNameByte)) {
            RemoveEndpoints(directory, stem);
            if (!IsRecent(file)) {
                (void)unlink(path.c_str());
            }
        }
    }
}

}  // namespace

uint64_t IncarnationOfNow() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000U + static_cast<uint64_t>(now.tv_nsec);
}

int OwnPresence::Acquire(const Directory& directory, const char* name) {
    const std::string path = PresencePath(directory, name);
    const Deadline deadline(kDyingHolderWaitMs);
    for (;;) {
        pid_t holder = 0;
        {
            const Fd joining = TakeJoinLock(directory);
            if (!joining) {
                Log(kLogError, "cannot join as '%s': no lock on %s: %s", name, JoinLockPath(directory).c_str(),
                    strerror(errno));
                return ORVI_BUS_E_SYSTEM;
            }
            Fd file = OpenLockFile(directory, path);
            if (!file) {
                Log(kLogError, "cannot join as '%s': %s: %s", name, path.c_str(), strerror(errno));
                return ORVI_BUS_E_SYSTEM;
            }
            if (TryLock(file, kNameByte)) {
                if (!IsCurrent(file, path)) {
                    continue;
                }
                const Record before = ReadRecord(file);
                incarnation_ = std::max(before.latest + 1, IncarnationOfNow());
                if (!WriteRecord(file, {incarnation_, before.latestStarted})) {
                    Log(kLogError, "cannot join as '%s': %s: %s", name, path.c_str(), strerror(errno));
                    return ORVI_BUS_E_SYSTEM;
                }
                RemoveEndpoints(directory, EncodeName(name));
                SweepDead(directory, EncodeName(name));
                file_ = std::move(file);
                return 0;
            }
            if (errno != EAGAIN && errno != EACCES) {
                Log(kLogError, "cannot join as '%s': %s: %s", name, path.c_str(), strerror(errno));
                return ORVI_BUS_E_SYSTEM;
            }
            if (!IsLocked(file, kNameByte, &holder)) {
                continue;  // it has just gone
            }
        }
        if (deadline.Expired() || holder == 0) {
            Log(kLogError, "cannot join as '%s': process %d has that name", name, static_cast<int>(holder));
            return ORVI_BUS_E_NAME;
        }
        WaitForEnd(holder);
    }
}

bool OwnPresence::MarkStarted() {
    // The write wakes the watchers; they look at the lock.
    return TryLock(file_, kStartedByte) && WriteRecord(file_, {incarnation_, incarnation_});
}

Presence LookAt(const Directory& directory, const char* name) {
    Presence presence;
    const Fd file = Fd::Open(PresencePath(directory, name), O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0);
    if (!file) {
        return presence;
    }
    for (;;) {  // until the record did not change around the look at the locks: then they belong together
        const Record record = ReadRecord(file);
        presence.latest = record.latest;
        presence.latestStarted = record.latestStarted;
        presence.pid = 0;
        presence.joined = IsLocked(file, kNameByte, &presence.pid);
        presence.started = IsLocked(file, kStartedByte, &presence.pid);
        if (ReadRecord(file) == record) {
            return presence;
        }
    }
}

}  // namespace orvi_bus
