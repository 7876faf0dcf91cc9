// A message bus of the test's own, and what a test must leave as it found it.
#ifndef ORVI_TEST_BUS_SANDBOX_H
#define ORVI_TEST_BUS_SANDBOX_H

#include <cstddef>
#include <string>

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

// Descriptors, threads and unreleased reply blocks of this process, without the library's log file, which opens with the
// first record.
struct Resources {
    size_t descriptors;
    size_t threads;
    size_t replyBlocks;
    std::string listing;  // the descriptors, for people

    static Resources Now();
};

// Fails the test unless the process is back at `baseline`, with `more` descriptors in addition. A joined thread may be
// listed a moment longer, so this waits for the numbers, but not for ever.
void ExpectBackAt(const Resources& baseline, size_t more = 0);

}  // namespace orvi_test

#endif
