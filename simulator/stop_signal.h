// The wish to end the program, which any thread may utter and poll() can wait for.
#ifndef ORVI_SIM_STOP_SIGNAL_H
#define ORVI_SIM_STOP_SIGNAL_H

#include <atomic>

namespace orvi_sim {

class StopSignal {
 public:
    StopSignal();  // throws std::system_error when the system has no descriptor left
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // The first call decides the exit code.
    void Raise(int exitCode);

    bool Raised() const { return exitCode_.load() >= 0; }
    int ExitCode() const { return exitCode_.load(); }
    int Descriptor() const { return descriptor_; }  // readable once raised

 private:
    std::atomic<int> exitCode_{-1};
    int descriptor_;
};

}  // namespace orvi_sim

#endif
