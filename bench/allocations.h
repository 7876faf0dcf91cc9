// Counts what a process takes from the heap: linked into a program, this stands in front of the C library's functions.
#ifndef ORVI_BENCH_ALLOCATIONS_H
#define ORVI_BENCH_ALLOCATIONS_H

#include <atomic>
#include <cstdint>

namespace bench {

// Where this process counts; null: nowhere. May lie in memory that another process reads.
extern std::atomic<std::atomic<uint64_t>*> g_allocations;

}  // namespace bench

#endif
