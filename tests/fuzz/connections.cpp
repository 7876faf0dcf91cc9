// A task with many connections whose peers say any bytes, in any order, beside one that is honest: what that one says
// arrives, once and in order.
#include <atomic>
#include <filesystem>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <vector>

#include "../host/frames.h"
#include "orvi_host_bus.h"
#include "target.h"

namespace {

constexpr uint32_t HONEST = 0x5EED;
constexpr size_t MOST_PEERS = 6;

std::string g_directory;
std::atomic<uint32_t> g_honest{0};  // the number of the last honest message

int OnMessage(TagMsgBlock* message) {
    uint8_t sum = 0;
    for (uint32_t i = 0; i < message->dataLen; ++i) {
        sum = static_cast<uint8_t>(sum + static_cast<const uint8_t*>(message->data)[i]);
    }
    OrviHostMsgSender sender{};
    orvi_fuzz::Require(OrviHostMsgGetSender(message, &sender) == 0, "a message has a sender");
    if (OrviHostMsgWantsReply(message) != 0 && message->msgId % 4 != 0) {
        (void)OrviHostMsgReply(message, &sum, message->msgId % 2);  // the others are never answered
    }
    if (message->msgId == HONEST && std::strcmp(sender.procName, "server") == 0) {
        uint32_t number = 0;
        orvi_fuzz::Require(message->dataLen == sizeof(number), "the honest message is whole");
        std::memcpy(&number, message->data, sizeof(number));
        orvi_fuzz::Require(number == g_honest + 1, "honest messages come once and in order");
        g_honest = number;
    }
    return 0;
}

void Start() {
    char directory[] = "/tmp/orvi-fuzz-XXXXXX";
    orvi_fuzz::Require(mkdtemp(directory) != nullptr, "a directory");
    g_directory = directory;
    (void)setenv("ORVI_BUS_DIR", directory, 1);
    (void)setenv("ORVI_BUS_TRACE", "0", 1);
    OsMsgRegLogFunc([](int, const char*) {});
    orvi_fuzz::Require(OsMsgInit("server") == 0 && OsMsgRegTask("t", 64, OnMessage) == 0, "the bus is joined");
    std::thread([] { (void)OsMsgTaskRoutineByName("t"); }).detach();
    (void)std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(g_directory, ignored);
    });
}

int Connect() {
    const int peer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (void)std::snprintf(address.sun_path, sizeof(address.sun_path), "%s/server:t", g_directory.c_str());
    orvi_fuzz::Require(peer >= 0 && connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0,
                       "the task can be reached");
    return peer;
}

void SayHonestly() {
    uint32_t number = g_honest + 1;
    TagMsgBlock block{};
    std::strcpy(block.recvProcName, "server");
    std::strcpy(block.recvTaskName, "t");
    block.msgId = HONEST;
    block.data = &number;
    block.dataLen = sizeof(number);
    orvi_fuzz::Require(OsMsgAsynSend(&block) == 0, "an honest message is taken");
    for (int i = 0; g_honest != number; ++i) {
        orvi_fuzz::Require(i < 20000, "an honest message arrives");
        if (i < 100) {
            std::this_thread::yield();
        } else {
            (void)poll(nullptr, 0, 1);
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool isStarted = (Start(), true);
    (void)isStarted;
    orvi_fuzz::Input input(data, size);
    std::vector<int> peers;
    const auto say = [&peers](uint8_t which, const Bytes& bytes) {
        if (!peers.empty()) {
            (void)!send(peers[which % peers.size()], bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        }
    };
    while (input.Left() != 0) {
        const uint8_t step = input.Byte();
        const uint8_t which = step >> 4;
        switch (step & 15) {
            case 0:
            case 1:
                if (peers.size() < MOST_PEERS) {
                    peers.push_back(Connect());
                }
                break;
            case 2:
            case 3:  // who it claims to be is one of few, so that streams and incarnations meet
                say(which, Greeting(input.Byte() % 2 == 0 ? "server" : "other", input.Byte() % 4, input.Byte() % 4));
                break;
            case 4:
            case 5:
            case 6:
            case 7: {
                const auto kind = static_cast<orvi_bus::FrameKind>(2 + (step & 1));
                const auto payload = input.Take(input.Byte());
                say(which, Frame(kind, (step & 1) != 0 ? 1U + input.Byte() : 0, input.Byte(),
                                 Bytes(payload.bytes.get(), payload.bytes.get() + payload.size)));
                break;
            }
            case 8: {  // the beginning of a frame that may be long
                Bytes frame = Frame(orvi_bus::FrameKind::kOneWay, 0, 7, Bytes(input.Number<uint16_t>() * 16));
                frame.resize(std::min<size_t>(frame.size(), 1U + input.Number<uint16_t>()));
                say(which, frame);
                break;
            }
            case 9:
            case 10: {
                const auto bytes = input.Take(input.Byte());
                say(which, Bytes(bytes.bytes.get(), bytes.bytes.get() + bytes.size));
                break;
            }
            case 11:
                if (!peers.empty()) {
                    (void)shutdown(peers[which % peers.size()], which % 3);
                }
                break;
            case 12:
                if (!peers.empty()) {
                    std::swap(peers[which % peers.size()], peers.back());
                    (void)close(peers.back());
                    peers.pop_back();
                }
                break;
            case 13: {  // reads some of its answers
                uint8_t answers[256];
                (void)!(peers.empty() ? 0 : recv(peers[which % peers.size()], answers, sizeof(answers), MSG_DONTWAIT));
                break;
            }
            default:
                SayHonestly();
        }
    }
    for (const int peer : peers) {
        (void)close(peer);
    }
    SayHonestly();
    return 0;
}
