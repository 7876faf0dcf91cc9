// Traffic in a file: pcapng, as network analysers read it, of the link type for users (147).
//
// One packet is one record: a FileRecord and then the payload, if it was kept. Its time is the day's; a comment holds the
// message's name, a flag whether it goes to the service (inbound) or from it.
#ifndef ORVI_BUS_TOOL_CAPTURE_FILE_H
#define ORVI_BUS_TOOL_CAPTURE_FILE_H

#include <cstdint>
#include <fstream>
#include <string>

#include "traffic_record.h"

namespace orvi_bus_tool {

constexpr uint8_t FILE_MASKED = 4;  // a flag beside those of a TraceRecord: private contents are overwritten

// Little-endian and alike for every word size.
struct FileRecord {
    orvi_bus::TraceRecord told;
    int32_t pid;
    uint32_t uid;
};
static_assert(sizeof(FileRecord) == 136, "the record has another size");

class CaptureWriter {
 public:
    CaptureWriter() = default;
    ~CaptureWriter();
    CaptureWriter(const CaptureWriter&) = delete;
    CaptureWriter& operator=(const CaptureWriter&) = delete;

    // False with the reason when the file cannot be made.
    bool Open(const std::string& path, std::string& why);

    // What is written is in the file when it returns, so that whoever ends the program loses nothing. False when it
    // cannot be written; the file then ends with the last whole packet.
    bool Write(const TrafficRecord& record, bool isMasked, std::string& why);

 private:
    bool Append(const std::string& block, std::string& why);

    std::string path_;
    int descriptor_ = -1;
    int64_t size_ = 0;       // of whole blocks
    int64_t dayOffset_ = 0;  // of the day's time to the machine's
};

class CaptureReader {
 public:
    bool Open(const std::string& path, std::string& why);

    // False at the end, with a reason when the file ends early or holds what is no capture of this bus.
    bool Read(TrafficRecord& record, std::string& why);

 private:
    std::string Where() const;
    bool ReadBody(size_t size, std::vector<char>& body);

    std::string path_;
    std::ifstream file_;
    uint64_t at_ = 0;  // of the block
};

}  // namespace orvi_bus_tool

#endif
