// What a person or a script can make happen: a row of the vocabulary, the words of somebody who uses it, the outcome.
#ifndef ORVI_SIM_DIRECTIONS_DIRECTION_H
#define ORVI_SIM_DIRECTIONS_DIRECTION_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "message.h"

namespace orvi_sim {

// What one word of a direction may be.
enum class Type {
    Name,      // one word
    Number,    // within the parameter's bounds, decimal or 0x hexadecimal
    NumberOr,  // such a number, or the word behind '|' in the parameter's name
    Time,      // 500ms, 2s, 1.5m
    Clock,     // a time of day, 09:30 or 09:30:15; its number is the second of the day
    Message,   // the name of one, caption.start; or its id, an event's as event:ID
    Choice,    // one of the words in the parameter's name, which have '|' between them
    File,      // a path; orvi-room makes it absolute
    Words,     // all that are left
    Text,      // all that are left, as one text
    Flag       // of an option: no word
};

struct Parameter {
    const char* name;  // for people; in capital letters but for a choice. Of an option: --name
    Type type;
    bool isOptional = false;  // those behind it are, too; of an option without a meaning
    uint32_t least = 0;       // of a number
    uint32_t most = UINT32_MAX;
    bool isNeeded = false;  // of an option
};

// A direction as it is written and explained. Its handler stands elsewhere, under the same name.
struct Row {
    const char* name;  // one word or two
    std::vector<Parameter> parameters;
    std::vector<Parameter> options;
    const char* help;  // one line
};

// The words of one direction, checked against its row. Those that were left out are zero or empty.
struct Argument {
    bool isGiven = false;
    uint32_t number = 0;  // a message's id, too
    bool isEvent = false;
    const orvi_protocol::Message* message = nullptr;  // null for an id that is no message
    std::chrono::milliseconds time{0};
    std::string text;
    std::vector<std::string> words;
};

struct Arguments {
    std::string name;  // the direction's
    std::vector<Argument> values;
    std::map<std::string, Argument> options;  // those that were given

    const Argument& operator[](size_t index) const { return values[index]; }

    // Null when it was not given.
    const Argument* Option(const std::string& option) const {
        const auto found = options.find(option);
        return found != options.end() ? &found->second : nullptr;
    }
};

struct Outcome {
    bool isDone;
    std::string text;          // what there is to tell, maybe in several lines, or the reason of the refusal
    void (*then)() = nullptr;  // an end of the process, which comes when this has been told
};

inline Outcome Done(std::string text = "") {
    return {true, std::move(text), nullptr};
}

inline Outcome Refused(std::string reason) {
    return {false, std::move(reason), nullptr};
}

// What makes a direction happen.
struct Direction {
    const char* name;  // of its row
    std::function<Outcome(const Arguments&)> perform;
};

}  // namespace orvi_sim

#endif
