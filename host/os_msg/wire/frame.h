// What travels on a connection of the bus.
//
//   connection := hello (one-way | request)*        towards the task
//                 reply*                            back
//   frame      := header (24 bytes) payload
//
// Every number is little-endian and of fixed width, so 32- and 64-bit processes talk to each other. The header holds,
// in this order: magic u16, version u16, kind u16, flags u16, msgId u32, sequence u32, length u32 of the whole frame,
// 0 u32.
#ifndef ORVI_HOST_OS_MSG_FRAME_H
#define ORVI_HOST_OS_MSG_FRAME_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "orvi_os_msg.h"

namespace orvi_bus {

constexpr size_t kHeaderSize = 24;

// The longest payload, and what texts call it.
#define ORVI_BUS_MOST_MIB 16
#define ORVI_BUS_QUOTE(number) #number
#define ORVI_BUS_EXPAND(number) ORVI_BUS_QUOTE(number)
#define ORVI_BUS_MOST_TEXT ORVI_BUS_EXPAND(ORVI_BUS_MOST_MIB) " MiB"
constexpr uint32_t kMaxDataLen = uint32_t{ORVI_BUS_MOST_MIB} << 20;

enum class FrameKind : uint16_t { kHello = 1, kOneWay = 2, kRequest = 3, kReply = 4 };

constexpr uint16_t kFlagNoData = 1;   // a reply without data, as against one of length 0
constexpr uint16_t kFlagStarted = 2;  // the sending process counted as started when it sent this

struct FrameHeader {
    FrameKind kind = FrameKind::kOneWay;
    uint16_t flags = 0;
    uint32_t msgId = 0;
    uint32_t sequence = 0;  // never 0 in a request and its reply, 0 elsewhere
    uint32_t dataLen = 0;
};

void EncodeHeader(const FrameHeader& header, uint8_t* out);
// Null when the header is one that EncodeHeader makes, else what is wrong with it.
const char* DecodeHeader(const uint8_t* in, FrameHeader* header);

// The sequence number after `sequence`: 0 is left out when the numbers wrap.
constexpr uint32_t NextSequence(uint32_t sequence) {
    return sequence == UINT32_MAX ? 1 : sequence + 1;
}

// The payload of the first frame of a connection: process name (16), incarnation u64, stream u64.
constexpr size_t kHelloSize = OS_MSG_NAME_SIZE + 16;
struct Hello {
    char procName[OS_MSG_NAME_SIZE] = {};
    uint64_t incarnation = 0;  // of the sending process, see presence.h
    uint64_t stream = 0;       // the sending thread; its connections to one task are drained in their order
};

void EncodeHello(const Hello& hello, uint8_t* out);
// False when the name is empty or lacks its NUL.
bool DecodeHello(const uint8_t* in, Hello* hello);

// Cuts a stream of received bytes into frames. The buffer grows with the bytes that were received, at most to twice
// their number in all; a header is judged, also for its place in the stream, before anything is allocated for its
// payload. One thread at a time.
class FrameReader {
 public:
    enum class Direction { kToTask, kToCaller };
    enum class Result { kMore, kFrame, kBad };

    static constexpr size_t kFirstCapacity = 4096;  // of the buffer, which grows when a frame is larger

    // `front`: bytes that are free before each frame in a buffer that TakeLarge hands over.
    explicit FrameReader(Direction direction, size_t front = 0) : direction_(direction), front_(front) {}

    // The next frame, if it is complete; it stays the next one until Consume. `payload` is valid until the next call of
    // Room, Trim or TakeLarge. After kBad the stream is lost: Complaint tells why.
    Result Next(FrameHeader* header, const uint8_t** payload);
    void Consume();
    // Instead of Consume, for a frame that is large and all that is held: hands the buffer over, which begins with the
    // free bytes and the header, and may move. Else null, and the frame stays the next one.
    struct Free {
        void operator()(uint8_t* bytes) const;
    };
    std::unique_ptr<uint8_t[], Free> TakeLarge();
    // A whole frame or what is none is held: Next will not answer kMore.
    bool HasFrame();
    const char* Complaint() const { return complaint_; }

    // After kMore: room for received bytes, at least one; of a large frame for no more than what it lacks, so that it
    // can be handed over. False when there is no memory.
    bool Room(uint8_t** at, size_t* size);
    void Received(size_t count) { end_ += count; }
    size_t Capacity() const { return capacity_; }
    // What Capacity will be after Room.
    size_t CapacityAfterRoom() const;
    // Gives a large buffer back when nothing is held in it.
    void Trim();

    // Bytes of an unfinished frame are held.
    bool InsideFrame() const { return end_ != begin_; }
    size_t Held() const { return end_ - begin_; }

 private:
    static constexpr size_t kKeptCapacity = size_t{64} * 1024;  // Trim gives back a larger one
    static constexpr size_t kLarge = size_t{16} * 1024;         // of a frame: a new buffer costs less than a copy

    const char* Judge(const uint8_t* at, FrameHeader* header) const;

    uint8_t* At(size_t place) const { return buffer_.get() + front_ + place; }

    const Direction direction_;
    const size_t front_;
    bool greeted_ = false;  // the hello has been consumed
    std::unique_ptr<uint8_t[], Free> buffer_;
    size_t capacity_ = 0;
    size_t begin_ = 0;  // first byte of the next frame
    size_t end_ = 0;
    size_t frameSize_ = 0;  // size of the frame at begin_; 0 while its header is not complete
    size_t expected_ =
        0;  // size of the last frame that was handed over, unless it was very large: the next may be alike
    const char* complaint_ = nullptr;
};

}  // namespace orvi_bus

#endif
