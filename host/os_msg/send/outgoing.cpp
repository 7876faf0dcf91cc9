#include "send/outgoing.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <utility>

#include "orvi_host_bus.h"
#include "send/reply_block.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/yielding.h"

namespace orvi_bus {

Outgoing::Outgoing(const TagMsgBlock& to) : replies_(FrameReader::Direction::kToCaller, FreeBeforeReply()) {
    SetName(procName_, to.recvProcName);
    SetName(taskName_, to.recvTaskName);
}

int Outgoing::Connect(const std::string& path, const Deadline* deadline) {
    const int result = Socket::Connect(path, deadline, &socket_);
    if (result == 0) {
        receiverUid_ = socket_.Peer().uid;
    }
    return result;
}

bool Outgoing::LeadsTo(const TagMsgBlock& to) const {
    return strcmp(procName_, to.recvProcName) == 0 && strcmp(taskName_, to.recvTaskName) == 0;
}

int Outgoing::Transmit(Parcel* parcel, const Deadline* deadline) const {
    return deadline != nullptr ? socket_.Send(parcel, *deadline) : socket_.SendNow(parcel);
}

int Outgoing::Send(const Frame* frames, size_t count, const Hello& hello, const Deadline* deadline, size_t* begun) {
    *begun = 0;
    refused = false;
    if (HasRest()) {
        const int result = SendRest(deadline);
        if (result != 0) {
            refused = result == ORVI_BUS_E_WOULD_BLOCK;
            return result;
        }
    }
    uint8_t heads[kMostFrames][kHeaderSize];
    uint8_t greeting[kHeaderSize + kHelloSize];
    iovec parts[1 + 2 * kMostFrames];
    size_t partCount = 0;
    if (!greeted_) {
        FrameHeader header;
        header.kind = FrameKind::kHello;
        header.dataLen = kHelloSize;
        EncodeHeader(header, greeting);
        EncodeHello(hello, greeting + kHeaderSize);
        parts[partCount++] = Part(greeting, sizeof(greeting));
    }
    for (size_t i = 0; i < count; ++i) {
        EncodeHeader(frames[i].header, heads[i]);
        parts[partCount++] = Part(heads[i], kHeaderSize);
        if (frames[i].header.dataLen != 0) {
            parts[partCount++] = Part(frames[i].data, frames[i].header.dataLen);
        }
    }
    Parcel parcel{parts, partCount};
    const int result = Transmit(&parcel, deadline);
    size_t end = 0;  // of those of which the kernel took something
    for (; *begun < count && parcel.taken > end; ++*begun) {
        end += (*begun == 0 && !greeted_ ? sizeof(greeting) : 0) + kHeaderSize + frames[*begun].header.dataLen;
    }
    greeted_ = greeted_ || *begun != 0;
    if (result == ORVI_BUS_E_WOULD_BLOCK && end > parcel.taken && !KeepRest(parcel, end - parcel.taken)) {
        return ORVI_BUS_E_SYSTEM;
    }
    refused = result == ORVI_BUS_E_WOULD_BLOCK && *begun != count;
    return result == ORVI_BUS_E_WOULD_BLOCK && !refused ? 0 : result;
}

// False when there is no memory.
bool Outgoing::KeepRest(const Parcel& parcel, size_t size) {
    rest_.reset(static_cast<uint8_t*>(malloc(size)));
    if (!rest_) {
        errno = ENOMEM;
        return false;
    }
    parcel.Copy(rest_.get(), size);
    restSize_ = size;
    restTaken_ = 0;
    return true;
}

int Outgoing::SendRest(const Deadline* deadline) {
    iovec part = Part(rest_.get() + restTaken_, restSize_ - restTaken_);
    Parcel parcel{&part, 1};
    const int result = Transmit(&parcel, deadline);
    restTaken_ += parcel.taken;
    if (result == 0) {
        rest_.reset();
        restSize_ = 0;
    }
    return result;
}

Socket::Received Outgoing::Await(uint8_t* at, size_t room, const Deadline& deadline, size_t* count) {
    Yielding yielding;
    while (yielding.Go()) {
        const Socket::Received received = socket_.Receive(at, room, count);
        if (received != Socket::Received::kNothing) {
            return received;
        }
    }
    return socket_.Await(at, room, deadline, count);
}

int Outgoing::AwaitReply(const Deadline& deadline, TagMsgBlock** reply) {
    for (bool first = true;; first = false) {
        FrameHeader header;
        const uint8_t* payload = nullptr;
        switch (replies_.Next(&header, &payload)) {
            case FrameReader::Result::kBad:
                Log(kLogError, "connection to %s/%s ended: it sent %s", procName_, taskName_, replies_.Complaint());
                errno = EPROTO;
                return ORVI_BUS_E_GONE;
            case FrameReader::Result::kFrame: {
                std::unique_ptr<uint8_t[], FrameReader::Free> received = replies_.TakeLarge();
                if (!received) {
                    replies_.Consume();
                }
                if (header.sequence != sequence_) {
                    Log(kLogInfo, "dropped a reply of %s/%s that nobody waits for", procName_, taskName_);
                    break;
                }
                *reply = received ? MakeReplyBlock(header, std::move(received), receiverUid_)
                                  : MakeReplyBlock(header, payload, receiverUid_);
                replies_.Trim();
                if (*reply == nullptr) {
                    errno = ENOMEM;
                    return ORVI_BUS_E_SYSTEM;
                }
                return 0;
            }
            case FrameReader::Result::kMore: {
                uint8_t* at = nullptr;
                size_t room = 0;
                if (!replies_.Room(&at, &room)) {
                    errno = ENOMEM;
                    return ORVI_BUS_E_SYSTEM;
                }
                size_t count = 0;
                switch (Await(at, room, deadline, &count)) {
                    case Socket::Received::kBytes:
                        replies_.Received(count);
                        break;
                    case Socket::Received::kNothing:
                        break;
                    case Socket::Received::kEnd:
                        errno = 0;
                        return ORVI_BUS_E_GONE;
                    case Socket::Received::kReset:
                        return ORVI_BUS_E_GONE;
                    case Socket::Received::kFailed:
                        return ORVI_BUS_E_SYSTEM;
                }
                break;
            }
        }
        // A peer that keeps sending what is no answer must not prolong the wait; an answer that is complete counts.
        if (!first && deadline.Expired() && !replies_.HasFrame()) {
            return ORVI_BUS_E_TIMEOUT;
        }
    }
}

}  // namespace orvi_bus
