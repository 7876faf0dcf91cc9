// What orvi-ai prints: text for people, or one JSON object a line for programs.
#ifndef ORVI_AI_TOOL_OUTPUT_H
#define ORVI_AI_TOOL_OUTPUT_H

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>

#include "value.h"

namespace orvi_ai {

// How a call ended, with what it brought.
struct Outcome {
    int result = 0;      // of the function; 0 is a success
    std::string text;    // lines for people, each with its end; may be empty
    std::string json;    // the same as a JSON value; may be empty
    std::string reason;  // why it is a failure, where the log does not tell
    bool isNobodyThere = false;
    bool isOpenEnded = false;  // the command goes on until it is interrupted
};

class Output {
 public:
    bool isJson = false;
    bool isQuiet = false;  // no line for a call that has succeeded
    bool isMasked = false;

    // Takes NO_COLOR and the terminal into account.
    void ChooseColour();

    orvi_protocol::Style Style() const;

    // The end of a call. `log` is what the library had to say meanwhile; it is told when the call failed.
    void Call(const std::string& call, const std::string& function, const Outcome& outcome,
              std::chrono::steady_clock::duration took, const std::string& log);

    void Event(const orvi_protocol::Message& message, const orvi_protocol::Decoded& decoded);

    // Nobody reads the standard output any more.
    bool IsClosed() const { return isClosed_; }

    // A line on standard error, or {"error":...}.
    void Error(const std::string& text);

 private:
    void Print(const std::string& lines);
    double Seconds() const;
    std::string Bold(const std::string& text) const;

    std::mutex mutex_;  // lines come from the library's thread as well
    std::atomic<bool> isClosed_{false};
    bool isColoured_ = false;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace orvi_ai

#endif
