// Ctrl-C and its like, as something that poll() can wait for: also while nobody reads what is printed.
#ifndef ORVI_BUS_TOOL_END_SIGNAL_H
#define ORVI_BUS_TOOL_END_SIGNAL_H

#include <string>

namespace orvi_bus_tool {

class EndSignal {
 public:
    EndSignal();  // throws std::system_error
    ~EndSignal();
    EndSignal(const EndSignal&) = delete;
    EndSignal& operator=(const EndSignal&) = delete;

    int Descriptor() const { return descriptor_; }  // readable once it has come

    // Writes to standard output. False when it has come first, nobody reads any more, or that cannot be written.
    bool Print(const std::string& text);
    // The errno of what could not be written, as on a full disk; 0 when there is none.
    int PrintError() const { return printError_; }

 private:
    int descriptor_;
    int printError_ = 0;
};

}  // namespace orvi_bus_tool

#endif
