// Words against the rows of the vocabulary, and the rows in words for people.
#include <algorithm>
#include <sstream>

#include "directions/vocabulary.h"
#include "directions/words.h"
#include "duration.h"
#include "payload.h"

namespace orvi_sim {
namespace {

using orvi_protocol::AllMessages;
using orvi_protocol::FindMessage;
using orvi_protocol::Message;

constexpr char EVENT_PREFIX[] = "event:";
constexpr size_t HELP_COLUMN = 44;
constexpr uint32_t EVENT_IDS_BEGIN = 0x600000;

// An option's name, --nth of "--nth N", and what stands behind it.
std::string OptionName(const Parameter& option) {
    const std::string name = option.name;
    return name.substr(0, name.find(' '));
}

std::string OptionValue(const Parameter& option) {
    const std::string name = option.name;
    const size_t blank = name.find(' ');
    return blank == std::string::npos ? name : name.substr(blank + 1);
}

// "await clients, await request" of "await"; those alone that have two words.
std::string NamesBehind(const std::string& first) {
    std::string names;
    for (const Row* row : RowsBehind(first)) {
        names += (names.empty() ? "" : ", ") + std::string(row->name);
    }
    return names;
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

// Names that a person may have meant: those of the same feature, or the features.
std::string NoSuchMessage(const std::string& word) {
    const std::string feature = word.substr(0, word.find('.'));
    std::string names;
    std::string features;
    for (const Message* message : AllMessages()) {
        const std::string name(message->name);
        const std::string itsFeature = name.substr(0, name.find('.'));
        if (itsFeature == feature) {
            names += (names.empty() ? "" : ", ") + name;
        }
        if ((", " + features + ",").find(" " + itsFeature + ".*,") == std::string::npos) {
            features += (features.empty() ? "" : ", ") + itsFeature + ".*";
        }
    }
    return Quote(word) + " is no message; there are " + (names.empty() ? features : names);
}

std::optional<std::string> ReadMessage(const std::string& word, Argument& argument) {
    if (const Message* const named = FindMessage(word)) {
        argument.message = named;
        argument.number = named->id;
        argument.isEvent = !ToService(named->direction);
        return std::nullopt;
    }
    argument.isEvent = word.rfind(EVENT_PREFIX, 0) == 0;
    const std::optional<uint32_t> id = ParseNumber(argument.isEvent ? word.substr(sizeof(EVENT_PREFIX) - 1) : word);
    if (!id) {
        return NoSuchMessage(word);
    }
    argument.number = *id;
    argument.message = FindMessage(*id, !argument.isEvent);
    if (argument.message == nullptr && *id >= EVENT_IDS_BEGIN && !argument.isEvent &&
        FindMessage(*id, false) != nullptr) {
        argument.message = FindMessage(*id, false);  // no request has this id
        argument.isEvent = true;
    }
    return std::nullopt;
}

// Reads one word. The reason when it is none.
std::optional<std::string> ReadWord(const Parameter& parameter, const std::string& name, const std::string& word,
                                    Argument& argument) {
    argument.isGiven = true;
    argument.text = word;
    switch (parameter.type) {
        case Type::Choice:
            if (IsOneOf(word, name)) {
                return std::nullopt;
            }
            return Quote(word) + " is none of " + name;
        case Type::Message:
            return ReadMessage(word, argument);
        case Type::Time:
            if (const auto time = orvi_protocol::ParseMilliseconds(word)) {
                argument.time = *time;
                return std::nullopt;
            }
            return Quote(word) + " is no time, as 500ms, 2s or 1m";
        case Type::Clock:
            if (const auto second = ParseTimeOfDay(word)) {
                argument.number = *second;
                return std::nullopt;
            }
            return Quote(word) + " is no time of day, as 09:30 or 09:30:15";
        case Type::NumberOr:
            if (word == name.substr(name.find('|') + 1)) {
                return std::nullopt;
            }
            break;
        case Type::Number:
            break;
        default:
            if (word.empty()) {
                return name + " is empty";
            }
            return std::nullopt;
    }
    const std::optional<uint32_t> number = ParseNumber(word);
    if (!number || *number < parameter.least || *number > parameter.most) {
        if (parameter.type == Type::NumberOr) {
            return Quote(word) + " is neither " + name.substr(name.find('|') + 1) + " nor a number from " +
                   std::to_string(parameter.least) + " to " + std::to_string(parameter.most);
        }
        const bool isBounded = parameter.least != 0 || parameter.most != UINT32_MAX;
        return Quote(word) + " is no number for " + name +
               (isBounded ? ": " + std::to_string(parameter.least) + " to " + std::to_string(parameter.most) : "");
    }
    argument.number = *number;
    return std::nullopt;
}

// Takes the options out of the words. The reason when one does not fit.
std::optional<std::string> ReadOptions(const Row& row, std::vector<std::string>& words, Arguments& arguments) {
    std::vector<std::string> rest;
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i].rfind("--", 0) != 0) {
            rest.push_back(words[i]);
            continue;
        }
        if (words[i] == "--") {  // what follows is no option
            rest.insert(rest.end(), words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());
            break;
        }
        const auto option = std::find_if(row.options.begin(), row.options.end(),
                                         [&](const Parameter& known) { return OptionName(known) == words[i]; });
        if (option == row.options.end()) {
            return "there is no option " + Quote(words[i]) + " of " + row.name;
        }
        const std::string name = words[i];
        Argument& argument = arguments.options[name];
        if (argument.isGiven) {
            return name + " is given twice";
        }
        argument.isGiven = true;
        if (option->type == Type::Flag) {
            continue;
        }
        if (++i == words.size()) {
            return name + " is without its " + OptionValue(*option);
        }
        if (auto reason = ReadWord(*option, OptionValue(*option), words[i], argument)) {
            return name + ": " + *reason;
        }
    }
    words = std::move(rest);
    for (const Parameter& option : row.options) {
        if (option.isNeeded && arguments.options.count(OptionName(option)) == 0) {
            return std::string(option.name) + " is missing";
        }
    }
    return std::nullopt;
}

