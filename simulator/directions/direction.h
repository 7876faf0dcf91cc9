// What a person or a script can make happen: one row of the vocabulary.
#ifndef ORVI_SIM_DIRECTIONS_DIRECTION_H
#define ORVI_SIM_DIRECTIONS_DIRECTION_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace orvi_sim {

struct Parameter {
    enum class Type {
        Name,     // one word
        Number,   // 0 to 4294967295, decimal or 0x hexadecimal
        Message,  // the id of a message that applications send, or event:ID for one that the service sends
        Choice,   // one of the words in `name`, which have '|' between them
        Words,    // what is left, word by word
        Text      // what is left, as it was written
    };
    const char* name;  // for people; in capital letters but for a choice
    Type type;
    bool isOptional = false;  // those behind it are, too
};

// The words of one direction, checked against its parameters. Those that were left out are zero or empty.
struct Argument {
    bool isGiven = false;
    bool isEvent = false;  // of a message
    uint32_t number = 0;
    std::string text;
    std::vector<std::string> words;
};

struct Arguments {
    std::string name;  // the direction's
    std::vector<Argument> values;

    const Argument& operator[](size_t index) const { return values[index]; }
};

struct Outcome {
    bool isDone;
    std::string text;  // what there is to tell, or the reason of the refusal
};

inline Outcome Done(std::string text = "") {
    return {true, std::move(text)};
}

inline Outcome Refused(std::string reason) {
    return {false, std::move(reason)};
}

struct Direction {
    const char* name;
    std::vector<Parameter> parameters;
    const char* help;  // one line
    std::function<Outcome(const Arguments&)> perform;
};

}  // namespace orvi_sim

#endif
