#include "membership/join_lock.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "membership/presence.h"
#include "wire/deadline.h"

namespace orvi_bus {

namespace {

constexpr int kMostAttempts = 100;  // at a file that others make and remove at the same time

Fd OpenOrMake(const Directory& directory, const std::string& path) {
    // Two steps, since a kernel that protects files in sticky directories refuses O_CREAT on another user's file.
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        Fd file = Fd::Open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0);
        struct stat status {};
        if (file && (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))) {
            errno = EBADF;
            return Fd();
        }
        if (file || errno != ENOENT) {
            return file;
        }
        UnfinishedFile made(path);
        if (!made.Create() || !made.Admit(directory, directory.fileMode)) {
            return Fd();
        }
        // Somebody else may have been first, or may have swept the unfinished file.
        if (!made.Link() && errno != EEXIST && errno != ENOENT) {
            return Fd();
        }
    }
    return Fd();
}

// A lock on a file that somebody removed holds nothing.
bool IsAt(const Fd& file, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    return fstat(file.Get(), &opened) == 0 && lstat(path.c_str(), &named) == 0 && FileId(opened) == FileId(named);
}

}  // namespace

Fd TakeJoinLock(const Directory& directory, uint32_t waitMs, std::string* why) {
    const std::string path = JoinLockPath(directory);
    const Deadline last(waitMs * kMostJoiners);
    Deadline deadline(waitMs);
    pid_t holder = -1;
    for (int attempt = 1;; ++attempt) {
        Fd file = OpenOrMake(directory, path);
        if (!file) {
            *why = "no lock on " + path + ": " + strerror(errno);
            return Fd();
        }
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        lock.l_len = 1;
        // The kernel has no lock with a time limit, hence the naps, which grow where many wait.
        timespec nap{0, 1000000};
        while (fcntl(file.Get(), F_SETLK, &lock) != 0) {
            if (errno != EAGAIN && errno != EACCES) {
                *why = "no lock on " + path + ": " + strerror(errno);
                return Fd();
            }
            struct flock held = lock;
            (void)fcntl(file.Get(), F_GETLK, &held);
            const pid_t before = std::exchange(holder, held.l_type == F_UNLCK ? 0 : std::max<pid_t>(held.l_pid, 0));
            if (holder != before && before >= 0) {
                deadline = last.Expired() ? deadline : Deadline(waitMs);  // they go on, one after the other
            }
            if (deadline.Expired()) {
                *why = "no lock on " + path + ": " +
                       (holder > 0 ? "process " + std::to_string(holder) : std::string("another process")) +
                       " does not let go of it";
                errno = EAGAIN;
                return Fd();
            }
            nanosleep(&nap, nullptr);
            nap.tv_nsec = std::min(nap.tv_nsec * 3 / 2, 20000000L);
        }
        if (IsAt(file, path) || attempt == kMostAttempts) {
            return file;
        }
    }
}

UnfinishedFile::UnfinishedFile(const std::string& path)
    : path_(path), unfinished_(path + "~" + std::to_string(getpid()) + "." + std::to_string(NumberOfNow())) {}

UnfinishedFile::~UnfinishedFile() {
    if (exists_) {
        const int savedErrno = errno;
        (void)unlink(unfinished_.c_str());
        errno = savedErrno;
    }
}

bool UnfinishedFile::Create() {
    file_ = Fd::Open(unfinished_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    exists_ = static_cast<bool>(file_);
    return exists_;
}

bool UnfinishedFile::Admit(const Directory& directory, mode_t mode) {
    if (directory.shared) {
        // The group follows from a set-group-id directory; elsewhere only members of the group may give it.
        (void)!fchown(file_.Get(), static_cast<uid_t>(-1), directory.group);
    }
    return fchmod(file_.Get(), mode) == 0;  // whatever the umask
}

bool UnfinishedFile::Replace() {
    if (rename(unfinished_.c_str(), path_.c_str()) != 0) {
        return false;
    }
    exists_ = false;
    return true;
}

bool UnfinishedFile::Link() {
    return link(unfinished_.c_str(), path_.c_str()) == 0;
}

}  // namespace orvi_bus
