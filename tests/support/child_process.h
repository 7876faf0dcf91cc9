// Another program of the build tree as a child of the test: its input and output, its signals, its end.
#ifndef ORVI_TEST_CHILD_PROCESS_H
#define ORVI_TEST_CHILD_PROCESS_H

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace orvi_test {

// The longest that a test waits for anything: a bound against hangs, wide enough for a loaded machine, an emulator and
// a sanitizer.
constexpr std::chrono::seconds PATIENCE{30};

// The child dies with the test, also when the test crashes.
class ChildProcess {
 public:
    // Starts a program of the build tree, under the emulator when the build needs one, or a program with an absolute
    // path as it is. What it writes to stderr goes to `errorFile`. `wrapper` is a command with an absolute path that
    // runs it with something changed, as env does. Throws std::runtime_error when it cannot be started.
    ChildProcess(const std::string& program, const std::vector<std::string>& arguments, const std::string& errorFile,
                 const std::vector<std::string>& wrapper = {});
    ~ChildProcess();  // kills what still runs
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t Pid() const { return pid_; }
    bool IsAlive() const;

    void WriteLine(const std::string& line);
    void CloseInput();

    // The next line of its output. False at the end of the output or when PATIENCE is over.
    bool ReadLine(std::string& line);

    // Reads lines until one contains `text`. False as above.
    bool ReadUntil(const std::string& text);

    void Signal(int signal);

    // Waits for its end: its exit code, or minus the signal that ended it. Kills it when PATIENCE is over and returns
    // minus SIGKILL then.
    int Wait();

 private:
    pid_t pid_ = -1;
    int process_ = -1;  // pidfd, so that waiting needs no polling
    int input_ = -1;
    int output_ = -1;
    std::string unread_;
    bool waited_ = false;
    int result_ = 0;
};

}  // namespace orvi_test

#endif
