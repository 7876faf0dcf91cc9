// The raw limits of the kernel's local sockets, with calls that block: what a message costs at least when it goes through
// one.
#include "sockets.h"

#include <sys/socket.h>
#include <unistd.h>

#include "link.h"
#include "unix_socket.h"

namespace bench {

namespace {

class PacketLink final : public Link {
 public:
    explicit PacketLink(int socket) : socket_(socket) {}
    ~PacketLink() override { (void)close(socket_); }

    void Put(const void* message, uint32_t size) override {
        Check(send(socket_, message, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size), "send");
    }
    uint32_t Get(const void** message) override {
        const ssize_t got = recv(socket_, buffer_.data(), buffer_.size(), 0);
        Check(got > 0, "recv");
        *message = buffer_.data();
        return static_cast<uint32_t>(got);
    }

 private:
    int socket_;
    std::vector<uint8_t> buffer_ = std::vector<uint8_t>(kMostBytes);
};

// A length of 4 bytes, then the message; as many of them as have come are read at once.
class StreamLink final : public Link {
 public:
    explicit StreamLink(int socket) : socket_(socket) {}
    ~StreamLink() override { (void)close(socket_); }

    void Put(const void* message, uint32_t size) override {
        std::memcpy(out_.data(), &size, sizeof(size));
        std::memcpy(out_.data() + sizeof(size), message, size);
        size_t sent = 0;
        while (sent < sizeof(size) + size) {
            const ssize_t more = send(socket_, out_.data() + sent, sizeof(size) + size - sent, MSG_NOSIGNAL);
            Check(more > 0, "send");
            sent += static_cast<size_t>(more);
        }
    }
    uint32_t Get(const void** message) override {
        uint32_t size = 0;
        Need(sizeof(size));
        std::memcpy(&size, in_.data() + begin_, sizeof(size));
        Check(size <= kMostBytes, "a length that nobody sends");
        Need(sizeof(size) + size);
        *message = in_.data() + begin_ + sizeof(size);
        begin_ += sizeof(size) + size;
        return size;
    }

 private:
    // Reads until `size` bytes stand at begin_.
    void Need(size_t size) {
        if (end_ - begin_ < size && in_.size() - begin_ < kMostBytes + sizeof(uint32_t)) {
            std::memmove(in_.data(), in_.data() + begin_, end_ - begin_);
            end_ -= begin_;
            begin_ = 0;
        }
        while (end_ - begin_ < size) {
            const ssize_t got = recv(socket_, in_.data() + end_, in_.size() - end_, 0);
            Check(got > 0, "recv");
            end_ += static_cast<size_t>(got);
        }
    }

    int socket_;
    std::vector<uint8_t> out_ = std::vector<uint8_t>(kMostBytes + sizeof(uint32_t));
    std::vector<uint8_t> in_ = std::vector<uint8_t>(2 * (kMostBytes + sizeof(uint32_t)));
    size_t begin_ = 0;
    size_t end_ = 0;
};

template <class LinkType, int kType>
void Serve(const Place& place, const std::function<void()>& ready) {
    LinkType link(AcceptOne(place.Socket(), kType, ready));
    ServeLink(&link);
}

template <class LinkType, int kType>
std::unique_ptr<Client> Connect(const Place& place) {
    return ClientOf(std::make_unique<LinkType>(ConnectTo(place.Socket(), kType)));
}

}  // namespace

const Peer kSeqpacket = {"SEQPACKET", Serve<PacketLink, SOCK_SEQPACKET>, Connect<PacketLink, SOCK_SEQPACKET>};
const Peer kStream = {"STREAM", Serve<StreamLink, SOCK_STREAM>, Connect<StreamLink, SOCK_STREAM>};

}  // namespace bench
