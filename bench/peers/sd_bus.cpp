// sd-bus without a broker: two ends of one AF_UNIX connection; the bytes travel as arrays of bytes.
#include <sys/socket.h>
#include <systemd/sd-bus.h>

#include "peer.h"
#include "unix_socket.h"

namespace bench {

namespace {

constexpr char kPath[] = "/bench";
constexpr char kInterface[] = "orvi.Bench";

void Must(int result, const char* what) {
    Check(result >= 0, what);
}

int OnRequest(sd_bus_message* message, void* /*user*/, sd_bus_error* /*error*/) {
    static const std::vector<uint8_t> answer(kMostBytes, 1);
    const void* bytes = nullptr;
    size_t size = 0;
    Must(sd_bus_message_read_array(message, 'y', &bytes, &size), "sd_bus_message_read_array");
    Check(size >= sizeof(Order), "a message without an order");
    const Order order = ReadOrder(bytes);
    if (order.action == Action::kReply) {
        sd_bus_message* reply = nullptr;
        Must(sd_bus_message_new_method_return(message, &reply), "sd_bus_message_new_method_return");
        Must(sd_bus_message_append_array(reply, 'y', answer.data(), order.count), "sd_bus_message_append_array");
        Must(sd_bus_send(nullptr, reply, nullptr), "sd_bus_send");
        (void)sd_bus_message_unref(reply);
    }
    for (uint32_t i = 0; order.action == Action::kPush && i < order.count; ++i) {
        sd_bus* const bus = sd_bus_message_get_bus(message);
        sd_bus_message* event = nullptr;
        Must(sd_bus_message_new_signal(bus, &event, kPath, kInterface, "Face"), "sd_bus_message_new_signal");
        Must(sd_bus_message_append_array(event, 'y', answer.data(), kEventSize), "sd_bus_message_append_array");
        Must(sd_bus_send(bus, event, nullptr), "sd_bus_send");
        (void)sd_bus_message_unref(event);
    }
    return 1;
}

const sd_bus_vtable kMethods[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Say", "ay", "ay", OnRequest, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};

sd_bus* Started(int socket, bool service) {
    sd_bus* bus = nullptr;
    Must(sd_bus_new(&bus), "sd_bus_new");
    Must(sd_bus_set_fd(bus, socket, socket), "sd_bus_set_fd");
    Must(sd_bus_set_trusted(bus, 1), "sd_bus_set_trusted");
    if (service) {
        sd_id128_t id = {};
        Must(sd_id128_randomize(&id), "sd_id128_randomize");
        Must(sd_bus_set_server(bus, 1, id), "sd_bus_set_server");
        Must(sd_bus_add_object_vtable(bus, nullptr, kPath, kInterface, kMethods, nullptr), "sd_bus_add_object_vtable");
    }
    Must(sd_bus_start(bus), "sd_bus_start");
    return bus;
}

void Serve(const Place& place, const std::function<void()>& ready) {
    sd_bus* const bus = Started(AcceptOne(place.Socket(), SOCK_STREAM, ready), true);
    for (;;) {
        const int worked = sd_bus_process(bus, nullptr);
        Must(worked, "sd_bus_process");
        if (worked == 0) {
            Must(sd_bus_wait(bus, UINT64_MAX), "sd_bus_wait");
        }
    }
}

class SdBusClient final : public Client {
 public:
    explicit SdBusClient(int socket) : bus_(Started(socket, false)) {
        Must(sd_bus_match_signal(bus_, nullptr, nullptr, kPath, kInterface, "Face", OnFace, this),
             "sd_bus_match_signal");
    }
    ~SdBusClient() override { (void)sd_bus_close_unref(bus_); }

    void Request(uint32_t size, uint32_t replySize) override {
        sd_bus_message* const message = Message({Action::kReply, replySize}, size);
        sd_bus_message* reply = nullptr;
        Must(sd_bus_call(bus_, message, 0, nullptr, &reply), "sd_bus_call");
        const void* bytes = nullptr;
        size_t got = 0;
        Must(sd_bus_message_read_array(reply, 'y', &bytes, &got), "sd_bus_message_read_array");
        Check(got == replySize, "a reply of another length");
        std::memcpy(reply_.data(), bytes, got);
        (void)sd_bus_message_unref(reply);
        (void)sd_bus_message_unref(message);
    }

    void Send(uint32_t size, uint32_t count) override {
        for (uint32_t i = 0; i < count; ++i) {
            Say(Message({Action::kTake, 0}, size));
        }
        Request(sizeof(Order), 1);
    }

    void Events(uint32_t count) override {
        events_ = 0;
        Say(Message({Action::kPush, count}, sizeof(Order)));
        while (events_ < count) {
            const int worked = sd_bus_process(bus_, nullptr);
            Must(worked, "sd_bus_process");
            if (worked == 0) {
                Must(sd_bus_wait(bus_, UINT64_MAX), "sd_bus_wait");
            }
        }
    }

 private:
    static int OnFace(sd_bus_message* message, void* user, sd_bus_error* /*error*/) {
        const void* bytes = nullptr;
        size_t size = 0;
        Must(sd_bus_message_read_array(message, 'y', &bytes, &size), "sd_bus_message_read_array");
        Check(size == kEventSize, "an event of another length");
        OnEvent(bytes);
        ++static_cast<SdBusClient*>(user)->events_;
        return 1;
    }

    sd_bus_message* Message(const Order& order, uint32_t size) {
        sd_bus_message* message = nullptr;
        Must(sd_bus_message_new_method_call(bus_, &message, nullptr, kPath, kInterface, "Say"),
             "sd_bus_message_new_method_call");
        void* room = nullptr;
        Must(sd_bus_message_append_array_space(message, 'y', size, &room), "sd_bus_message_append_array_space");
        std::memset(room, 0, size);
        Write(room, order);
        return message;
    }

    void Say(sd_bus_message* message) {
        Must(sd_bus_message_set_expect_reply(message, 0), "sd_bus_message_set_expect_reply");
        Must(sd_bus_send(bus_, message, nullptr), "sd_bus_send");
        (void)sd_bus_message_unref(message);
    }

    sd_bus* bus_;
    uint32_t events_ = 0;
    std::vector<uint8_t> reply_ = std::vector<uint8_t>(kMostBytes);
};

std::unique_ptr<Client> Connect(const Place& place) {
    return std::make_unique<SdBusClient>(ConnectTo(place.Socket(), SOCK_STREAM));
}

}  // namespace

extern const Peer kSdBus;
const Peer kSdBus = {"sd-bus", Serve, Connect};

}  // namespace bench
