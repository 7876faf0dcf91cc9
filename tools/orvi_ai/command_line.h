// Words to a command: options from the rows and from the fields of their messages.
#ifndef ORVI_AI_TOOL_COMMAND_LINE_H
#define ORVI_AI_TOOL_COMMAND_LINE_H

#include <string>
#include <vector>

#include "command.h"

namespace orvi_ai {

// Options of the whole run.
struct Globals {
    bool isJson = false;
    bool isQuiet = false;
    bool isMasked = false;
    std::string app = "orvi-ai";
    std::string completion;  // the shell that a completion is wanted for
};

// What is to happen with a line of words.
struct Parsed {
    bool isCall = false;  // a command is to be run
    int exitCode = 0;     // else: the program's end
    std::string text;     // and what it says, help or an error
};

// Without `globals` their options are refused, as inside a script.
Parsed ParseWords(const std::vector<std::string>& words, Globals* globals, Call& call);

// The script that completes commands and options in bash.
std::string BashCompletion();

// Names of the options that a command has beside the fields of its message, with blanks between.
std::string TraitOptions(const Command& command);

}  // namespace orvi_ai

#endif
