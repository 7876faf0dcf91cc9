// Monitored memory: malloc with a book of what is out. The book stands beside the blocks, not in front of them, so
// that a pointer which was released already or never came from here is recognised without reading through it.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_map>

#include "orvi_host_mem.h"
#include "orvi_os_mem.h"

namespace {

// Blocks are handed out filled with this, and given back filled with it, so that nobody lives on what a block happens
// to hold. Large blocks only at their start: their pages stay untouched as malloc's would.
constexpr int kFill = 0xA5;
constexpr size_t kMaxFill = 65536;

struct Book {
    std::mutex mutex;
    std::unordered_map<uintptr_t, uint32_t> sizes;  // of the live blocks, by key; guarded by mutex
    uint64_t bytes = 0;                             // guarded by mutex
    uint64_t refused = 0;                           // guarded by mutex
};

// Never destroyed: threads may release blocks while the process ends.
Book& TheBook() {
    static Book* const book = new Book;
    return *book;
}

// Inverted, so that a leak checker does not take the book's entry for a use of the block.
uintptr_t KeyOf(const void* block) {
    return ~reinterpret_cast<uintptr_t>(block);
}

void Fill(void* block, size_t size) {
    std::memset(block, kFill, size < kMaxFill ? size : kMaxFill);
}

void Complain(const char* what, const void* block, uint32_t line, const char* file) {
    (void)std::fprintf(stderr, "orvi_os_mem: %s (%p) at %s:%" PRIu32 "\n", what, block, file != nullptr ? file : "?",
                       line);
}

}  // namespace

ORVI_HOST_API void* OsMemMallocSetCharMon(uint32_t size, uint32_t reserved0, uint32_t reserved1, uint32_t reserved2,
                                          uint32_t line, const char* file) {
    if (reserved0 != 0 || reserved1 != 0 || reserved2 != 0) {
        Complain("allocation with a reserved argument other than 0 refused", nullptr, line, file);
        return nullptr;
    }
    const size_t room = size != 0 ? size : 1;
    void* const block = std::malloc(room);
    if (block == nullptr) {
        return nullptr;
    }
    Fill(block, room);
    Book& book = TheBook();
    try {
        const std::lock_guard<std::mutex> lock(book.mutex);
        book.sizes.emplace(KeyOf(block), size);
        book.bytes += size;
    } catch (const std::bad_alloc&) {
        std::free(block);
        return nullptr;
    }
    return block;
}

ORVI_HOST_API void OSMemTypeFreeMon(void* block, uint32_t reserved0, uint32_t reserved1, uint32_t line,
                                    const char* file) {
    if (block == nullptr) {
        return;
    }
    Book& book = TheBook();
    uint32_t size = 0;
    bool known = false;
    {
        const std::lock_guard<std::mutex> lock(book.mutex);
        const auto entry = book.sizes.find(KeyOf(block));
        if (entry != book.sizes.end() && reserved0 == 0 && reserved1 == 0) {
            known = true;
            size = entry->second;
            book.bytes -= size;
            book.sizes.erase(entry);
        } else {
            ++book.refused;
        }
    }
    if (!known) {
        Complain("release refused: the block was released before, never allocated, or an argument is not 0", block,
                 line, file);
        return;
    }
    Fill(block, size);
    std::free(block);
}

uint64_t OrviHostMemLiveBlocks(void) {
    Book& book = TheBook();
    const std::lock_guard<std::mutex> lock(book.mutex);
    return book.sizes.size();
}

uint64_t OrviHostMemLiveBytes(void) {
    Book& book = TheBook();
    const std::lock_guard<std::mutex> lock(book.mutex);
    return book.bytes;
}

uint64_t OrviHostMemRefusedFrees(void) {
    Book& book = TheBook();
    const std::lock_guard<std::mutex> lock(book.mutex);
    return book.refused;
}
