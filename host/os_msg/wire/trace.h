// Tells programs that watch the traffic what this process sends, answers and handles.
//
// A watching program listens on one of a few sockets in the bus directory, of the kind SOCK_SEQPACKET: "monitor.0" to
// "monitor.3", or "monitor.0+" when it wants payloads, too. A process looks for them with its first message and then at
// most once a second, connects without waiting, and writes one record for each message, in pieces when the payload is
// long. It never waits: what a watcher has no room for is lost to it, and its next record counts that. Payloads go to
// watchers of the same user and of root, as the kernel names them. ORVI_BUS_TRACE=0 forbids all of it; 1 makes the process
// look at each message until there is a watcher.
#ifndef ORVI_HOST_OS_MSG_TRACE_H
#define ORVI_HOST_OS_MSG_TRACE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

#include "orvi_os_msg.h"
#include "wire/frame.h"

namespace orvi_bus {

constexpr int kMonitorSlots = 4;

enum class TraceKind : uint8_t {
    kOneWay = 1,    // told by its sender
    kRequest = 2,   // by its sender, when it has been sent
    kAnswered = 3,  // by the asker: its wait for the reply has ended, which took durationNs; result tells how
    kReply = 4,     // by who answers
    kHandled = 5    // by the receiver: its handler ran for durationNs. Bus events are told so alone
};

constexpr uint8_t kTracePayload = 1;  // a flag: `pieceSize` bytes of the payload follow
constexpr uint8_t kTraceNoData = 2;   // a reply without data
constexpr uint32_t kTraceMagic = 0x5452564F;
constexpr uint16_t kTraceVersion = 1;
constexpr size_t kTracePiece = size_t{48} * 1024;  // bytes of payload in one record

// Little-endian and alike for every word size. Names are cut to their fields, with a NUL.
struct TraceRecord {
    uint32_t magic;
    uint16_t version;
    uint8_t kind;
    uint8_t flags;
    int64_t timeNs;  // CLOCK_MONOTONIC: before it was sent or, of what has a duration, when it ended
    int64_t durationNs;
    uint64_t stream;  // the asking thread, unique in its process; with `sequence` it tells requests apart
    uint32_t sequence;
    uint32_t msgId;
    int32_t result;
    uint32_t dataLen;      // of the whole payload
    uint32_t pieceOffset;  // where this piece lies in it
    uint32_t pieceSize;
    uint32_t lost;                // records that this watcher did not get before this one
    uint32_t wordBits;            // of the telling process: 32 or 64
    char from[OS_MSG_NAME_SIZE];  // who sent the message or asked
    char to[OS_MSG_NAME_SIZE];    // who receives the message, or was asked
    char task[OS_MSG_NAME_SIZE];  // there
    char teller[OS_MSG_NAME_SIZE];
};
static_assert(sizeof(TraceRecord) == 128, "the record has another size");
static_assert(offsetof(TraceRecord, stream) == 24 && offsetof(TraceRecord, from) == 64, "a field is elsewhere");

// One message as its teller knows it.
struct Told {
    int64_t timeNs;  // taken before a message is sent: what it causes comes later
    TraceKind kind;
    uint32_t msgId;
    uint32_t sequence;
    uint64_t stream;
    int result;
    int64_t durationNs;
    const char* from;  // null: this process
    const char* to;    // null: this process
    const char* task;
    const void* data;
    uint32_t dataLen;
    bool hasNoData;
};

// Once, when the process joins.
void StartTrace(const std::string& directory, const char* procName);

// A place where a watching program listens.
std::string MonitorPath(const std::string& directory, int slot, bool wantsPayloads);

extern std::atomic<int> g_watchers;
extern std::atomic<int64_t> g_nextLookNs;  // INT64_MAX: never
bool LookForWatchers();

inline int64_t CoarseNs() {
    timespec now{};
    (void)clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// Whether somebody watches.
inline bool IsWatched() {
    if (g_watchers.load(std::memory_order_relaxed) != 0) {
        return true;
    }
    const int64_t next = g_nextLookNs.load(std::memory_order_relaxed);
    return __builtin_expect(next != INT64_MAX && CoarseNs() >= next, false) && LookForWatchers();
}

// Only after IsWatched. Throws and waits for nothing.
void TellWatchers(const Told& told);

}  // namespace orvi_bus

#endif