std::optional<std::string> Read(const Row& row, std::vector<std::string> words, Arguments& arguments) {
    if (auto reason = ReadOptions(row, words, arguments)) {
        return reason;
    }
    size_t at = 0;
    for (const Parameter& parameter : row.parameters) {
        Argument argument;
        const std::vector<std::string> left(words.begin() + static_cast<std::ptrdiff_t>(at), words.end());
        if (parameter.type == Type::Words || parameter.type == Type::Text) {
            argument.isGiven = !left.empty();
            argument.words = left;
            for (const std::string& word : left) {
                argument.text += (&word == &left.front() ? "" : " ") + word;
            }
            at = words.size();
        } else if (at < words.size()) {
            if (auto reason = ReadWord(parameter, parameter.name, words[at++], argument)) {
                return reason;
            }
        }
        if (!argument.isGiven && !parameter.isOptional) {
            return std::string(parameter.name) + " is missing";
        }
        arguments.values.push_back(std::move(argument));
    }
    if (at < words.size()) {
        return Quote(words[at]) + " is too much";
    }
    return std::nullopt;
}

}  // namespace

const Row* FindRow(const std::vector<std::string>& words, size_t& count) {
    const Row* row = nullptr;
    const std::string one = words.empty() ? "" : words[0];
    const std::string two = words.size() < 2 ? one : one + " " + words[1];
    for (const Row& other : Vocabulary()) {
        if (two == other.name && words.size() > 1) {
            count = 2;
            return &other;
        }
        if (one == other.name) {
            count = 1;
            row = &other;
        }
    }
    return row;
}

std::vector<const Row*> RowsBehind(const std::string& first) {
    std::vector<const Row*> rows;
    for (const Row& row : Vocabulary()) {
        if (std::string(row.name).rfind(first + " ", 0) == 0) {
            rows.push_back(&row);
        }
    }
    return rows;
}

