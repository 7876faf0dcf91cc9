#include "link.h"

namespace bench {

namespace {

class LinkClient final : public Client {
 public:
    explicit LinkClient(std::unique_ptr<Link> link) : link_(std::move(link)) {}

    void Request(uint32_t size, uint32_t replySize) override {
        Say({Action::kReply, replySize}, size);
        const void* reply = nullptr;
        Check(link_->Get(&reply) == replySize, "a reply of another length");
        std::memcpy(reply_.data(), reply, replySize);
    }

    void Send(uint32_t size, uint32_t count) override {
        for (uint32_t i = 0; i < count; ++i) {
            Say({Action::kTake, 0}, size);
        }
        Request(sizeof(Order), 1);
    }

    void Events(uint32_t count) override {
        Say({Action::kPush, count}, sizeof(Order));
        for (uint32_t i = 0; i < count; ++i) {
            const void* event = nullptr;
            Check(link_->Get(&event) == kEventSize, "an event of another length");
            OnEvent(event);
        }
    }

 private:
    void Say(const Order& order, uint32_t size) {
        Write(message_.data(), order);
        link_->Put(message_.data(), size);
    }

    std::unique_ptr<Link> link_;
    std::vector<uint8_t> message_ = std::vector<uint8_t>(kMostBytes);
    std::vector<uint8_t> reply_ = std::vector<uint8_t>(kMostBytes);
};

}  // namespace

void ServeLink(Link* link) {
    const std::vector<uint8_t> answer(kMostBytes, 1);
    for (;;) {
        const void* message = nullptr;
        Check(link->Get(&message) >= sizeof(Order), "a message without an order");
        const Order order = ReadOrder(message);
        if (order.action == Action::kReply) {
            link->Put(answer.data(), order.count);
        }
        for (uint32_t i = 0; order.action == Action::kPush && i < order.count; ++i) {
            link->Put(answer.data(), kEventSize);
        }
    }
}

std::unique_ptr<Client> ClientOf(std::unique_ptr<Link> link) {
    return std::make_unique<LinkClient>(std::move(link));
}

}  // namespace bench
