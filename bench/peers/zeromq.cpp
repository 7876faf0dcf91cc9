// ZeroMQ: a DEALER at each end of an ipc:// connection, so that one-way messages and events need no second socket.
#include <zmq.h>

#include "link.h"

namespace bench {

namespace {

class ZeroMqLink final : public Link {
 public:
    ZeroMqLink() : context_(zmq_ctx_new()), socket_(zmq_socket(context_, ZMQ_DEALER)) {
        Check(socket_ != nullptr, "zmq_socket");
    }
    ~ZeroMqLink() override {
        (void)zmq_close(socket_);
        (void)zmq_ctx_term(context_);
    }
    void* Socket() { return socket_; }

    void Put(const void* message, uint32_t size) override {
        Check(zmq_send(socket_, message, size, 0) == static_cast<int>(size), "zmq_send");
    }
    uint32_t Get(const void** message) override {
        const int got = zmq_recv(socket_, buffer_.data(), buffer_.size(), 0);
        Check(got > 0, "zmq_recv");
        *message = buffer_.data();
        return static_cast<uint32_t>(got);
    }

 private:
    void* context_;
    void* socket_;
    std::vector<uint8_t> buffer_ = std::vector<uint8_t>(kMostBytes);
};

void Serve(const Place& place, const std::function<void()>& ready) {
    ZeroMqLink link;
    Check(zmq_bind(link.Socket(), ("ipc://" + place.Socket()).c_str()) == 0, "zmq_bind");
    ready();
    ServeLink(&link);
}

std::unique_ptr<Client> Connect(const Place& place) {
    auto link = std::make_unique<ZeroMqLink>();
    Check(zmq_connect(link->Socket(), ("ipc://" + place.Socket()).c_str()) == 0, "zmq_connect");
    return ClientOf(std::move(link));
}

}  // namespace

extern const Peer kZeroMq;
const Peer kZeroMq = {"ZeroMQ", Serve, Connect};

}  // namespace bench
