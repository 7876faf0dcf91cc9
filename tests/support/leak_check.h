// What every test leaves as it found it: the descriptors, threads and reply blocks of the test's process. Each test program
// has this check. It comes after the test and its fixture, unless these check by themselves what they keep for good reason.
#ifndef ORVI_TEST_LEAK_CHECK_H
#define ORVI_TEST_LEAK_CHECK_H

#include <cstddef>
#include <string>

namespace orvi_test {

// Descriptors, threads and unreleased reply blocks of this process, without the library's log file, which opens with the
// first record.
struct Resources {
    size_t descriptors;
    size_t threads;
    size_t replyBlocks;
    std::string listing;  // the descriptors, for people

    static Resources Now();
};

// Fails the test unless the process is back at `baseline` or below, with so many descriptors and threads in addition. A joined
// thread may be listed a moment longer, so this waits for the numbers, but not for ever.
void ExpectBackAt(const Resources& baseline, size_t moreDescriptors = 0, size_t moreThreads = 0);

// The check of the test that runs, now instead of later: these are left behind, since they last as long as the process.
void ExpectNothingLeftBut(size_t descriptors, size_t threads);

}  // namespace orvi_test

#endif
