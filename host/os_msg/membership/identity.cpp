#include "membership/identity.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "membership/join_lock.h"
#include "membership/sweep.h"
#include "orvi_host_bus.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/deadline.h"
#include "wire/fault_point.h"
#include "wire/settings.h"
#include "wire/trace.h"

namespace orvi_bus {

namespace {

constexpr uint32_t kJoinersWaitMs = 2000;
constexpr uint32_t kDyingHolderWaitMs = 500;

// A process that was killed a moment ago may hold its name still.
void WaitForEnd(pid_t holder, const Deadline& deadline) {
    const Fd process = Fd::Pid(holder);
    if (process) {
        (void)PollFor(process.Get(), POLLIN, deadline);
    } else if (errno != ESRCH) {
        const timespec nap{0, 2000000};
        nanosleep(&nap, nullptr);
    }
}

Fd SpareDescriptor() {
    return Fd::Open("/dev/null", O_RDONLY, 0);
}

bool WriteAll(const Fd& file, const uint8_t* content, size_t size) {
    const ssize_t written = pwrite(file.Get(), content, size, 0);
    if (written >= 0 && static_cast<size_t>(written) != size) {
        errno = ENOSPC;
    }
    return written >= 0 && static_cast<size_t>(written) == size;
}

}  // namespace

int Identity::Join(const char* name) {
    (void)GetSettings();  // what is wrong with them is told first
    MutexLock joining(joining_);
    if (Joined()) {
        Log(kLogError, "cannot join as '%s': this process has joined as '%s'", name, name_);
        return ORVI_BUS_E_STATE;
    }
    std::string why;
    if (!FindDirectory(&directory_, &why)) {
        Log(kLogError, "cannot join as '%s': %s", name, why.c_str());
        return ORVI_BUS_E_DIRECTORY;
    }
    recordPath_ = PresencePath(directory_, name);
    boot_ = ThisBoot();
    {
        MutexLock lock(mutex_);
        if (!spare_) {
            spare_ = SpareDescriptor();
        }
    }
    StartTrace(directory_.path, name);
    // The last step that can fail.
    const int result = TakeName(directory_, name, &why);
    if (result != 0) {
        Log(kLogError, "cannot join as '%s': %s", name, why.c_str());
        return result;
    }
    SetName(name_, name);
    joined_.store(true, std::memory_order_release);
    Log(kLogInfo, "joined as '%s' in %s", name, directory_.path.c_str());
    return 0;
}

int Identity::TakeName(const Directory& directory, const char* name, std::string* why) {
    const bool again = Joined();
    const Deadline deadline(again ? 0 : kDyingHolderWaitMs);
    for (;;) {
        pid_t holder = 0;
        {
            const Fd others = TakeJoinLock(directory, again ? 0 : kJoinersWaitMs, why);
            if (!others) {
                return again && errno == EAGAIN ? ORVI_BUS_E_TIMEOUT : ORVI_BUS_E_SYSTEM;
            }
            (void)AtFaultPoint(FaultPoint::kJoinLocked);
            RecordLook found;
            {
                MutexLock lock(mutex_);
                struct stat status {};
                own_.joinLock = fstat(others.Get(), &status) == 0 ? FileId(status) : FileId();
                found = LookAtRecord({boot_, own_, &spare_}, recordPath_.c_str(), name);
            }
            if (found.presence.seen == Presence::Seen::kUnknown) {
                *why = recordPath_ + ": " + strerror(found.presence.error);
                return ORVI_BUS_E_SYSTEM;
            }
            if (found.foreign && found.held) {
                Log(kLogError, "process %d holds %s, which is no record of that name: it is replaced",
                    static_cast<int>(found.holder), recordPath_.c_str());
            }
            if (!found.presence.alive) {
                return PutInPlace(directory, name, found.presence, why);
            }
            holder = found.presence.latest.pid;
        }
        if (holder == 0) {
            *why = "a process in another pid namespace has that name";
            return ORVI_BUS_E_NAME;
        }
        if (deadline.Expired()) {
            *why = "process " + std::to_string(holder) + " has that name";
            return ORVI_BUS_E_NAME;
        }
        WaitForEnd(holder, deadline);
    }
}

int Identity::PutInPlace(const Directory& directory, const char* name, const Presence& replaced, std::string* why) {
    const bool again = Joined();
    MutexLock lock(mutex_);
    if (!again) {
        SweepDead(directory, name, own_);
    }
    UnfinishedFile made(recordPath_);
    Record record;
    record.latest.number = again ? number_ : std::max(replaced.latest.number, NumberOfNow()) + 1;
    record.latest.pid = getpid();
    record.latest.started = Started();
    // Another user's record might tell anything of this one's past.
    if (!again && replaced.seen == Presence::Seen::kThere && replaced.owner == geteuid()) {
        record.Succeed(replaced);
    }
    uint8_t content[kRecordSize];
    EncodeRecord(record, name, boot_, content);
    struct stat status {};
    if (!made.Create() || !LockRecord(made.File()) || !WriteAll(made.File(), content, sizeof(content)) ||
        !made.Admit(directory, directory.RecordMode()) || fstat(made.File().Get(), &status) != 0 || !made.Replace()) {
        *why = recordPath_ + ": " + strerror(errno);
        return ORVI_BUS_E_SYSTEM;
    }
    (void)AtFaultPoint(FaultPoint::kJoinRecorded);
    file_ = std::move(made.File());
    own_.record = FileId(status);
    record_ = record;
    owner_ = status.st_uid;
    if (!again) {
        number_ = record.latest.number;
    }
    return 0;
}

int Identity::MarkStarted() {
    if (Started()) {
        return 0;
    }
    MutexLock lock(mutex_);
    if (!Started()) {
        const uint8_t started = 1;
        if (pwrite(file_.Get(), &started, 1, kStartedAt) != 1) {  // which wakes the watchers
            Log(kLogError, "cannot tell the bus that '%s' has started: %s", name_, strerror(errno));
            return ORVI_BUS_E_SYSTEM;
        }
        record_.latest.started = true;
        started_.store(true, std::memory_order_release);
    }
    return 0;
}

Presence Identity::Look(const char* procName) const {
    MutexLock lock(mutex_);
    if (strcmp(procName, name_) == 0) {
        Presence own;
        own.seen = Presence::Seen::kThere;
        own.owner = owner_;
        own.alive = true;
        own.latest = record_.latest;
        std::copy_n(record_.earlier, record_.earlierCount, own.earlier);
        own.earlierCount = record_.earlierCount;
        return own;
    }
    char path[256];
    const int length =
        snprintf(path, sizeof(path), "%s/%s%s", directory_.path.c_str(), EncodeName(procName).c_str(), kPresenceSuffix);
    if (length < 0 || static_cast<size_t>(length) >= sizeof(path)) {
        return {};  // longer than any name that could join
    }
    const RecordLook look = LookAtRecord({boot_, own_, &spare_}, path, procName);
    if (!spare_) {
        spare_ = SpareDescriptor();
    }
    return look.presence;
}

bool Identity::InPlace() const {
    MutexLock lock(mutex_);
    struct stat status {};
    // What cannot be looked at is not known to have gone.
    return lstat(recordPath_.c_str(), &status) == 0 ? FileId(status) == own_.record
                                                    : errno != ENOENT && errno != ENOTDIR;
}

int Identity::PutBack(std::string* why) {
    MutexLock joining(joining_);
    if (!Joined()) {
        *why = "this process has not joined";
        return ORVI_BUS_E_NOT_JOINED;
    }
    if (InPlace()) {
        return 0;
    }
    Directory directory = directory_;
    if (!FindAgain(&directory, why)) {
        return ORVI_BUS_E_DIRECTORY;
    }
    return TakeName(directory, name_, why);
}

}  // namespace orvi_bus
