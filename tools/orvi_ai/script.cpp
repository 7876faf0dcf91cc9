// Commands of a file, carried out in one process.
#include <fstream>
#include <iostream>

#include "calls.h"
#include "command_line.h"
#include "typed_words.h"

namespace orvi_ai {
namespace {

// One line; true with DONE for one that is empty.
ExitCode RunLine(Session& session, const std::string& line, std::string& reason) {
    std::vector<std::string> words;
    if (!SplitLine(line, words)) {
        reason = "a quote has no end";
        return USAGE;
    }
    if (words.empty()) {
        return DONE;
    }
    Call call;
    const Parsed parsed = ParseWords(words, nullptr, call);
    if (!parsed.isCall) {
        reason = parsed.exitCode == 0 ? "there is no help inside a script" : parsed.text;
        return USAGE;
    }
    const std::string name = call.command->name;
    if (name == "run" || name == "watch") {
        reason = name + " does not belong into a script: its events are printed, `wait` waits for one";
        return USAGE;
    }
    return session.Run(call);
}

}  // namespace

Outcome RunScript(Session& session, const Call& call) {
    Outcome outcome;
    const std::string& name = call.words[0];
    std::ifstream file;
    if (name != "-") {
        file.open(name);
        if (!file || !IsReadable(name)) {
            outcome.result = USAGE;
            outcome.reason = name + " cannot be read";
            return outcome;
        }
    }
    std::istream& input = name == "-" ? std::cin : file;
    session.BecomeScript();
    uint32_t number = 0;
    for (std::string line; !Events::IsInterrupted() && std::getline(input, line);) {
        ++number;
        std::string reason;
        const ExitCode code = RunLine(session, line, reason);
        if (code == DONE) {
            continue;
        }
        outcome.result = code;
        const std::string place = name + ":" + std::to_string(number) + ": ";
        if (!reason.empty()) {
            session.Out().Error(place + reason);
        }
        if (!call.keepGoing) {
            session.Out().Error(place + "stopped here");
            break;
        }
    }
    return outcome;
}

}  // namespace orvi_ai
