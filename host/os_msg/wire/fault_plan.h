// What a test asks for of the named points of a process at which it is made to fail: "POINT ACTION [N]" in an environment
// variable, at the N-th passage, 1 when it is not given. Where the build has no fault points none of this is left.
#ifndef ORVI_BUS_FAULT_PLAN_H
#define ORVI_BUS_FAULT_PLAN_H

#include <atomic>
#include <cstddef>

namespace orvi_bus {

// What is to be done about what the point concerns; what befalls the process, its death, a stop, a delay, has befallen it
// when the point has been passed.
enum class Fault { kNone, kDrop, kTruncate, kCorrupt };

#ifdef ORVI_FAULT_POINTS

// A bit each, in the order of their names.
enum FaultAction : unsigned { kKill = 1, kStop = 2, kDelay = 4, kDrop = 8, kTruncate = 16, kCorrupt = 32 };
constexpr unsigned kAnywhere = kKill | kStop | kDelay;

struct FaultPointRow {
    const char* name;
    unsigned actions;  // that are possible there
};

class FaultPlan {
 public:
    // The rows stand in the order of the points' numbers.
    FaultPlan(const char* variable, const FaultPointRow* rows, size_t count);

    // When the variable asks for what no row has: one line that says so, and one for each point with its actions.
    void ExplainWhatIsWrong(void (*log)(const char* line)) const;

    bool IsAt(int point) const { return point == point_; }  // a fault may come there
    Fault Pass(int point);

 private:
    const char* const variable_;
    const FaultPointRow* const rows_;
    const size_t count_;
    int point_ = -1;
    unsigned action_ = 0;
    int passage_ = 1;
    const char* misunderstood_ = nullptr;
    std::atomic<int> passages_{0};
};

#endif

}  // namespace orvi_bus

#endif
