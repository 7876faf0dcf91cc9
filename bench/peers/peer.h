// What the comparison asks of a way to carry messages between two processes. A peer is one source file with a service
// side, a client side and a row in peers.cpp; what it needs is found in CMakeLists.txt, and it is left out without that.
#ifndef ORVI_BENCH_PEER_H
#define ORVI_BENCH_PEER_H

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

constexpr uint32_t kEventSize = 288;
constexpr uint32_t kMostBytes = 40 * 1024;  // no message is longer

// What the service is to do: the first bytes of each message to it. The library's own messages have ids for that.
enum class Action : uint32_t {
    kReply,  // answers with `count` bytes
    kTake,   // takes the message; no answer
    kPush,   // sends `count` events of kEventSize bytes; no answer
};

struct Order {
    Action action;
    uint32_t count;
};

// A message of `size` bytes, sizeof(Order) at least, that begins with the order.
inline void Write(void* message, const Order& order) {
    std::memcpy(message, &order, sizeof(order));
}

inline Order ReadOrder(const void* message) {
    Order order{};
    std::memcpy(&order, message, sizeof(order));
    return order;
}

// The client's side, used by one thread. Whatever fails is thrown.
class Client {
 public:
    Client() = default;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    virtual ~Client() = default;

    // Sends a request and returns when the answer is in this process's memory.
    virtual void Request(uint32_t size, uint32_t replySize) = 0;
    // Sends `count` messages that have no answer, and returns when the service has taken the last one.
    virtual void Send(uint32_t size, uint32_t count) = 0;
    // Has the service push events, and returns when each has been given to OnEvent() or a callback like it.
    virtual void Events(uint32_t count) = 0;
};

// Where the two meet: an empty directory of their own, with a short path.
struct Place {
    std::string directory;
    std::string Socket() const { return directory + "/s"; }
};

struct Peer {
    const char* name;
    // The service, in a process of its own: calls `ready` when it can be reached, and ends with the process.
    void (*serve)(const Place& place, const std::function<void()>& ready);
    std::unique_ptr<Client> (*connect)(const Place& place);
    bool needsRouter = false;  // iceoryx's daemon
};

// All that were built; the first is the library, the second what the others are compared with.
const std::vector<Peer>& Peers();

// The names of those that were not, separated by blanks.
const char* PeersLeftOut();

// What an application's callback is: called for each event, through a pointer that the compiler does not see through.
extern void (*volatile g_onEvent)(const void* event);
inline void OnEvent(const void* event) {
    g_onEvent(event);
}

inline void Check(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

}  // namespace bench

#endif
