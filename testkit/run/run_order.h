// What the command line of orvi-test-run asks for.
#ifndef ORVI_TEST_RUN_RUN_ORDER_H
#define ORVI_TEST_RUN_RUN_ORDER_H

#include <chrono>
#include <string>
#include <vector>

namespace orvi_test_run {

// What orvi-test-run returns beside the command's own exit code and 128 + the signal that ended it.
enum ExitCode {
    SCENARIO_FAILED = 1,  // the command is content, but a direction of the scenario was answered no
    USAGE = 2,
    SERVICE_ENDED = 123,  // the service ended while the command ran
    TIMED_OUT = 124,
    NOT_STARTED = 125,  // no directory, no service: the command has not run
    NOT_EXECUTABLE = 126,
    NOT_FOUND = 127,
};

struct Order {
    std::vector<std::string> service;      // orvi-vision-sim and its options
    std::vector<std::string> command;      // at least one word
    std::string programs;                  // the folder of this program and of the service
    std::chrono::milliseconds timeout{0};  // 0: none
    bool mayEnd = false;                   // the service may end while the command runs
    bool showsOutput = false;              // the command's output is not kept back
};

}  // namespace orvi_test_run

#endif
