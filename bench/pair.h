// A service process and a client process of one peer in one placement. They live as long as the comparison and sleep
// while it is others' turn.
#ifndef ORVI_BENCH_PAIR_H
#define ORVI_BENCH_PAIR_H

#include <sys/types.h>
#include <vector>

#include "peers/peer.h"
#include "shapes.h"

namespace bench {

// One turn of a pair.
struct Turn {
    std::vector<float> us;  // of each call, or of each burst divided by its messages
    double clientCpuUs;     // per call or message, without the other work
    double serviceCpuUs;
    double allocations;  // of both, per call or message
};

class Pair {
 public:
    // Starts both processes. `error()` tells when that failed.
    Pair(const Peer& peer, const Placement& placement, const std::string& directory);
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;
    // Ends both and removes the directory.
    ~Pair();

    // The client does the shape over and over for about `ms` milliseconds. False when a process has failed.
    bool Take(const Shape& shape, uint32_t ms, Turn* turn);
    const std::string& error() const { return error_; }
    // CPU time of both processes since their start.
    double CpuUs() const;

 private:
    struct Shared;

    [[noreturn]] void RunService(const Peer& peer, const Placement& placement, int ready);
    [[noreturn]] void RunClient(const Peer& peer, const Placement& placement, int orders, int results);

    Place place_;
    Shared* shared_ = nullptr;
    pid_t service_ = -1;
    pid_t client_ = -1;
    int orders_ = -1;
    int results_ = -1;
    std::string error_;
};

// Pins this process to the n-th of the processors that it may use; false when there are fewer.
bool RunOn(int processor);

// CPU time of a process, 0 when it cannot be told.
double ProcessCpuUs(pid_t process);

}  // namespace bench

#endif
