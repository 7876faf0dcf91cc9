#include "wire/trace.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>

#include "wire/bus_name.h"
#include "wire/deadline.h"
#include "wire/mutex.h"
#include "wire/never_destroyed.h"
#include "wire/settings.h"
#include "wire/socket.h"

namespace orvi_bus {

std::atomic<int> g_watchers{0};
std::atomic<int64_t> g_nextLookNs{INT64_MAX};

namespace {

constexpr int64_t kLookEveryNs = 1000000000;

struct Watcher {
    Fd socket;
    bool wantsPayloads = false;
    uint32_t lost = 0;
};

class Watchers {
 public:
    static Watchers& Get() {
        static NeverDestroyed<Watchers> watchers;
        return watchers.Get();
    }

    void Start(const std::string& directory, const char* procName) {
        MutexLock lock(mutex_);
        SetName(own_, procName);
        for (int slot = 0; slot < kMonitorSlots; ++slot) {
            for (const bool payloads : {false, true}) {
                Place& place = places_[slot][payloads ? 1 : 0];
                place.isReachable = MakeAddress(MonitorPath(directory, slot, payloads), &place.address, &place.length);
            }
        }
    }

    bool Look() {
        MutexLock lock(mutex_);
        LookForNew();
        return Count() != 0;
    }

    void Tell(const Told& told) {
        TraceRecord record{};
        record.magic = kTraceMagic;
        record.version = kTraceVersion;
        record.kind = static_cast<uint8_t>(told.kind);
        record.flags = told.hasNoData ? kTraceNoData : uint8_t{0};
        record.timeNs = told.timeNs;
        record.durationNs = told.durationNs;
        record.stream = told.stream;
        record.sequence = told.sequence;
        record.msgId = told.msgId;
        record.result = told.result;
        record.dataLen = told.dataLen;
        record.wordBits = 8 * sizeof(void*);
        SetName(record.task, told.task);
        MutexLock lock(mutex_);
        if (CoarseNs() >= g_nextLookNs.load(std::memory_order_relaxed)) {
            LookForNew();  // one that came while another watches
        }
        SetName(record.from, told.from != nullptr ? told.from : own_);
        SetName(record.to, told.to != nullptr ? told.to : own_);
        SetName(record.teller, own_);
        for (int slot = 0; slot < kMonitorSlots; ++slot) {
            Watcher& watcher = watchers_[slot];
            if (watcher.socket && !Write(record, told.data, &watcher)) {
                // That it has gone shows only now, and another may have listened at its place for long.
                watcher = Watcher();
                Fd socket;
                LookAt(slot, &socket);
                if (watcher.socket && !Write(record, told.data, &watcher)) {
                    watcher = Watcher();
                }
            }
        }
        (void)Count();
    }

 private:
    struct Place {
        sockaddr_un address{};
        socklen_t length = 0;
        bool isReachable = false;
    };

    void LookForNew() ORVI_BUS_REQUIRES(mutex_) {
        Fd socket;
        for (int slot = 0; slot < kMonitorSlots; ++slot) {
            LookAt(slot, &socket);
        }
        g_nextLookNs.store(CoarseNs() + kLookEveryNs, std::memory_order_relaxed);
    }

    // `socket` is made when there is none, and kept for the next place when nobody listens at this one.
    void LookAt(int slot, Fd* socket) ORVI_BUS_REQUIRES(mutex_) {
        for (const bool payloads : {false, true}) {
            if (!watchers_[slot].socket) {
                if (!*socket) {
                    *socket = Fd::PacketSocket();
                }
                *socket = Connect(places_[slot][payloads ? 1 : 0], payloads, std::move(*socket), &watchers_[slot]);
            }
        }
    }

    // Gives the socket back, for the next place, when nobody listens at this one.
    static Fd Connect(const Place& place, bool payloads, Fd socket, Watcher* watcher) {
        if (!place.isReachable || !socket ||
            connect(socket.Get(), reinterpret_cast<const sockaddr*>(&place.address), place.length) != 0) {
            return socket;
        }
        ucred peer{};
        socklen_t size = sizeof(peer);
        if (getsockopt(socket.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0) {
            watcher->socket = std::move(socket);
            watcher->wantsPayloads = payloads && (peer.uid == geteuid() || peer.uid == 0);
            watcher->lost = 0;
        }
        return {};
    }

    // False when the watcher has gone.
    static bool Write(TraceRecord record, const void* data, Watcher* watcher) {
        record.lost = watcher->lost;
        const bool hasPayload = watcher->wantsPayloads && data != nullptr && record.dataLen != 0;
        do {
            if (hasPayload) {
                record.flags |= kTracePayload;
                record.pieceSize = std::min<uint32_t>(record.dataLen - record.pieceOffset, kTracePiece);
            }
            iovec parts[] = {
                {&record, sizeof(record)},
                {const_cast<uint8_t*>(static_cast<const uint8_t*>(data)) + record.pieceOffset, record.pieceSize}};
            msghdr message{};
            message.msg_iov = parts;
            message.msg_iovlen = record.pieceSize != 0 ? 2 : 1;
            ssize_t size = 0;
            do {
                size = sendmsg(watcher->socket.Get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
            } while (size < 0 && errno == EINTR);
            if (size < 0) {
                ++watcher->lost;  // a message of which a piece is missing is lost as a whole
                return errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM || errno == EMSGSIZE;
            }
            record.pieceOffset += record.pieceSize;
        } while (hasPayload && record.pieceOffset < record.dataLen);
        watcher->lost = 0;
        return true;
    }

    int Count() ORVI_BUS_REQUIRES(mutex_) {
        const int count = static_cast<int>(
            std::count_if(std::begin(watchers_), std::end(watchers_), [](const Watcher& w) { return bool(w.socket); }));
        g_watchers.store(count, std::memory_order_relaxed);
        if (count == 0 && GetSettings().trace == Trace::kAlways) {
            g_nextLookNs.store(0, std::memory_order_relaxed);
        }
        return count;
    }

    Mutex mutex_;
    char own_[OS_MSG_NAME_SIZE] ORVI_BUS_GUARDED_BY(mutex_) = {};
    Place places_[kMonitorSlots][2] ORVI_BUS_GUARDED_BY(mutex_);
    Watcher watchers_[kMonitorSlots] ORVI_BUS_GUARDED_BY(mutex_);
};

}  // namespace

std::string MonitorPath(const std::string& directory, int slot, bool wantsPayloads) {
    return directory + "/monitor." + std::to_string(slot) + (wantsPayloads ? "+" : "");
}

void StartTrace(const std::string& directory, const char* procName) {
    if (GetSettings().trace != Trace::kNever) {
        Watchers::Get().Start(directory, procName);
        g_nextLookNs.store(0, std::memory_order_relaxed);
    }
}

bool LookForWatchers() {
    return !InForkedChild() && Watchers::Get().Look();
}

void TellWatchers(const Told& told) {
    if (!InForkedChild()) {
        const int error = errno;
        Watchers::Get().Tell(told);
        errno = error;
    }
}

}  // namespace orvi_bus
