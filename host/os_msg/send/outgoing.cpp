#include "send/outgoing.h"

#include <cerrno>
#include <cstring>
#include <poll.h>

#include "orvi_host_bus.h"
#include "send/reply_block.h"
#include "wire/bus_log.h"
#include "wire/bus_name.h"
#include "wire/yielding.h"

namespace orvi_bus {

Outgoing::Outgoing(const TagMsgBlock& to) {
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

int Outgoing::Send(const FrameHeader& header, const void* data, const Hello& hello, const Deadline* deadline,
                   bool* begun) {
    *begun = false;
    refused = false;
    if (HasRest()) {
        const int result = SendRest(deadline);
        if (result != 0) {
            refused = result == ORVI_BUS_E_WOULD_BLOCK;
            return result;
        }
    }
    uint8_t head[kHeaderSize + kHelloSize + kHeaderSize];
    size_t headSize = 0;
    if (!greeted_) {
        FrameHeader greeting;
        greeting.kind = FrameKind::kHello;
        greeting.dataLen = kHelloSize;
        EncodeHeader(greeting, head);
        EncodeHello(hello, head + kHeaderSize);
        headSize = kHeaderSize + kHelloSize;
    }
    EncodeHeader(header, head + headSize);
    headSize += kHeaderSize;
    Parcel parcel{head, headSize, data, header.dataLen};
    const int result = Transmit(&parcel, deadline);
    *begun = parcel.taken != 0;
    greeted_ = greeted_ || *begun;
    if (result == ORVI_BUS_E_WOULD_BLOCK && *begun) {
        return KeepRest(parcel) ? 0 : ORVI_BUS_E_SYSTEM;
    }
    refused = result == ORVI_BUS_E_WOULD_BLOCK;
    return result;
}

// False when there is no memory.
bool Outgoing::KeepRest(const Parcel& parcel) {
    rest_.reset(static_cast<uint8_t*>(malloc(parcel.Left())));
    if (!rest_) {
        errno = ENOMEM;
        return false;
    }
    parcel.CopyLeft(rest_.get());
    restSize_ = parcel.Left();
    restTaken_ = 0;
    return true;
}

int Outgoing::SendRest(const Deadline* deadline) {
    Parcel parcel{rest_.get(), restSize_, nullptr, 0, restTaken_};
    const int result = Transmit(&parcel, deadline);
    restTaken_ = parcel.taken;
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
            case FrameReader::Result::kFrame:
                replies_.Consume();
                if (header.sequence != sequence_) {
                    Log(kLogInfo, "dropped a reply of %s/%s that nobody waits for", procName_, taskName_);
                    break;
                }
                *reply = MakeReplyBlock(header, payload, receiverUid_);
                replies_.Trim();
                if (*reply == nullptr) {
                    errno = ENOMEM;
                    return ORVI_BUS_E_SYSTEM;
                }
                return 0;
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
