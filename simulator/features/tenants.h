// The applications that hold something of the room: it stays as long as one of them does.
#ifndef ORVI_SIM_FEATURES_TENANTS_H
#define ORVI_SIM_FEATURES_TENANTS_H

#include <set>

#include "service/application.h"

namespace orvi_sim {

class Tenants {
 public:
    void Add(const ApplicationId& application) { tenants_.insert(application); }
    void Clear() { tenants_.clear(); }
    bool Empty() const { return tenants_.empty(); }

    // True when it was the last one.
    bool Remove(const ApplicationId& application) { return tenants_.erase(application) != 0 && tenants_.empty(); }

 private:
    std::set<ApplicationId> tenants_;
};

}  // namespace orvi_sim

#endif
