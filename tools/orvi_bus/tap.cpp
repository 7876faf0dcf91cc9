#include "tap.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "membership/directory.h"
#include "wire/deadline.h"
#include "wire/socket.h"

namespace orvi_bus_tool {
namespace {

using orvi_bus::TraceRecord;

constexpr int BACKLOG = 128;
constexpr int MOST_AT_ONCE = 256;  // records of one process before the next one's turn
constexpr int64_t PAUSE_NS = 100 * 1000000LL;

}  // namespace

Tap::~Tap() {
    if (!path_.empty()) {
        (void)unlink(path_.c_str());
    }
}

bool Tap::Open(bool wantsPayloads, std::string& why) {
    orvi_bus::Directory directory;
    if (!orvi_bus::FindDirectory(&directory, &why)) {
        return false;
    }
    buffer_.resize(sizeof(TraceRecord) + orvi_bus::kTracePiece);
    return Bind(directory, wantsPayloads, why);
}

// The first place that is free or was left by one that was killed.
bool Tap::Bind(const orvi_bus::Directory& where, bool wantsPayloads, std::string& why) {
    const std::string& directory = where.path;
    for (int slot = 0; slot < orvi_bus::kMonitorSlots; ++slot) {
        const auto isTaken = [&](bool payloads) {
            const std::string path = orvi_bus::MonitorPath(directory, slot, payloads);
            sockaddr_un address{};
            socklen_t length = 0;
            const orvi_bus::Fd probe = orvi_bus::Fd::PacketSocket();
            if (!orvi_bus::MakeAddress(path, &address, &length) ||
                connect(probe.Get(), reinterpret_cast<const sockaddr*>(&address), length) == 0 || errno == EAGAIN) {
                return true;
            }
            if (errno == ECONNREFUSED) {
                (void)unlink(path.c_str());
            }
            return false;
        };
        if (isTaken(false) || isTaken(true)) {
            continue;
        }
        // It appears complete: one that is bound and does not listen yet would look as if it had been left.
        const std::string path = orvi_bus::MonitorPath(directory, slot, wantsPayloads);
        const std::string unfinished = path + orvi_bus::kUnfinishedMark + std::to_string(getpid());
        sockaddr_un address{};
        socklen_t length = 0;
        listener_ = orvi_bus::Fd::PacketSocket();
        if (!orvi_bus::MakeAddress(unfinished, &address, &length) ||
            bind(listener_.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) {
            why = unfinished + ": " + std::strerror(errno);
            return false;
        }
        const bool isReady = orvi_bus::AdoptSocket(where, unfinished) && listen(listener_.Get(), BACKLOG) == 0;
        const bool isThere = isReady && link(unfinished.c_str(), path.c_str()) == 0;
        const int error = errno;
        (void)unlink(unfinished.c_str());
        if (isThere) {
            path_ = path;
            return true;
        }
        if (error != EEXIST) {
            why = path + ": " + std::strerror(error);
            return false;
        }
    }
    why = "the traffic in " + directory + " is watched by " + std::to_string(orvi_bus::kMonitorSlots) +
          " programs already, or the path is too long";
    return false;
}

void Tap::Accept() {
    while (orvi_bus::Fd socket = orvi_bus::Fd::Accept(listener_.Get())) {
        auto teller = std::make_unique<Teller>();
        ucred peer{};
        socklen_t size = sizeof(peer);
        if (getsockopt(socket.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0) {
            teller->pid = peer.pid;
            teller->uid = peer.uid;
        }
        teller->socket = std::move(socket);
        tellers_.push_back(std::move(teller));
    }
    if (orvi_bus::IsShortage(errno)) {
        // They wait in the backlog. The listener stays readable: it is not to be spun on.
        acceptAgainNs_ = orvi_bus::MonotonicNs() + PAUSE_NS;
        if (!std::exchange(isShortageTold_, true)) {
            std::fprintf(stderr, "orvi-bus: %zu processes are watched, the others not for now: %s\n", tellers_.size(),
                         std::strerror(errno));
        }
    }
}

// False when the teller has gone, or tells what is no record.
bool Tap::Read(Teller& teller) {
    for (int i = 0; i < MOST_AT_ONCE; ++i) {
        const ssize_t size = recv(teller.socket.Get(), buffer_.data(), buffer_.size(), MSG_DONTWAIT);
        if (size < 0 && errno == EINTR) {
            continue;
        }
        if (size < 0) {
            return errno == EAGAIN;
        }
        if (size == 0 || !Take(teller, buffer_.data(), static_cast<size_t>(size))) {
            return false;
        }
    }
    return true;
}

bool Tap::Take(Teller& teller, const uint8_t* bytes, size_t size) {
    TraceRecord told{};
    if (size < sizeof(told)) {
        return false;
    }
    std::memcpy(&told, bytes, sizeof(told));
    std::optional<TrafficRecord> record = FromTrace(told);
    if (!record || told.pieceSize != size - sizeof(told) || told.pieceOffset > told.dataLen ||
        told.pieceSize > told.dataLen - told.pieceOffset) {
        return false;
    }
    if (told.pieceOffset == 0) {
        lost_ += told.lost;
        record->timeNs = std::min(record->timeNs, orvi_bus::MonotonicNs());  // else it would wait here until then
        record->pid = teller.pid;
        record->uid = teller.uid;
        if ((told.flags & orvi_bus::kTracePayload) != 0) {
            record->payload.emplace();
        }
        teller.unfinished = std::make_unique<TrafficRecord>(std::move(*record));
    }
    // A piece whose beginning was lost is lost with it.
    if (!teller.unfinished || (teller.unfinished->payload && teller.unfinished->payload->size() != told.pieceOffset)) {
        teller.unfinished.reset();
        return true;
    }
    TrafficRecord& whole = *teller.unfinished;
    if (whole.payload) {
        whole.payload->insert(whole.payload->end(), bytes + sizeof(told), bytes + size);
    }
    if (!whole.payload || whole.payload->size() == whole.size) {
        waiting_.emplace(whole.timeNs, std::move(whole));
        teller.unfinished.reset();
    }
    return true;
}

void Tap::Release(int64_t until, std::vector<TrafficRecord>& records) {
    while (!waiting_.empty() && waiting_.begin()->first <= until) {
        records.push_back(std::move(waiting_.begin()->second));
        waiting_.erase(waiting_.begin());
    }
}

bool Tap::Wait(Milliseconds most, std::vector<TrafficRecord>& records) {
    const bool mayAccept = orvi_bus::MonotonicNs() >= acceptAgainNs_;
    std::vector<pollfd> entries{{end_.Descriptor(), POLLIN, 0}, {mayAccept ? listener_.Get() : -1, POLLIN, 0}};
    for (const auto& teller : tellers_) {
        entries.push_back({teller->socket.Get(), POLLIN, 0});
    }
    const Milliseconds patience = waiting_.empty() ? most : std::min(most, REORDER);
    if (poll(entries.data(), entries.size(), static_cast<int>(patience.count())) > 0) {
        for (size_t i = tellers_.size(); i-- > 0;) {
            if (entries[i + 2].revents != 0 && !Read(*tellers_[i])) {
                tellers_.erase(tellers_.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (entries[1].revents != 0) {
            Accept();
        }
    }
    Release(orvi_bus::MonotonicNs() - std::chrono::nanoseconds(REORDER).count(), records);
    return entries[0].revents == 0;
}

void Tap::Drain(std::vector<TrafficRecord>& records) {
    for (const auto& teller : tellers_) {
        (void)Read(*teller);
    }
    Release(INT64_MAX, records);
}

}  // namespace orvi_bus_tool
