// Who is on the bus: one record file per name, and a record lock on its first byte.
//
// A process that joins makes its own `<name>.lock` complete under another name, its byte 0 locked, and renames it into
// place: one inode is one incarnation of the name. Only its owner ever writes to it, and only the byte that says that it
// has started; the record of a dead one is replaced, and what it told of the past is copied. A record lock belongs to the
// process, so it goes with it, by kill -9 too, and a forked child does not keep it.
//
// The kernel drops a process's record locks as soon as it closes any descriptor of the file: a process must never close
// a descriptor of its own record.
#ifndef ORVI_HOST_OS_MSG_PRESENCE_H
#define ORVI_HOST_OS_MSG_PRESENCE_H

#include <cstddef>
#include <cstdint>
#include <sys/stat.h>
#include <sys/types.h>

#include "wire/descriptor.h"

namespace orvi_bus {

struct BootId;

// One process of a name. Number 0: none.
struct Incarnation {
    uint64_t number = 0;  // grows from each incarnation of a name to the next
    pid_t pid = 0;        // 0 when it is not visible from here
    bool started = false;
};

// What a look at a name found.
struct Presence {
    enum class Seen { kAbsent, kUnknown, kThere };  // kUnknown: it could not be looked at, which says nothing
    static constexpr size_t kMostEarlier = 32;

    Seen seen = Seen::kAbsent;
    int error = 0;       // errno when kUnknown
    uid_t owner = 0;     // of the record
    bool alive = false;  // the latest incarnation has not ended
    Incarnation latest;
    Incarnation earlier[kMostEarlier];  // newest first
    size_t earlierCount = 0;
};

// Incarnations that join from now on have higher numbers. Nanoseconds since the machine's start: no clock that somebody
// sets.
uint64_t NumberOfNow();

// Which file an inode is.
struct FileId {
    dev_t device = 0;
    ino_t inode = 0;
    explicit FileId(const struct stat& status) : device(status.st_dev), inode(status.st_ino) {}
    FileId() = default;
    bool operator==(const FileId& other) const { return device == other.device && inode == other.inode; }
};

// The record lock that says that a record's process lives. Only its owner can hold it: a read lock, which everybody who
// may read the file can take, says nothing.
bool LockRecord(const Fd& file);
enum class Held { kNo, kYes, kUnknown };
// kUnknown with errno set. `pid`: of the holder, 0 when it is not visible from here.
Held IsHeld(const Fd& file, pid_t* pid);

// A look at the record under a path.
struct RecordLook {
    Presence presence;
    bool foreign = false;  // something stands there that is no believable record: `presence` is absent
    bool held = false;     // by a live process, like a record, even if it is none
    pid_t holder = 0;      // that process, if it is visible from here
};

// Files on which this process has locks. To close one under whatever name lets go of its lock, so they are not looked at.
struct OwnFiles {
    FileId record;
    FileId joinLock;
    bool Has(const FileId& file) const { return file == record || file == joinLock; }
};

struct Looker {
    const BootId& boot;
    OwnFiles own;
    Fd* spare;  // is given up when the look needs a descriptor and there is none
};

RecordLook LookAtRecord(const Looker& looker, const char* path, const char* procName);

}  // namespace orvi_bus

#endif
