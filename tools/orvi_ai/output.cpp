#include "output.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <unistd.h>

namespace orvi_ai {
namespace {

using orvi_protocol::JsonString;
using orvi_protocol::Printable;

std::string Number(const char* format, double number) {
    char text[40];
    std::snprintf(text, sizeof(text), format, number);
    return text;
}

}  // namespace

void Output::ChooseColour() {
    const char* const noColour = std::getenv("NO_COLOR");
    isColoured_ = !isJson && isatty(STDOUT_FILENO) != 0 && (noColour == nullptr || *noColour == '\0');
}

orvi_protocol::Style Output::Style() const {
    orvi_protocol::Style style;
    style.reveal = !isMasked;
    return style;
}

double Output::Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

std::string Output::Bold(const std::string& text) const {
    return isColoured_ ? "\033[1m" + text + "\033[0m" : text;
}

void Output::Print(const std::string& lines) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (std::fputs(lines.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        isClosed_ = true;
    }
}

void Output::Call(const std::string& call, const std::string& function, const Outcome& outcome,
                  std::chrono::steady_clock::duration took, const std::string& log) {
    const bool isDone = outcome.result == 0;
    const double milliseconds = std::chrono::duration<double, std::milli>(took).count();
    if (isDone && isQuiet && outcome.json.empty() && outcome.text.empty()) {
        return;
    }
    if (isJson) {
        std::string line = "{\"call\":" + JsonString(call) + ",\"function\":" + JsonString(function) +
                           ",\"result\":" + std::to_string(outcome.result) + ",\"ok\":" + (isDone ? "true" : "false") +
                           ",\"ms\":" + Number("%.3f", milliseconds);
        line += outcome.json.empty() ? "" : ",\"reply\":" + outcome.json;
        line += outcome.reason.empty() ? "" : ",\"reason\":" + JsonString(outcome.reason);
        line += isDone || log.empty() ? "" : ",\"log\":" + JsonString(log);
        Print(line + "}\n");
        return;
    }
    if (isDone) {
        const std::string line = Bold(call) + "  done  " + Number("%.1f ms", milliseconds) +
                                 (outcome.isOpenEnded ? ", goes on until Ctrl-C\n" : "\n");
        Print((isQuiet ? "" : line) + outcome.text);
        return;
    }
    Print(outcome.text);
    std::string text = call + " failed: " + function + " returned " + std::to_string(outcome.result);
    text += outcome.reason.empty() ? "" : "; " + outcome.reason;
    if (outcome.reason.empty() && log.empty()) {
        text += "; ORVI_LOG_LEVEL=info or ORVI_TRACE_LEVEL=error makes the library's log tell why";
    }
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        text += "\n  " + Printable(line);
    }
    Error(text);
}

void Output::Event(const orvi_protocol::Message& message, const orvi_protocol::Decoded& decoded) {
    const std::string name(message.name);
    if (isJson) {
        Print("{\"event\":" + JsonString(name) + ",\"seconds\":" + Number("%.3f", Seconds()) +
              ",\"values\":" + ToJson(decoded, Style()) + "}\n");
        return;
    }
    const size_t width = 20;
    const std::string padding = name.size() < width ? std::string(width - name.size(), ' ') : "";
    const std::string values = ToLine(decoded, Style());
    Print(Number("%9.3f  ", Seconds()) + Bold(name) + (values.empty() ? "" : padding + "  " + values) + "\n");
}

void Output::Error(const std::string& text) {
    if (isJson) {
        Print("{\"error\":" + JsonString(text) + "}\n");
        return;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    std::fputs(("orvi-ai: " + text + "\n").c_str(), stderr);
}

}  // namespace orvi_ai
