// A presence record: the content of `<name>.lock`.
//
// Fixed width, little-endian, so that 32- and 64-bit processes read each other's:
//
//   record      := magic u32, version u16, number of earlier incarnations u16, name (16), boot id (16),
//                  own incarnation, 32 earlier incarnations, newest first, unused ones zero
//   incarnation := number u64, pid u32, started u8, 0 (3 bytes)
//
// Once it stands under its name only the own `started` changes, once. Anybody who may write to the directory may put a
// file there, so one is believed only where all of it could be true.
#ifndef ORVI_HOST_OS_MSG_PRESENCE_RECORD_H
#define ORVI_HOST_OS_MSG_PRESENCE_RECORD_H

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

#include "membership/presence.h"
#include "orvi_os_msg.h"

namespace orvi_bus {

// Which boot of the machine this is: numbers of incarnations count from it. All zero where the kernel does not tell.
struct BootId {
    uint8_t bytes[16] = {};
};
BootId ThisBoot();

struct Record {
    Incarnation latest;
    Incarnation earlier[Presence::kMostEarlier];  // newest first
    size_t earlierCount = 0;

    // Makes what `replaced` knows, itself among it, the history of this one.
    void Succeed(const Presence& replaced);
};

constexpr size_t kRecordSize = 8 + OS_MSG_NAME_SIZE + sizeof(BootId) + 16 * (1 + Presence::kMostEarlier);
constexpr off_t kStartedAt = 8 + OS_MSG_NAME_SIZE + sizeof(BootId) + 12;  // the own `started`

void EncodeRecord(const Record& record, const char* procName, const BootId& boot, uint8_t* out);

// False when these bytes are not a record of that name from this boot, or tell of incarnations out of order or from the
// future. `now` is NumberOfNow().
bool DecodeRecord(const uint8_t* in, size_t size, const char* procName, const BootId& boot, uint64_t now,
                  Record* record);

}  // namespace orvi_bus

#endif
