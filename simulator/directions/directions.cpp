#include "directions/directions.h"

#include <algorithm>
#include <optional>
#include <sstream>
#include <utility>

#include "payload.h"

namespace orvi_sim {
namespace {

constexpr char EVENT_PREFIX[] = "event:";
constexpr size_t HELP_COLUMN = 38;
constexpr size_t LONGEST_QUOTE = 64;

// The next word of the line from `at` on, which goes behind it; empty at the end.
std::string NextWord(const std::string& line, size_t& at) {
    const size_t begin = std::min(line.find_first_not_of(" \t\r", at), line.size());
    size_t end = std::min(line.find_first_of(" \t\r", begin), line.size());
    if (line.compare(begin, 5, "text:") == 0) {
        end = line.size();  // its blanks belong to the text
    }
    at = end;
    return line.substr(begin, end - begin);
}

bool IsOneOf(const std::string& word, const std::string& choices) {
    std::istringstream stream(choices);
    for (std::string choice; std::getline(stream, choice, '|');) {
        if (choice == word) {
            return true;
        }
    }
    return false;
}

// Reads one argument. The reason when it is none.
std::optional<std::string> Read(const Parameter& parameter, const std::string& word, Argument& argument) {
    argument.isGiven = true;
    argument.text = word;
    std::string digits = word;
    switch (parameter.type) {
        case Parameter::Type::Name:
        case Parameter::Type::Words:
        case Parameter::Type::Text:
            return std::nullopt;
        case Parameter::Type::Choice:
            if (IsOneOf(word, parameter.name)) {
                return std::nullopt;
            }
            return "'" + word + "' is none of " + parameter.name;
        case Parameter::Type::Message:
            argument.isEvent = word.rfind(EVENT_PREFIX, 0) == 0;
            if (argument.isEvent) {
                digits.erase(0, sizeof(EVENT_PREFIX) - 1);
            }
            break;
        case Parameter::Type::Number:
            break;
    }
    const std::optional<uint32_t> number = ParseNumber(digits);
    if (!number) {
        return "'" + word + "' is no number for " + parameter.name;
    }
    argument.number = *number;
    return std::nullopt;
}

std::string Usage(const Direction& direction) {
    std::string usage = direction.name;
    for (const Parameter& parameter : direction.parameters) {
        std::string name = parameter.name;
        name += parameter.type == Parameter::Type::Words ? "..." : "";
        usage += parameter.isOptional ? " [" + name + "]" : " " + name;
    }
    return usage;
}

// The words behind the name. The reason when they do not fit.
std::optional<std::string> ReadAll(const Direction& direction, const std::string& line, size_t at,
                                   Arguments& arguments) {
    arguments.name = direction.name;
    for (const Parameter& parameter : direction.parameters) {
        Argument argument;
        if (parameter.type == Parameter::Type::Text) {
            const size_t begin = std::min(line.find_first_not_of(" \t", at), line.size());
            argument.text = line.substr(begin);
            argument.isGiven = !argument.text.empty();
            at = line.size();
        } else if (parameter.type == Parameter::Type::Words) {
            for (std::string word = NextWord(line, at); !word.empty(); word = NextWord(line, at)) {
                argument.words.push_back(word);
            }
            argument.isGiven = !argument.words.empty();
        } else if (const std::string word = NextWord(line, at); !word.empty()) {
            if (const auto reason = Read(parameter, word, argument)) {
                return *reason + "; it is: " + Usage(direction);
            }
        }
        if (!argument.isGiven && !parameter.isOptional) {
            return std::string(parameter.name) + " is missing; it is: " + Usage(direction);
        }
        arguments.values.push_back(std::move(argument));
    }
    if (const std::string more = NextWord(line, at); !more.empty()) {
        return "'" + more + "' is too much; it is: " + Usage(direction);
    }
    return std::nullopt;
}

}  // namespace

Directions::Directions(Stage& stage) : stage_(stage) {
    Add({{"help", {{"NAME", Parameter::Type::Text, true}}, "all commands, or one", [this](const Arguments& arguments) {
              return HelpOn(arguments[0].text);
          }}});
}

void Directions::AddOnStage(std::vector<Direction> rows) {
    for (Direction& row : rows) {
        rows_.push_back({std::move(row), true});
    }
}

void Directions::Add(std::vector<Direction> rows) {
    for (Direction& row : rows) {
        rows_.push_back({std::move(row), false});
    }
}

// A name has one word or two.
const Directions::Row* Directions::Find(const std::string& line, size_t& at) const {
    size_t behindOne = at;
    const std::string one = NextWord(line, behindOne);
    size_t behindTwo = behindOne;
    const std::string two = one + " " + NextWord(line, behindTwo);
    const Row* row = nullptr;
    for (const Row& other : rows_) {
        if (two == other.direction.name) {
            at = behindTwo;
            return &other;
        }
        if (one == other.direction.name) {
            row = &other;
        }
    }
    at = behindOne;
    return row;
}

std::string Directions::Perform(const std::string& line) const {
    size_t at = 0;
    const Row* const row = Find(line, at);
    if (row == nullptr) {
        return "error there is no command '" + line.substr(0, LONGEST_QUOTE) + "', help tells them";
    }
    Arguments arguments;
    if (const auto reason = ReadAll(row->direction, line, at, arguments)) {
        return "error " + *reason;
    }
    Stage::Lock lock = stage_.Enter();
    if (!row->isOnStage) {
        lock.unlock();
    }
    const Outcome outcome = row->direction.perform(arguments);
    return std::string(outcome.isDone ? "ok" : "error") + (outcome.text.empty() ? "" : " ") + outcome.text;
}

std::string Directions::Help() const {
    std::string help;
    for (const Row& row : rows_) {
        std::string line = "  " + Usage(row.direction);
        line.resize(std::max(line.size() + 1, HELP_COLUMN), ' ');
        help += line + row.direction.help + "\n";
    }
    return help;
}

Outcome Directions::HelpOn(const std::string& name) const {
    if (name.empty()) {
        std::string names;
        for (const Row& row : rows_) {
            names += (names.empty() ? "" : ", ") + Usage(row.direction);
        }
        return Done(names);
    }
    size_t at = 0;
    const Row* const row = Find(name, at);
    return row != nullptr ? Done(Usage(row->direction) + ": " + row->direction.help)
                          : Refused("there is no command '" + name + "'");
}

}  // namespace orvi_sim
