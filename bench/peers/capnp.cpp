// Cap'n Proto's RPC over an AF_UNIX socket. It has no messages without an answer: of those the answers are empty, and
// many are on their way at once.
#include <capnp/ez-rpc.h>

#include "messages.capnp.h"
#include "peer.h"

namespace bench {

namespace {

kj::ArrayPtr<const kj::byte> Bytes(const std::vector<uint8_t>& bytes, size_t size) {
    return {bytes.data(), size};
}

class Service final : public Vision::Server {
 public:
    kj::Promise<void> ask(AskContext context) override {
        const auto message = context.getParams().getMessage();
        Check(message.size() >= sizeof(Order), "a message without an order");
        context.getResults().setReply(Bytes(answer_, ReadOrder(message.begin()).count));
        return kj::READY_NOW;
    }
    kj::Promise<void> take(TakeContext /*context*/) override { return kj::READY_NOW; }
    kj::Promise<void> push(PushContext context) override {
        auto sink = context.getParams().getSink();
        kj::Vector<kj::Promise<void>> sent;
        for (uint32_t i = 0; i < context.getParams().getCount(); ++i) {
            auto request = sink.faceRequest();
            request.setEvent(Bytes(answer_, kEventSize));
            sent.add(request.send().ignoreResult());
        }
        return kj::joinPromises(sent.releaseAsArray());
    }

 private:
    const std::vector<uint8_t> answer_ = std::vector<uint8_t>(kMostBytes, 1);
};

class Sink final : public Vision::Sink::Server {
 public:
    kj::Promise<void> face(FaceContext context) override {
        OnEvent(context.getParams().getEvent().begin());
        return kj::READY_NOW;
    }
};

class CapnpClient final : public Client {
 public:
    explicit CapnpClient(const std::string& address)
        : rpc_(address.c_str()), vision_(rpc_.getMain<Vision>()), sink_(kj::heap<Sink>()) {}
    ~CapnpClient() noexcept override {}

    void Request(uint32_t size, uint32_t replySize) override {
        auto request = vision_.askRequest();
        Write(message_.data(), {Action::kReply, replySize});
        request.setMessage(Bytes(message_, size));
        const auto response = request.send().wait(rpc_.getWaitScope());
        Check(response.getReply().size() == replySize, "a reply of another length");
        std::memcpy(reply_.data(), response.getReply().begin(), replySize);
    }
    void Send(uint32_t size, uint32_t count) override {
        kj::Vector<kj::Promise<void>> sent;
        for (uint32_t i = 0; i < count; ++i) {
            auto request = vision_.takeRequest();
            request.setMessage(Bytes(message_, size));
            sent.add(request.send().ignoreResult());
        }
        kj::joinPromises(sent.releaseAsArray()).wait(rpc_.getWaitScope());
    }
    void Events(uint32_t count) override {
        auto request = vision_.pushRequest();
        request.setCount(count);
        request.setSink(sink_);
        (void)request.send().wait(rpc_.getWaitScope());
    }

 private:
    capnp::EzRpcClient rpc_;
    Vision::Client vision_;
    Vision::Sink::Client sink_;
    std::vector<uint8_t> message_ = std::vector<uint8_t>(kMostBytes);
    std::vector<uint8_t> reply_ = std::vector<uint8_t>(kMostBytes);
};

void Serve(const Place& place, const std::function<void()>& ready) {
    capnp::EzRpcServer server(kj::heap<Service>(), "unix:" + place.Socket());
    (void)server.getPort().wait(server.getWaitScope());
    ready();
    kj::NEVER_DONE.wait(server.getWaitScope());
}

std::unique_ptr<Client> Connect(const Place& place) {
    return std::make_unique<CapnpClient>("unix:" + place.Socket());
}

}  // namespace

extern const Peer kCapnp;
const Peer kCapnp = {"Cap'n Proto", Serve, Connect};

}  // namespace bench
