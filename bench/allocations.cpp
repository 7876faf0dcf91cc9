#include "allocations.h"

#include <cstddef>

namespace bench {
std::atomic<std::atomic<uint64_t>*> g_allocations{nullptr};
}  // namespace bench

namespace {
void Count() {
    std::atomic<uint64_t>* const count = bench::g_allocations.load(std::memory_order_relaxed);
    if (count != nullptr) {
        count->fetch_add(1, std::memory_order_relaxed);
    }
}
}  // namespace

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

__attribute__((visibility("default"))) void* malloc(size_t size) {
    Count();
    return __libc_malloc(size);
}
__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) {
    Count();
    return __libc_calloc(count, size);
}
__attribute__((visibility("default"))) void* realloc(void* block, size_t size) {
    Count();
    return __libc_realloc(block, size);
}
__attribute__((visibility("default"))) void* aligned_alloc(size_t alignment, size_t size) {
    Count();
    return __libc_memalign(alignment, size);
}
}
