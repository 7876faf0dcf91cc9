// The raw limit of shared memory: a ring for each direction, and a futex on which an end sleeps when it has nothing to do.
#include <atomic>
#include <fcntl.h>
#include <linux/futex.h>
#include <new>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "link.h"

namespace bench {

namespace {

constexpr uint32_t kSlots = 32;

struct Slot {
    uint32_t size;
    uint8_t bytes[kMostBytes];
};

// A count that its one reader and its one writer wait for. The kernel is asked only when somebody sleeps.
struct Counter {
    alignas(64) std::atomic<uint32_t> value{0};
    std::atomic<uint32_t> sleeping{0};

    void Advance() {
        value.fetch_add(1);
        if (sleeping.load() != 0) {
            (void)syscall(SYS_futex, &value, FUTEX_WAKE, 1, nullptr, nullptr, 0);
        }
    }
    void AwaitOtherThan(uint32_t unwanted) {
        while (value.load() == unwanted) {
            sleeping.store(1);
            (void)syscall(SYS_futex, &value, FUTEX_WAIT, unwanted, nullptr, nullptr, 0);
            sleeping.store(0);
        }
    }
};

struct Ring {
    Counter put;
    Counter taken;
    Slot slots[kSlots];
};

struct Rings {
    Ring toService;
    Ring toClient;
};

Rings* Map(const std::string& path, int flags) {
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC | flags, 0600);
    Check(file >= 0 && ftruncate(file, sizeof(Rings)) == 0, "cannot make the shared memory");
    void* const memory = mmap(nullptr, sizeof(Rings), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file, 0);
    (void)close(file);
    Check(memory != MAP_FAILED, "mmap");
    return static_cast<Rings*>(memory);
}

class RingLink final : public Link {
 public:
    RingLink(Ring* out, Ring* in) : out_(out), in_(in) {}

    void Put(const void* message, uint32_t size) override {
        const uint32_t number = out_->put.value.load();
        out_->taken.AwaitOtherThan(number - kSlots);
        Slot& slot = out_->slots[number % kSlots];
        slot.size = size;
        std::memcpy(slot.bytes, message, size);
        out_->put.Advance();
    }
    // The message is used where it lies; its slot is free again with the next call.
    uint32_t Get(const void** message) override {
        if (holds_) {
            in_->taken.Advance();
        }
        const uint32_t number = in_->taken.value.load();
        in_->put.AwaitOtherThan(number);
        holds_ = true;
        *message = in_->slots[number % kSlots].bytes;
        return in_->slots[number % kSlots].size;
    }

 private:
    Ring* out_;
    Ring* in_;
    bool holds_ = false;
};

void Serve(const Place& place, const std::function<void()>& ready) {
    Rings* const rings = new (Map(place.Socket(), O_CREAT)) Rings;
    ready();
    RingLink link(&rings->toClient, &rings->toService);
    ServeLink(&link);
}

std::unique_ptr<Client> Connect(const Place& place) {
    Rings* const rings = Map(place.Socket(), 0);
    return ClientOf(std::make_unique<RingLink>(&rings->toService, &rings->toClient));
}

}  // namespace

extern const Peer kSharedMemory;
const Peer kSharedMemory = {"shared memory", Serve, Connect};

}  // namespace bench
