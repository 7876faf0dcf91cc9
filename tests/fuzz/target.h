// A fuzz target: one function that takes any bytes. `./dev fuzz` runs it under a fuzzer that looks for bytes which make
// it fail; every test run gives it the seeds beside it, which were found that way or written by hand.
#ifndef ORVI_FUZZ_TARGET_H
#define ORVI_FUZZ_TARGET_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace orvi_fuzz {

// A condition that no bytes may break.
inline void Require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "broken: %s\n", what);
        std::abort();
    }
}

// What is left of the bytes.
class Input {
 public:
    Input(const uint8_t* data, size_t size) : at_(data), left_(size) {}

    size_t Left() const { return left_; }
    const uint8_t* At() const { return at_; }

    // 0 once there is nothing left.
    uint8_t Byte() { return Number<uint8_t>(); }
    template <class Type>
    Type Number() {
        Type number{};
        CopyTo(&number, std::min(sizeof(number), left_));
        return number;
    }

    // An allocation of just so many bytes, fewer when there are fewer, so that no read past them goes unseen.
    struct Exact {
        std::unique_ptr<uint8_t[]> bytes;
        size_t size;
    };
    Exact Take(size_t most) {
        const size_t size = std::min(most, left_);
        Exact exact{std::make_unique<uint8_t[]>(size), size};
        CopyTo(exact.bytes.get(), size);
        return exact;
    }

 private:
    // Of no bytes at all the fuzzer gives no address either, which memcpy may not be given.
    void CopyTo(void* to, size_t size) {
        if (size != 0) {
            std::memcpy(to, at_, size);
            at_ += size;
            left_ -= size;
        }
    }

    const uint8_t* at_;
    size_t left_;
};

// A file with these bytes, in memory.
class File {
 public:
    File(const uint8_t* data, size_t size) : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)) {
        Require(descriptor_ >= 0 && write(descriptor_, data, size) == static_cast<ssize_t>(size), "a file in memory");
    }
    ~File() { (void)close(descriptor_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
    const int descriptor_;
};

}  // namespace orvi_fuzz

#endif
