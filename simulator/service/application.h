// An application: a process on the bus, in one of its lives.
#ifndef ORVI_SIM_SERVICE_APPLICATION_H
#define ORVI_SIM_SERVICE_APPLICATION_H

#include <cstdint>
#include <string>
#include <tuple>

namespace orvi_sim {

// As the bus tells it, never as a payload claims it. The next process of the same name is another application.
struct ApplicationId {
    std::string process;
    uint64_t incarnation = 0;
};

inline bool operator==(const ApplicationId& left, const ApplicationId& right) {
    return left.incarnation == right.incarnation && left.process == right.process;
}

inline bool operator!=(const ApplicationId& left, const ApplicationId& right) {
    return !(left == right);
}

inline bool operator<(const ApplicationId& left, const ApplicationId& right) {
    return std::tie(left.process, left.incarnation) < std::tie(right.process, right.incarnation);
}

// Who wants to know of applications that come and go.
class ApplicationListener {
 public:
    virtual ~ApplicationListener() = default;

    // It has announced itself.
    virtual void OnCame(const ApplicationId&) {}

    // It has left or died, possibly for the second time: what it owned is given up.
    virtual void OnGone(const ApplicationId&) {}
};

}  // namespace orvi_sim

#endif
