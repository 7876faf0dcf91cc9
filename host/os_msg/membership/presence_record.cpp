#include "membership/presence_record.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "wire/bus_name.h"
#include "wire/descriptor.h"
#include "wire/little_endian.h"

namespace orvi_bus {

namespace {

constexpr uint32_t kMagic = 0x5256524F;
constexpr uint16_t kVersion = 1;
constexpr size_t kNameAt = 8;
constexpr size_t kBootAt = kNameAt + OS_MSG_NAME_SIZE;
constexpr size_t kOwnAt = kBootAt + sizeof(BootId);
constexpr size_t kIncarnationSize = 16;
constexpr size_t kPidAt = 8;
constexpr size_t kFlagAt = 12;
static_assert(kOwnAt + kFlagAt == kStartedAt, "the byte that changes");

// Numbers may run ahead of the clock where several join within one of its ticks.
constexpr uint64_t kMostAheadNs = 1000000000;

void EncodeIncarnation(const Incarnation& incarnation, uint8_t* out) {
    Put(out, incarnation.number, 8);
    Put(out + kPidAt, static_cast<uint32_t>(incarnation.pid), 4);
    out[kFlagAt] = incarnation.started ? 1 : 0;
}

// `below` is what its number must stay under.
bool DecodeIncarnation(const uint8_t* in, uint64_t below, Incarnation* incarnation) {
    const auto pid = static_cast<uint32_t>(Take(in + kPidAt, 4));
    incarnation->number = Take(in, 8);
    incarnation->pid = static_cast<pid_t>(pid);
    incarnation->started = in[kFlagAt] == 1;
    return incarnation->number != 0 && incarnation->number < below && pid <= INT32_MAX && Take(in + kFlagAt, 4) <= 1;
}

bool IsUnknown(const uint8_t* boot) {
    return std::all_of(boot, boot + sizeof(BootId), [](uint8_t byte) { return byte == 0; });
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

}  // namespace

BootId ThisBoot() {
    BootId boot;
    char text[64];
    const Fd file = Fd::Open("/proc/sys/kernel/random/boot_id", O_RDONLY, 0);
    const ssize_t size = file ? read(file.Get(), text, sizeof(text)) : 0;
    size_t digits = 0;
    for (ssize_t i = 0; i < size && digits < 2 * sizeof(boot.bytes); ++i) {
        const int digit = HexDigit(text[i]);
        if (digit >= 0) {
            uint8_t& byte = boot.bytes[digits / 2];
            byte = static_cast<uint8_t>(byte << 4 | digit);
            ++digits;
        }
    }
    return digits == 2 * sizeof(boot.bytes) ? boot : BootId();
}

void Record::Succeed(const Presence& replaced) {
    earlier[0] = replaced.latest;
    earlierCount = std::min(replaced.earlierCount + 1, Presence::kMostEarlier);
    std::copy_n(replaced.earlier, earlierCount - 1, earlier + 1);
}

void EncodeRecord(const Record& record, const char* procName, const BootId& boot, uint8_t* out) {
    memset(out, 0, kRecordSize);
    Put(out, kMagic, 4);
    Put(out + 4, kVersion, 2);
    Put(out + 6, record.earlierCount, 2);
    memcpy(out + kNameAt, procName, strnlen(procName, OS_MSG_NAME_SIZE - 1));
    memcpy(out + kBootAt, boot.bytes, sizeof(boot.bytes));
    EncodeIncarnation(record.latest, out + kOwnAt);
    for (size_t i = 0; i < record.earlierCount; ++i) {
        EncodeIncarnation(record.earlier[i], out + kOwnAt + (i + 1) * kIncarnationSize);
    }
}

bool DecodeRecord(const uint8_t* in, size_t size, const char* procName, const BootId& boot, uint64_t now,
                  Record* record) {
    if (size != kRecordSize || Take(in, 4) != kMagic || Take(in + 4, 2) != kVersion) {
        return false;
    }
    char name[OS_MSG_NAME_SIZE];
    SetName(name, procName);
    if (memcmp(in + kNameAt, name, sizeof(name)) != 0) {
        return false;
    }
    // Where one side does not know the boot, the clock alone has to tell.
    if (!IsUnknown(in + kBootAt) && !IsUnknown(boot.bytes) && memcmp(in + kBootAt, boot.bytes, sizeof(boot)) != 0) {
        return false;
    }
    const auto count = static_cast<size_t>(Take(in + 6, 2));
    if (count > Presence::kMostEarlier) {
        return false;
    }
    uint64_t below = now + kMostAheadNs + 1;
    for (size_t i = 0; i <= count; ++i) {
        Incarnation* incarnation = i == 0 ? &record->latest : &record->earlier[i - 1];
        if (!DecodeIncarnation(in + kOwnAt + i * kIncarnationSize, below, incarnation)) {
            return false;
        }
        below = incarnation->number;
    }
    record->earlierCount = count;
    return true;
}

}  // namespace orvi_bus
