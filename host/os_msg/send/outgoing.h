// A thread's connection to one task: its messages and requests in their order, and the replies.
#ifndef ORVI_HOST_OS_MSG_OUTGOING_H
#define ORVI_HOST_OS_MSG_OUTGOING_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "orvi_os_msg.h"
#include "wire/frame.h"
#include "wire/socket.h"

namespace orvi_bus {

class Outgoing {
 public:
    explicit Outgoing(const TagMsgBlock& to);

    // See Socket::Connect.
    int Connect(const std::string& path, const Deadline* deadline);

    bool LeadsTo(const TagMsgBlock& to) const;
    bool HasHungUp() const { return socket_.HasHungUp(); }
    int Get() const { return socket_.Get(); }

    struct Frame {
        FrameHeader header;
        const void* data;
    };
    static constexpr size_t kMostFrames = 32;  // of one Send

    // Sends frames, the connection's first with the hello before it. `deadline` null: never waits, and keeps what the
    // kernel does not take of a frame that it has begun to take. 0, TIMEOUT, WOULD_BLOCK, GONE or SYSTEM; `begun` tells
    // of how many frames a byte was taken. The connection is good for further frames after 0 and WOULD_BLOCK, and after
    // a TIMEOUT that took nothing.
    int Send(const Frame* frames, size_t count, const Hello& hello, const Deadline* deadline, size_t* begun);
    uint32_t Sequence() const { return sequence_; }  // of the latest request
    uint32_t NextRequest() { return sequence_ = NextSequence(sequence_); }

    // The reply to the request of NextRequest. 0 and a block, TIMEOUT, GONE (errno EPROTO for a peer that does not keep
    // to the rules, after a log line) or SYSTEM.
    int AwaitReply(const Deadline& deadline, TagMsgBlock** reply);

    // What the kernel did not take of an earlier frame.
    bool HasRest() const { return restSize_ != 0; }
    int SendRest(const Deadline* deadline);
    bool refused = false;  // the latest Send answered WOULD_BLOCK

 private:
    struct Free {
        void operator()(uint8_t* bytes) const { free(bytes); }
    };
    Socket::Received Await(uint8_t* at, size_t room, const Deadline& deadline, size_t* count);
    int Transmit(Parcel* parcel, const Deadline* deadline) const;
    bool KeepRest(const Parcel& parcel, size_t size);

    char procName_[OS_MSG_NAME_SIZE] = {};
    char taskName_[OS_MSG_NAME_SIZE] = {};
    Socket socket_;
    uint32_t receiverUid_ = 0;
    bool greeted_ = false;
    uint32_t sequence_ = 0;
    FrameReader replies_;
    std::unique_ptr<uint8_t[], Free> rest_;
    size_t restSize_ = 0;
    size_t restTaken_ = 0;
};

}  // namespace orvi_bus

#endif
