// gRPC over an AF_UNIX socket, with its synchronous interface: a request is a unary call; one-way messages and events
// travel in a stream that stays open.
#include <grpcpp/grpcpp.h>

#include "messages.grpc.pb.h"
#include "peer.h"

namespace bench {

namespace {

using orvi_bench::Message;
using orvi_bench::Vision;

class Service final : public Vision::Service {
 public:
    grpc::Status Ask(grpc::ServerContext* /*context*/, const Message* request, Message* reply) override {
        reply->set_content(std::string(request->count(), '\1'));
        return grpc::Status::OK;
    }
    grpc::Status Talk(grpc::ServerContext* /*context*/, grpc::ServerReaderWriter<Message, Message>* stream) override {
        Message message;
        Message event;
        while (stream->Read(&message)) {
            const auto action = static_cast<Action>(message.action());
            if (action == Action::kReply) {
                event.set_content(std::string(message.count(), '\1'));
                stream->Write(event);
            }
            event.set_content(std::string(kEventSize, '\1'));
            for (uint32_t i = 0; action == Action::kPush && i < message.count(); ++i) {
                stream->Write(event);
            }
        }
        return grpc::Status::OK;
    }
};

class GrpcClient final : public Client {
 public:
    explicit GrpcClient(const std::string& address)
        : stub_(Vision::NewStub(grpc::CreateChannel(address, grpc::InsecureChannelCredentials()))),
          stream_(stub_->Talk(&context_)) {}
    ~GrpcClient() override { context_.TryCancel(); }

    void Request(uint32_t size, uint32_t replySize) override {
        grpc::ClientContext context;
        Message reply;
        Check(stub_->Ask(&context, Filled(Action::kReply, replySize, size), &reply).ok(), "the call failed");
        Check(reply.content().size() == replySize, "a reply of another length");
        std::memcpy(reply_.data(), reply.content().data(), replySize);
    }
    void Send(uint32_t size, uint32_t count) override {
        for (uint32_t i = 0; i < count; ++i) {
            Check(stream_->Write(Filled(Action::kTake, 0, size)), "the stream ended");
        }
        Check(stream_->Write(Filled(Action::kReply, 1, 0)) && stream_->Read(&event_), "the stream ended");
    }
    void Events(uint32_t count) override {
        Check(stream_->Write(Filled(Action::kPush, count, 0)), "the stream ended");
        for (uint32_t i = 0; i < count; ++i) {
            Check(stream_->Read(&event_) && event_.content().size() == kEventSize, "the stream ended");
            OnEvent(event_.content().data());
        }
    }

 private:
    const Message& Filled(Action action, uint32_t count, uint32_t size) {
        message_.set_action(static_cast<uint32_t>(action));
        message_.set_count(count);
        message_.mutable_content()->assign(size, '\0');
        return message_;
    }

    std::unique_ptr<Vision::Stub> stub_;
    grpc::ClientContext context_;
    std::unique_ptr<grpc::ClientReaderWriter<Message, Message>> stream_;
    Message message_;
    Message event_;
    std::vector<uint8_t> reply_ = std::vector<uint8_t>(kMostBytes);
};

void Serve(const Place& place, const std::function<void()>& ready) {
    Service service;
    grpc::ServerBuilder builder;
    builder.AddListeningPort("unix:" + place.Socket(), grpc::InsecureServerCredentials());
    builder.RegisterService(&service);
    const std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
    Check(server != nullptr, "the server did not start");
    ready();
    server->Wait();
}

std::unique_ptr<Client> Connect(const Place& place) {
    return std::make_unique<GrpcClient>("unix:" + place.Socket());
}

}  // namespace

extern const Peer kGrpc;
const Peer kGrpc = {"gRPC", Serve, Connect};

}  // namespace bench
