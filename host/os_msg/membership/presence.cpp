#include "membership/presence.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

#include "membership/presence_record.h"

namespace orvi_bus {

namespace {

struct flock LockOf(short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 1;
    return lock;
}

RecordLook Unknown(int error) {
    RecordLook look;
    look.presence.seen = Presence::Seen::kUnknown;
    look.presence.error = error;
    return look;
}

// What an errno of a look at a path says: that nothing is there, that no file is, or nothing at all.
RecordLook Failed(int error) {
    RecordLook look;
    if (error == ENOENT || error == ENOTDIR) {
        return look;
    }
    if (error == ELOOP || error == ENXIO) {  // a symbolic link or a special file came into its place
        look.foreign = true;
        return look;
    }
    return Unknown(error);
}

Fd OpenRecord(const char* path, Fd* spare) {
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    Fd file = Fd::Open(path, kFlags, 0);
    if (!file && (errno == EMFILE || errno == ENFILE) && *spare) {
        spare->Reset();
        file = Fd::Open(path, kFlags, 0);
    }
    return file;
}

}  // namespace

uint64_t NumberOfNow() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000U + static_cast<uint64_t>(now.tv_nsec);
}

bool LockRecord(const Fd& file) {
    struct flock lock = LockOf(F_WRLCK);
    return fcntl(file.Get(), F_SETLK, &lock) == 0;
}

Held IsHeld(const Fd& file, pid_t* pid) {
    struct flock lock = LockOf(F_RDLCK);
    while (fcntl(file.Get(), F_GETLK, &lock) != 0) {
        if (errno != EINTR) {
            return Held::kUnknown;
        }
    }
    *pid = lock.l_type == F_UNLCK ? 0 : std::max<pid_t>(lock.l_pid, 0);
    return lock.l_type == F_UNLCK ? Held::kNo : Held::kYes;
}

RecordLook LookAtRecord(const Looker& looker, const char* path, const char* procName) {
    RecordLook look;
    struct stat status {};
    if (lstat(path, &status) != 0) {
        return Failed(errno);
    }
    if (!S_ISREG(status.st_mode) || looker.own.Has(FileId(status))) {
        look.foreign = true;
        return look;
    }
    Fd file = OpenRecord(path, looker.spare);
    if (!file || fstat(file.Get(), &status) != 0) {
        return Failed(errno);
    }
    if (looker.own.Has(FileId(status))) {
        file.LeaveOpen();  // linked here since the first look
        look.foreign = true;
        return look;
    }
    const Held held = IsHeld(file, &look.holder);
    if (held == Held::kUnknown) {
        return Unknown(errno);
    }
    look.held = held == Held::kYes;
    uint8_t content[kRecordSize + 1];
    const ssize_t size = S_ISREG(status.st_mode) ? pread(file.Get(), content, sizeof(content), 0) : 0;
    if (size < 0) {
        return Unknown(errno);
    }
    Record record;
    if (!DecodeRecord(content, static_cast<size_t>(size), procName, looker.boot, NumberOfNow(), &record)) {
        look.foreign = true;
        return look;
    }
    Presence& presence = look.presence;
    presence.seen = Presence::Seen::kThere;
    presence.owner = status.st_uid;
    presence.alive = look.held;
    presence.latest = record.latest;
    if (presence.alive) {
        presence.latest.pid = look.holder;  // the kernel's word, not the record's
    }
    std::copy_n(record.earlier, record.earlierCount, presence.earlier);
    presence.earlierCount = record.earlierCount;
    return look;
}

}  // namespace orvi_bus
