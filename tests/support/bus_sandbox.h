// A message bus of the test's own.
#ifndef ORVI_TEST_BUS_SANDBOX_H
#define ORVI_TEST_BUS_SANDBOX_H

#include <cstddef>
#include <string>

#include "leak_check.h"
#include "read_file.h"

namespace orvi_test {

// A private directory that holds the bus directory of this process and its children, and their log files. Removed with
// the object; a failed test shows the simulator's log first.
class BusSandbox {
 public:
    BusSandbox();
    ~BusSandbox();
    BusSandbox(const BusSandbox&) = delete;
    BusSandbox& operator=(const BusSandbox&) = delete;

    std::string Path(const std::string& name) const { return directory_ + "/" + name; }
    std::string BusDirectory() const { return Path("bus"); }

    size_t SocketCount() const;  // in the bus directory

 private:
    std::string directory_;
};

}  // namespace orvi_test

#endif
