// State that lives to the very end of the process: threads may be inside the bus while it exits.
#ifndef ORVI_HOST_OS_MSG_NEVER_DESTROYED_H
#define ORVI_HOST_OS_MSG_NEVER_DESTROYED_H

#include <new>

namespace orvi_bus {

// For a function's static object. Needs no allocation, which could fail where nobody expects it.
template <typename T>
class NeverDestroyed {
 public:
    NeverDestroyed() { new (bytes_) T; }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
    T& Get() { return *std::launder(reinterpret_cast<T*>(bytes_)); }

 private:
    alignas(T) unsigned char bytes_[sizeof(T)];
};

}  // namespace orvi_bus

#endif