std::string Usage(const Row& row) {
    std::string usage = row.name;
    for (const Parameter& parameter : row.parameters) {
        std::string name = parameter.name;
        name += parameter.type == Type::Words ? "..." : "";
        usage += parameter.isOptional ? " [" + name + "]" : " " + name;
    }
    for (const Parameter& option : row.options) {
        usage += option.isNeeded ? std::string(" ") + option.name : std::string(" [") + option.name + "]";
    }
    return usage;
}

std::string Explain(const Row& row) {
    std::string text = Usage(row) + "\n  " + row.help + "\n";
    const auto uses = [&row](Type type) {
        const auto isOf = [type](const Parameter& parameter) { return parameter.type == type; };
        return std::any_of(row.parameters.begin(), row.parameters.end(), isOf) ||
               std::any_of(row.options.begin(), row.options.end(), isOf);
    };
    if (uses(Type::Message)) {
        text += "  MESSAGE: a name, as caption.start (see messages), or an id, of an event as event:ID\n";
    }
    if (uses(Type::Time)) {
        text += "  TIME: 500ms, 2s, 1.5m, 1h\n";
    }
    if (uses(Type::Words)) {
        text +=
            "  FIELD=VALUE: a field of the message, as speaker=Zoe\n"
            "  WORD: a 32-bit integer (7, -7, 0x2a), hex:00ff, zeros:100, text:hello, or none for no payload\n";
    }
    for (const Parameter& option : row.options) {
        const std::string name = OptionName(option);
        text += name == "--once"     ? "  --once: the next one only\n"
                : name == "--nth"    ? "  --nth N: only the N-th from now on\n"
                : name == "--every"  ? "  --every N: each N-th from now on\n"
                : name == "--chance" ? "  --chance PERCENT: those that chance picks; --seed gives another course\n"
                : name == "--app"    ? "  --app NAME: those of one application, by its name on the bus (see clients)\n"
                : name == "--raw"    ? "  --raw: send it although no application could trust it\n"
                : name == "--reveal" ? "  --reveal: show private contents as they are\n"
                                     : "";
    }
    const std::string more = NamesBehind(row.name);
    return text + (more.empty() ? "" : "  there is also: " + more + "\n");
}

std::string ExplainAll() {
    std::string help;
    for (const Row& row : Vocabulary()) {
        std::string line = std::string("  ") + row.name;
        for (const Parameter& parameter : row.parameters) {
            const std::string name = std::string(parameter.name) + (parameter.type == Type::Words ? "..." : "");
            line += parameter.isOptional ? " [" + name + "]" : " " + name;
        }
        line += row.options.empty() ? "" : " ...";
        line.resize(std::max(line.size() + 1, HELP_COLUMN), ' ');
        help += line + row.help + "\n";
    }
    return help;
}

std::optional<std::string> ReadArguments(const Row& row, const std::vector<std::string>& words, size_t count,
                                         Arguments& arguments) {
    arguments.name = row.name;
    const auto begin = words.begin() + static_cast<std::ptrdiff_t>(count);
    if (auto reason = Read(row, std::vector<std::string>(begin, words.end()), arguments)) {
        // "clock fast" may have meant another one of the clock's.
        const std::string more = reason->find(" is too much") != std::string::npos ? NamesBehind(row.name) : "";
        return *reason + "; it is: " + Usage(row) + (more.empty() ? "" : "; there is also " + more);
    }
    return std::nullopt;
}

std::string NoSuchDirection(const std::vector<std::string>& words) {
    constexpr size_t FEWEST_LETTERS = 3;  // that tell what may have been meant
    const std::string first = words.empty() ? "" : words[0];
    std::string similar = NamesBehind(first);
    for (const Row& row : Vocabulary()) {
        const std::string name = row.name;
        if (similar.empty() && first.size() >= FEWEST_LETTERS && name.find(first) != std::string::npos) {
            similar = name;
        }
    }
    std::string quote =
        JoinWords({words.begin(), words.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(2, words.size()))});
    return "there is no command " + Quote(quote) + ", " + (similar.empty() ? "help tells them" : "there is " + similar);
}

}  // namespace orvi_sim
