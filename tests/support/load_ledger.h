// What the load test and its service know together: a file that both map, so that what a service has counted outlives
// its death.
#ifndef ORVI_TEST_LOAD_LEDGER_H
#define ORVI_TEST_LOAD_LEDGER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace orvi_test {

constexpr uint32_t LOAD_THREADS = 8;
constexpr uint32_t LOAD_NUMBERS = 1U << 21;  // messages that one thread may send

// Payload of the load's messages, and of the replies to its requests.
struct LoadNumber {
    uint32_t thread;
    uint32_t number;  // counts up from 1
};

struct LoadLedger {
    std::atomic<uint32_t> disorder;  // messages of one thread that arrived behind a later one
    std::atomic<uint8_t> arrived[LOAD_THREADS][LOAD_NUMBERS];
    static_assert(std::atomic<uint32_t>::is_always_lock_free && std::atomic<uint8_t>::is_always_lock_free);

    // Maps the file, which is made when it is not there; null when that fails. Stays mapped.
    static LoadLedger* Map(const char* path) {
        const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (file < 0) {
            return nullptr;
        }
        void* mapped = MAP_FAILED;
        if (ftruncate(file, sizeof(LoadLedger)) == 0) {
            mapped = mmap(nullptr, sizeof(LoadLedger), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        }
        (void)close(file);
        return mapped != MAP_FAILED ? static_cast<LoadLedger*>(mapped) : nullptr;
    }
};

}  // namespace orvi_test

#endif
