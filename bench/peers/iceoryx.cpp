// iceoryx: requests through a client and a server, events through a publisher and a subscriber; each end sleeps in a
// wait set. Its daemon, which the comparison starts, only brings the two together.
#include <iceoryx_hoofs/log/logmanager.hpp>
#include <iceoryx_posh/popo/untyped_client.hpp>
#include <iceoryx_posh/popo/untyped_publisher.hpp>
#include <iceoryx_posh/popo/untyped_server.hpp>
#include <iceoryx_posh/popo/untyped_subscriber.hpp>
#include <iceoryx_posh/popo/wait_set.hpp>
#include <iceoryx_posh/runtime/posh_runtime.hpp>
#include <thread>

#include "peer.h"

namespace bench {

namespace {

iox::capro::IdString_t Id(const std::string& text) {
    return {iox::cxx::TruncateToCapacity, text};
}

// The directory's path stands for the pair.
iox::capro::ServiceDescription Description(const Place& place, const char* what) {
    return {Id("bench"), Id(place.directory), Id(what)};
}

void Join(const Place& place, const char* side) {
    std::string name = place.directory + side;
    for (char& c : name) {
        c = c == '/' ? '_' : c;
    }
    iox::log::LogManager::GetLogManager().SetDefaultLogLevel(iox::log::LogLevel::kError);
    iox::runtime::PoshRuntime::initRuntime({iox::cxx::TruncateToCapacity, name});
}

void Serve(const Place& place, const std::function<void()>& ready) {
    Join(place, "s");
    iox::popo::ServerOptions options;
    options.requestQueueCapacity = 128;
    iox::popo::UntypedServer server(Description(place, "ask"), options);
    iox::popo::UntypedPublisher publisher(Description(place, "face"));
    iox::popo::WaitSet<> waitSet;
    waitSet.attachState(server, iox::popo::ServerState::HAS_REQUEST).or_else([](auto) { Check(false, "attachState"); });
    ready();
    for (;;) {
        (void)waitSet.wait();
        bool more = true;
        while (more) {
            server.take()
                .and_then([&](const void* request) {
                    const Order order = ReadOrder(request);
                    if (order.action == Action::kReply) {
                        const auto* const header = iox::popo::RequestHeader::fromPayload(request);
                        server.loan(header, order.count, 8)
                            .and_then([&](void* reply) {
                                std::memset(reply, 1, order.count);
                                server.send(reply).or_else([](auto&) { Check(false, "send"); });
                            })
                            .or_else([](auto&) { Check(false, "loan"); });
                    }
                    for (uint32_t i = 0; order.action == Action::kPush && i < order.count; ++i) {
                        publisher.loan(kEventSize)
                            .and_then([&](void* event) {
                                std::memset(event, 1, kEventSize);
                                publisher.publish(event);
                            })
                            .or_else([](auto&) { Check(false, "loan"); });
                    }
                    server.releaseRequest(request);
                })
                .or_else([&](auto&) { more = false; });
        }
    }
}

class IceoryxClient final : public Client {
 public:
    explicit IceoryxClient(const Place& place)
        : client_(Description(place, "ask")), subscriber_(Description(place, "face"), Options()) {
        replies_.attachState(client_, iox::popo::ClientState::HAS_RESPONSE).or_else([](auto) {
            Check(false, "attachState");
        });
        events_.attachState(subscriber_, iox::popo::SubscriberState::HAS_DATA).or_else([](auto) {
            Check(false, "attachState");
        });
        while (client_.getConnectionState() != iox::ConnectionState::CONNECTED ||
               subscriber_.getSubscriptionState() != iox::SubscribeState::SUBSCRIBED) {
            std::this_thread::yield();
        }
    }

    void Request(uint32_t size, uint32_t replySize) override {
        Say({Action::kReply, replySize}, size);
        bool answered = false;
        while (!answered) {
            client_.take()
                .and_then([&](const void* reply) {
                    std::memcpy(reply_.data(), reply, replySize);
                    client_.releaseResponse(reply);
                    answered = true;
                })
                .or_else([&](auto&) { (void)replies_.wait(); });
        }
    }
    void Send(uint32_t size, uint32_t count) override {
        for (uint32_t i = 0; i < count; ++i) {
            Say({Action::kTake, 0}, size);
        }
        Request(sizeof(Order), 1);
    }
    void Events(uint32_t count) override {
        Say({Action::kPush, count}, sizeof(Order));
        uint32_t got = 0;
        while (got < count) {
            subscriber_.take()
                .and_then([&](const void* event) {
                    OnEvent(event);
                    subscriber_.release(event);
                    ++got;
                })
                .or_else([&](auto&) { (void)events_.wait(); });
        }
    }

 private:
    static iox::popo::SubscriberOptions Options() {
        iox::popo::SubscriberOptions options;
        options.queueCapacity = 256;
        return options;
    }

    void Say(const Order& order, uint32_t size) {
        client_.loan(size, 8)
            .and_then([&](void* message) {
                std::memset(message, 0, size);
                Write(message, order);
                client_.send(message).or_else([](auto&) { Check(false, "send"); });
            })
            .or_else([](auto&) { Check(false, "loan"); });
    }

    iox::popo::UntypedClient client_;
    iox::popo::UntypedSubscriber subscriber_;
    iox::popo::WaitSet<> replies_;
    iox::popo::WaitSet<> events_;
    std::vector<uint8_t> reply_ = std::vector<uint8_t>(kMostBytes);
};

std::unique_ptr<Client> Connect(const Place& place) {
    Join(place, "c");
    return std::make_unique<IceoryxClient>(place);
}

}  // namespace

extern const Peer kIceoryx;
const Peer kIceoryx = {"iceoryx", Serve, Connect, true};

}  // namespace bench
