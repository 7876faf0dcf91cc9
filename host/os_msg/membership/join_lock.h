// The lock under which processes join the bus, one after the other: a record lock on `.lock` in the bus directory.
#ifndef ORVI_HOST_OS_MSG_JOIN_LOCK_H
#define ORVI_HOST_OS_MSG_JOIN_LOCK_H

#include <cstdint>
#include <string>

#include "membership/directory.h"
#include "wire/descriptor.h"

namespace orvi_bus {

constexpr uint32_t kMostJoiners = 30;  // slow ones: those that are quick are not counted

// Takes the lock; it is held until the descriptor is closed. Waits for others, who hold it for as long as a few file
// operations take: up to `waitMs` for each of them, kMostJoiners times that for all. On failure the result is empty and `why` a clause that tells the reason; errno
// is EAGAIN when others had it all the time.
//
// A record lock belongs to the process: two threads of one must not take it at the same time.
Fd TakeJoinLock(const Directory& directory, uint32_t waitMs, std::string* why);

// A new file in the directory, which gives it its mode and group before it gets its name. Removed with the object unless
// it was given one.
class UnfinishedFile {
 public:
    // `path` is the one that the file is to have; until then it has another one, which no process, task or lock has.
    explicit UnfinishedFile(const std::string& path);
    ~UnfinishedFile();
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    // Each returns false with errno set on failure.
    bool Create();                                        // for the owner alone
    bool Admit(const Directory& directory, mode_t mode);  // for those whom the mode names
    bool Replace();                                       // whatever stands at the path
    bool Link();                                          // unless something stands there

    Fd& File() { return file_; }

 private:
    const std::string path_;
    const std::string unfinished_;
    Fd file_;
    bool exists_ = false;
};

}  // namespace orvi_bus

#endif
