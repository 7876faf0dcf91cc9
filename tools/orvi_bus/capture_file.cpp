#include "capture_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>
#include <vector>

#include "exchange.h"

namespace orvi_bus_tool {
namespace {

constexpr uint32_t SECTION = 0x0A0D0D0A;
constexpr uint32_t SECTION_ORDER = 0x1A2B3C4D;
constexpr uint32_t INTERFACE = 1;
constexpr uint32_t PACKET = 6;
constexpr uint16_t LINK_USER0 = 147;
constexpr uint32_t PACKET_HEAD = 20;
constexpr uint32_t LONGEST_BLOCK = orvi_bus::kMaxDataLen + (1U << 16);

constexpr uint16_t OPTION_COMMENT = 1;
constexpr uint16_t OPTION_PROGRAM = 4;
constexpr uint16_t OPTION_FLAGS = 2;
constexpr uint16_t OPTION_LOST = 4;
constexpr uint16_t OPTION_RESOLUTION = 9;
constexpr uint32_t INBOUND = 1;
constexpr uint32_t OUTBOUND = 2;

int64_t Now(clockid_t clock) {
    timespec now{};
    (void)clock_gettime(clock, &now);
    return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

template <class Number>
void Add(std::string& bytes, Number number) {
    bytes.append(reinterpret_cast<const char*>(&number), sizeof(number));
}

void Pad(std::string& bytes) {
    bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
}

void AddOption(std::string& bytes, uint16_t code, const std::string& value) {
    Add(bytes, code);
    Add(bytes, static_cast<uint16_t>(value.size()));
    bytes += value;
    Pad(bytes);
}

template <class Number>
void AddOption(std::string& bytes, uint16_t code, Number number) {
    std::string value;
    Add(value, number);
    AddOption(bytes, code, value);
}

std::string Block(uint32_t type, std::string body) {
    Add(body, uint32_t{0});  // no more options
    const auto size = static_cast<uint32_t>(body.size() + 12);
    std::string block;
    Add(block, type);
    Add(block, size);
    block += body;
    Add(block, size);
    return block;
}

void SetName(char (&field)[OS_MSG_NAME_SIZE], const std::string& name) {
    (void)name.copy(field, sizeof(field) - 1);
}

FileRecord FileRecordOf(const TrafficRecord& record, bool isMasked) {
    FileRecord file{};
    orvi_bus::TraceRecord& told = file.told;
    told.magic = orvi_bus::kTraceMagic;
    told.version = orvi_bus::kTraceVersion;
    told.kind = static_cast<uint8_t>(record.kind);
    told.flags = static_cast<uint8_t>((record.payload ? orvi_bus::kTracePayload : 0) |
                                      (record.hasNoData ? orvi_bus::kTraceNoData : 0) | (isMasked ? FILE_MASKED : 0));
    told.timeNs = record.timeNs;
    told.durationNs = record.durationNs;
    told.stream = record.stream;
    told.sequence = record.sequence;
    told.msgId = record.msgId;
    told.result = record.result;
    told.dataLen = record.size;
    told.pieceSize = record.payload ? static_cast<uint32_t>(record.payload->size()) : 0;
    told.lost = record.lost;
    told.wordBits = record.wordBits;
    SetName(told.from, record.from);
    SetName(told.to, record.to);
    SetName(told.task, record.task);
    SetName(told.teller, record.teller);
    file.pid = record.pid;
    file.uid = record.uid;
    return file;
}

}  // namespace

CaptureWriter::~CaptureWriter() {
    if (descriptor_ >= 0) {
        (void)close(descriptor_);
    }
}

bool CaptureWriter::Open(const std::string& path, std::string& why) {
    path_ = path;
    // Of a pipe that nobody reads it would wait for a reader, deaf for signals that are blocked.
    descriptor_ = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0600);
    if (descriptor_ < 0 || fcntl(descriptor_, F_SETFL, 0) != 0) {
        why = path + ": " + (errno == ENXIO ? "nobody reads it" : std::strerror(errno));
        return false;
    }
    dayOffset_ = Now(CLOCK_REALTIME) - Now(CLOCK_MONOTONIC);
    std::string section;
    Add(section, SECTION_ORDER);
    Add(section, uint16_t{1});
    Add(section, uint16_t{0});
    Add(section, int64_t{-1});
    AddOption(section, OPTION_PROGRAM, std::string("orvi-bus " ORVI_VERSION));
    std::string interface;
    Add(interface, LINK_USER0);
    Add(interface, uint16_t{0});
    Add(interface, uint32_t{0});
    AddOption(interface, OPTION_RESOLUTION, uint8_t{9});  // nanoseconds
    return Append(Block(SECTION, section) + Block(INTERFACE, interface), why);
}

bool CaptureWriter::Write(const TrafficRecord& record, bool isMasked, std::string& why) {
    const FileRecord file = FileRecordOf(record, isMasked);
    const auto time = static_cast<uint64_t>(record.timeNs + dayOffset_);
    const auto kept = static_cast<uint32_t>(sizeof(file) + file.told.pieceSize);
    std::string body;
    Add(body, uint32_t{0});
    Add(body, static_cast<uint32_t>(time >> 32));
    Add(body, static_cast<uint32_t>(time));
    Add(body, kept);
    Add(body, static_cast<uint32_t>(sizeof(file) + record.size));
    Add(body, file);
    if (record.payload) {
        body.append(record.payload->begin(), record.payload->end());
    }
    Pad(body);
    AddOption(body, OPTION_COMMENT, NameOf(record));
    AddOption(body, OPTION_FLAGS, IsToService(record) ? INBOUND : OUTBOUND);
    if (record.lost != 0) {
        AddOption(body, OPTION_LOST, uint64_t{record.lost});
    }
    return Append(Block(PACKET, body), why);
}

bool CaptureWriter::Append(const std::string& block, std::string& why) {
    for (size_t written = 0; written < block.size();) {
        const ssize_t size = write(descriptor_, block.data() + written, block.size() - written);
        if (size < 0 && errno != EINTR) {
            why = path_ + ": " + std::strerror(errno);
            (void)!ftruncate(descriptor_, size_);
            return false;
        }
        written += static_cast<size_t>(std::max<ssize_t>(size, 0));
    }
    size_ += static_cast<int64_t>(block.size());
    return true;
}

bool CaptureReader::Open(const std::string& path, std::string& why) {
    path_ = path;
    file_.open(path, std::ios::binary);
    if (std::error_code none; !file_ || std::filesystem::is_directory(path, none)) {
        why = path + ": " + std::strerror(file_ ? EISDIR : errno);
        return false;
    }
    if (file_.peek() == std::ifstream::traits_type::eof()) {
        why = path + " is empty: nothing has been captured, or its capture did not begin";
        return false;
    }
    uint32_t head[3] = {};
    file_.read(reinterpret_cast<char*>(head), sizeof(head));
    if (!file_ || head[0] != SECTION || head[2] != SECTION_ORDER || head[1] < sizeof(head) || head[1] > LONGEST_BLOCK) {
        why = path + " is no pcapng file of this byte order";
        return false;
    }
    // A pipe has no way back: the rest is passed over.
    at_ = head[1];
    file_.ignore(static_cast<std::streamsize>(at_ - sizeof(head)));
    if (static_cast<size_t>(file_.gcount()) != at_ - sizeof(head)) {
        why = path + ": the file ends inside a block";
        return false;
    }
    return true;
}

std::string CaptureReader::Where() const {
    return path_ + ", byte " + std::to_string(at_) + ": ";
}

// A block may say that it is long: memory is taken as its bytes come.
bool CaptureReader::ReadBody(size_t size, std::vector<char>& body) {
    constexpr size_t STEP = size_t{64} * 1024;
    body.clear();
    while (body.size() < size) {
        const size_t before = body.size();
        const size_t next = std::min(STEP, size - before);
        body.resize(before + next);
        file_.read(body.data() + before, static_cast<std::streamsize>(next));
        if (static_cast<size_t>(file_.gcount()) != next) {
            return false;
        }
    }
    return true;
}

bool CaptureReader::Read(TrafficRecord& record, std::string& why) {
    std::vector<char> body;
    for (;;) {
        uint32_t head[2] = {};
        file_.read(reinterpret_cast<char*>(head), sizeof(head));
        if (file_.gcount() == 0) {
            return false;
        }
        const uint32_t size = head[1];
        if (file_.gcount() != sizeof(head) || size < 12 || size % 4 != 0 || size > LONGEST_BLOCK) {
            why = Where() + "it is no block of a pcapng file";
            return false;
        }
        if (!ReadBody(size - sizeof(head), body)) {
            why = Where() + "the file ends inside a block";
            return false;
        }
        const uint64_t at = at_;
        at_ += size;
        if (head[0] != PACKET) {
            continue;
        }
        FileRecord file{};
        uint32_t kept = 0;
        if (body.size() < PACKET_HEAD + sizeof(file) + 4) {
            at_ = at;
            why = Where() + "the packet is none of this bus";
            return false;
        }
        std::memcpy(&kept, body.data() + 12, sizeof(kept));
        std::memcpy(&file, body.data() + PACKET_HEAD, sizeof(file));
        const orvi_bus::TraceRecord& told = file.told;
        const std::optional<TrafficRecord> read = FromTrace(told);
        if (!read || kept > body.size() - PACKET_HEAD - 4 || kept != sizeof(file) + told.pieceSize ||
            told.pieceSize > told.dataLen) {
            at_ = at;
            why = Where() + "the packet is none of this bus";
            return false;
        }
        record = *read;
        record.isMasked = (told.flags & FILE_MASKED) != 0;
        record.pid = file.pid;
        record.uid = file.uid;
        if ((told.flags & orvi_bus::kTracePayload) != 0) {
            const char* const payload = body.data() + PACKET_HEAD + sizeof(file);
            record.payload.emplace(payload, payload + told.pieceSize);
        }
        return true;
    }
}

}  // namespace orvi_bus_tool
