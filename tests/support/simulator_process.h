// The simulated vision service as a process of its own, driven through its control channel.
#ifndef ORVI_TEST_SIMULATOR_PROCESS_H
#define ORVI_TEST_SIMULATOR_PROCESS_H

#include <memory>
#include <string>
#include <vector>

#include "bus_sandbox.h"
#include "child_process.h"

namespace orvi_test {

class SimulatorProcess {
 public:
    // Its log goes to the sandbox's service.log. Not started yet.
    explicit SimulatorProcess(const BusSandbox& sandbox) : sandbox_(sandbox) {}

    // Starts it, or the program that the environment variable ORVI_TEST_SIMULATOR names, with --control and returns when
    // every task can be reached. Fails the test otherwise.
    void Start(const std::vector<std::string>& options = {});

    ChildProcess& Child() { return *child_; }
    bool IsRunning() const { return child_ != nullptr; }

    // Sends a command and returns the answer. Command() fails the test unless the answer begins with "ok" and returns
    // what follows; Ask() takes any answer.
    std::string Command(const std::string& line);
    std::string Ask(const std::string& line);

    // Its command "await", for a little less than PATIENCE.
    void Await(const std::string& what);

    void Kill();                // SIGKILL; returns when the process is gone
    int Stop(int signal = 15);  // SIGTERM; its exit code

    std::string Log() const;  // what it has logged so far, all runs together

 private:
    const BusSandbox& sandbox_;
    std::unique_ptr<ChildProcess> child_;
};

}  // namespace orvi_test

#endif
