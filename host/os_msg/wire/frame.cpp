#include "wire/frame.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "wire/little_endian.h"

namespace orvi_bus {

namespace {

constexpr uint16_t kMagic = 0x424F;
constexpr uint16_t kVersion = 1;

uint16_t Take16(const uint8_t* in) {
    return static_cast<uint16_t>(Take(in, 2));
}
uint32_t Take32(const uint8_t* in) {
    return static_cast<uint32_t>(Take(in, 4));
}

// What a frame of the kind must be, its lengths being within the limits.
const char* CheckKind(const FrameHeader& header) {
    const bool noData = (header.flags & kFlagNoData) != 0;
    switch (header.kind) {
        case FrameKind::kHello:
            if (header.dataLen != kHelloSize || header.msgId != 0 || header.sequence != 0 || noData) {
                return "a malformed hello";
            }
            return nullptr;
        case FrameKind::kOneWay:
            return header.sequence != 0 || noData ? "a malformed one-way message" : nullptr;
        case FrameKind::kRequest:
            return header.sequence == 0 || noData ? "a malformed request" : nullptr;
        case FrameKind::kReply:
            if (header.sequence == 0 || (noData && header.dataLen != 0)) {
                return "a malformed reply";
            }
            return nullptr;
    }
    return "an unknown kind of frame";
}

}  // namespace

void EncodeHeader(const FrameHeader& header, uint8_t* out) {
    Put(out, kMagic, 2);
    Put(out + 2, kVersion, 2);
    Put(out + 4, static_cast<uint16_t>(header.kind), 2);
    Put(out + 6, header.flags, 2);
    Put(out + 8, header.msgId, 4);
    Put(out + 12, header.sequence, 4);
    Put(out + 16, kHeaderSize + header.dataLen, 4);
    Put(out + 20, 0, 4);
}

const char* DecodeHeader(const uint8_t* in, FrameHeader* header) {
    if (Take16(in) != kMagic) {
        return "no frame of this bus";
    }
    if (Take16(in + 2) != kVersion) {
        return "a frame of another version";
    }
    header->kind = static_cast<FrameKind>(Take16(in + 4));
    header->flags = Take16(in + 6);
    header->msgId = Take32(in + 8);
    header->sequence = Take32(in + 12);
    const uint32_t length = Take32(in + 16);
    if (length < kHeaderSize) {
        return "a frame shorter than its header";
    }
    header->dataLen = length - static_cast<uint32_t>(kHeaderSize);
    if (header->dataLen > kMaxDataLen) {
        return "a frame of more than " ORVI_BUS_MOST_TEXT;
    }
    if ((header->flags & ~(kFlagNoData | kFlagStarted)) != 0 || Take32(in + 20) != 0) {
        return "a frame with unknown flags";
    }
    return CheckKind(*header);
}

void EncodeHello(const Hello& hello, uint8_t* out) {
    memcpy(out, hello.procName, OS_MSG_NAME_SIZE);
    Put(out + OS_MSG_NAME_SIZE, hello.incarnation, 8);
    Put(out + OS_MSG_NAME_SIZE + 8, hello.stream, 8);
}

bool DecodeHello(const uint8_t* in, Hello* hello) {
    memcpy(hello->procName, in, OS_MSG_NAME_SIZE);
    hello->incarnation = Take(in + OS_MSG_NAME_SIZE, 8);
    hello->stream = Take(in + OS_MSG_NAME_SIZE + 8, 8);
    const size_t length = strnlen(hello->procName, OS_MSG_NAME_SIZE);
    return length > 0 && length < OS_MSG_NAME_SIZE;
}

void FrameReader::Free::operator()(uint8_t* bytes) const {
    free(bytes);
}

// Null, or what is wrong with the header where it stands.
const char* FrameReader::Judge(const uint8_t* at, FrameHeader* header) const {
    const char* complaint = DecodeHeader(at, header);
    if (complaint != nullptr) {
        return complaint;
    }
    const bool isReply = header->kind == FrameKind::kReply;
    if (direction_ == Direction::kToCaller) {
        return isReply ? nullptr : "a frame that is no reply";
    }
    const bool isHello = header->kind == FrameKind::kHello;
    if (!greeted_) {
        return isHello ? nullptr : "a first frame that is no hello";
    }
    return isHello || isReply ? "a frame that does not belong there" : nullptr;
}

FrameReader::Result FrameReader::Next(FrameHeader* header, const uint8_t** payload) {
    if (complaint_ != nullptr) {
        return Result::kBad;
    }
    const size_t held = end_ - begin_;
    if (held < kHeaderSize) {
        return Result::kMore;
    }
    complaint_ = Judge(At(begin_), header);
    if (complaint_ != nullptr) {
        return Result::kBad;
    }
    frameSize_ = kHeaderSize + header->dataLen;
    if (held < frameSize_) {
        return Result::kMore;
    }
    *payload = At(begin_ + kHeaderSize);
    return Result::kFrame;
}

bool FrameReader::HasFrame() {
    FrameHeader header;
    const uint8_t* payload = nullptr;
    return Next(&header, &payload) != Result::kMore;
}

void FrameReader::Consume() {
    greeted_ = true;  // whatever a task is sent begins with the hello
    begin_ += frameSize_;
    frameSize_ = 0;
}

std::unique_ptr<uint8_t[], FrameReader::Free> FrameReader::TakeLarge() {
    if (frameSize_ < kLarge || begin_ != 0 || end_ != frameSize_) {
        return nullptr;
    }
    if (capacity_ != frameSize_) {
        // Of exactly its size, so that a tool for memory faults sees who reads too far.
        auto* exact = static_cast<uint8_t*>(realloc(buffer_.get(), front_ + frameSize_));
        if (exact == nullptr) {
            return nullptr;
        }
        (void)buffer_.release();
        buffer_.reset(exact);
    }
    greeted_ = true;
    expected_ = frameSize_ <= kKeptCapacity ? frameSize_ : 0;
    capacity_ = end_ = frameSize_ = 0;
    return std::move(buffer_);
}

size_t FrameReader::CapacityAfterRoom() const {
    if (end_ - begin_ < capacity_) {
        return capacity_;  // moving the held bytes to the front makes room enough
    }
    if (capacity_ == 0) {
        return std::max(kFirstCapacity, expected_);
    }
    return std::min(2 * capacity_, frameSize_);  // the buffer is full of a part of that frame
}

bool FrameReader::Room(uint8_t** at, size_t* size) {
    const size_t held = end_ - begin_;
    const size_t capacity = CapacityAfterRoom();
    if (begin_ != 0 && (held == 0 || end_ == capacity_ || frameSize_ >= kLarge)) {
        memmove(At(0), At(begin_), held);
        begin_ = 0;
        end_ = held;
    }
    if (capacity != capacity_) {
        auto* grown = static_cast<uint8_t*>(realloc(buffer_.get(), front_ + capacity));
        if (grown == nullptr) {
            return false;
        }
        (void)buffer_.release();  // realloc has taken it
        buffer_.reset(grown);
        capacity_ = capacity;
    }
    *at = At(end_);
    *size = capacity_ - end_;
    if (frameSize_ >= kLarge) {
        *size = std::min(*size, frameSize_ - held);
    }
    return true;
}

void FrameReader::Trim() {
    if (begin_ == end_ && capacity_ > kKeptCapacity) {
        buffer_.reset();
        capacity_ = begin_ = end_ = 0;
    }
}

}  // namespace orvi_bus
