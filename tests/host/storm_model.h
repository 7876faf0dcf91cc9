// What the storm knows of the connections and processes that it has made: what each has sent and must be told.
#ifndef ORVI_TESTS_HOST_STORM_MODEL_H
#define ORVI_TESTS_HOST_STORM_MODEL_H

#include <deque>
#include <memory>
#include <utility>

#include "bus_peer.h"
#include "raw_socket.h"

namespace storm {

struct Message {
    uint32_t id;  // of a message, or the sequence of an answer
    uint32_t length;
};
// What one sender has handed over and the server has not told of, in order.
using Messages = std::deque<Message>;

// A connection of the test's own.
struct Connection {
    Connection(const std::string& path, char toTask) : socket(path), task(toTask) {}
    Socket socket;
    const char task;
    Bytes bytes;                  // all that it is to send as things stand,
    const Bytes* tail = nullptr;  // with a large payload behind it,
    size_t allowed = 0;           // of which this much may go now
    size_t sent = 0;              // and this much has gone
    size_t Size() const { return bytes.size() + (tail != nullptr ? tail->size() : 0); }
    // As much as the kernel takes now. False when it takes nothing.
    bool SendSome() {
        const size_t end = sent < bytes.size() ? std::min(allowed, bytes.size()) : allowed;
        const uint8_t* at = sent < bytes.size() ? &bytes[sent] : &(*tail)[sent - bytes.size()];
        const size_t part = socket.SendSome(at, end - sent);
        sent += part;
        return part != 0;
    }
    uint32_t sequence = 0;
    std::deque<std::pair<size_t, Message>> unsent;  // messages by the place where each ends
    std::shared_ptr<Messages> messages = std::make_shared<Messages>();
    Messages answers;
    orvi_bus::FrameReader replies{orvi_bus::FrameReader::Direction::kToCaller};
};

// One process of a name, from joining to its end.
struct Life {
    explicit Life(std::unique_ptr<Peer> started) : peer(std::move(started)) {}
    std::unique_ptr<Peer> peer;  // null when it has ended
    std::shared_ptr<Messages> messages = std::make_shared<Messages>();
    bool mayHaveStarted = false;
    uint32_t startedBefore = UINT32_MAX;  // the first message that it sends after it has started
};

struct Name {
    std::deque<Life> lives;  // those whose end has not been announced; only the last may be alive
    bool announced = false;
    bool IsAlive() const { return !lives.empty() && lives.back().peer != nullptr; }
    bool IsSettled() const { return announced == (IsAlive() && lives.back().startedBefore != UINT32_MAX); }
};

}  // namespace storm

#endif
