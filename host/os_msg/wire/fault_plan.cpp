#include "wire/fault_plan.h"

#ifdef ORVI_FAULT_POINTS

#include <cstdlib>
#include <ctime>
#include <iterator>
#include <signal.h>
#include <sstream>
#include <string>
#include <unistd.h>

namespace orvi_bus {

namespace {

constexpr const char* kActionNames[] = {"kill", "stop", "delay", "drop", "truncate", "corrupt"};
constexpr long kDelayNs = 50000000;

}  // namespace

FaultPlan::FaultPlan(const char* variable, const FaultPointRow* rows, size_t count)
    : variable_(variable), rows_(rows), count_(count) {
    const char* const text = getenv(variable);
    if (text == nullptr) {
        return;
    }
    std::istringstream words(text);
    std::string name;
    std::string action;
    words >> name >> action;
    std::string more;
    const bool isCounted = static_cast<bool>(words >> more);
    passage_ = isCounted ? static_cast<int>(strtol(more.c_str(), nullptr, 10)) : 1;
    const bool isWrong = passage_ < 1 || (isCounted && more != std::to_string(passage_)) || words >> more;
    for (size_t i = 0; i < std::size(kActionNames); ++i) {
        action_ |= action == kActionNames[i] ? 1U << i : 0U;
    }
    for (size_t i = 0; i < count; ++i) {
        if (!isWrong && name == rows[i].name && (rows[i].actions & action_) != 0) {
            point_ = static_cast<int>(i);
        }
    }
    misunderstood_ = point_ < 0 ? text : nullptr;
}

void FaultPlan::ExplainWhatIsWrong(void (*log)(const char* line)) const {
    if (misunderstood_ == nullptr) {
        return;
    }
    log((std::string(variable_) + "=\"" + misunderstood_ + "\": no such point, or not that action there").c_str());
    for (size_t row = 0; row < count_; ++row) {
        std::string line = std::string(rows_[row].name) + ':';
        for (size_t i = 0; i < std::size(kActionNames); ++i) {
            line += (rows_[row].actions & (1U << i)) != 0 ? std::string(" ") + kActionNames[i] : "";
        }
        log(line.c_str());
    }
}

Fault FaultPlan::Pass(int point) {
    if (!IsAt(point) || ++passages_ != passage_) {
        return Fault::kNone;
    }
    if (action_ == kKill) {
        (void)kill(getpid(), SIGKILL);
    } else if (action_ == kStop) {
        (void)raise(SIGSTOP);  // this thread goes no step further
    } else if (action_ == kDelay) {
        const timespec delay{0, kDelayNs};
        (void)nanosleep(&delay, nullptr);
    }
    return action_ == kDrop       ? Fault::kDrop
           : action_ == kTruncate ? Fault::kTruncate
           : action_ == kCorrupt  ? Fault::kCorrupt
                                  : Fault::kNone;
}

}  // namespace orvi_bus

#endif
