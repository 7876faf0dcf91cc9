#include "scenario/scenario.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "directions/pushes.h"
#include "directions/vocabulary.h"
#include "directions/wanted.h"
#include "directions/words.h"
#include "duration.h"

namespace orvi_sim {
namespace {

using Json = nlohmann::ordered_json;
using Reason = std::optional<std::string>;
using Words = std::vector<std::string>;

constexpr size_t MOST_REASONS = 20;
constexpr int MOST_DEPTH = 8;

// How a word of a direction is called in a scenario: "text" for TEXT, "name" for --name NAME. Empty when it can stand
// behind the direction only, as in "mic off".
std::string KeyOf(const Parameter& parameter) {
    std::string name = parameter.name;
    if (name.rfind("--", 0) == 0) {
        return name.substr(2, name.find(' ') - 2);
    }
    if (parameter.type == Type::Words) {
        return name.find("FIELD") != std::string::npos ? "fields" : "";
    }
    const bool isWord = std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isupper(c) != 0; });
    if (parameter.type == Type::Choice || !isWord) {
        return "";
    }
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    return name;
}

std::string KeysOf(const Row& row) {
    std::string keys = "at, on, after, do";
    for (const auto* parameters : {&row.parameters, &row.options}) {
        for (const Parameter& parameter : *parameters) {
            const std::string key = KeyOf(parameter);
            keys += key.empty() ? "" : ", " + key;
        }
    }
    return keys;
}

// A value as the word that a person would write.
Reason ReadWord(const std::string& key, const Json& value, std::string& word) {
    if (value.is_string()) {
        word = value.get<std::string>();
        if (word.find('\0') != std::string::npos) {
            return key + " has a NUL";
        }
    } else if (value.is_number_integer()) {
        word = value.dump();
    } else if (value.is_boolean()) {
        word = value.get<bool>() ? "1" : "0";
    } else {
        return key + ": " + Quote(value.dump()) + " is no text, whole number, true or false";
    }
    return std::nullopt;
}

Reason ReadFields(const Json& value, Words& words) {
    if (!value.is_object()) {
        return "fields: " + Quote(value.dump()) + R"( is no object, as {"state": 7})";
    }
    for (const auto& [name, field] : value.items()) {
        std::string word;
        if (auto reason = ReadWord("fields: " + name, field, word)) {
            return reason;
        }
        words.push_back(std::string(name).append("=").append(word));
    }
    return std::nullopt;
}

// The words of one line's object, taken out of it one after another.
class LineReader {
 public:
    LineReader(const Json& object, std::string folder) : object_(object), folder_(std::move(folder)) {}

    Reason Read(ScenarioLine& line) {
        if (auto reason = ReadWhen(line)) {
            return reason;
        }
        return ReadDirection(line.direction);
    }

 private:
    const Json* Take(const std::string& key) {
        taken_.insert(key);
        const auto found = object_.find(key);
        return found != object_.end() ? &*found : nullptr;
    }

    Reason ReadTime(const char* key, const Json& value, std::chrono::milliseconds& time) {
        const auto read = value.is_string() ? orvi_protocol::ParseMilliseconds(value.get<std::string>()) : std::nullopt;
        if (!read) {
            return std::string(key) + ": " + Quote(value.dump()) +
                   R"( is no time up to a day, as "500ms", "2s" or "1m30s")";
        }
        time = *read;
        return std::nullopt;
    }

    Reason ReadWhen(ScenarioLine& line) {
        const Json* const at = Take("at");
        const Json* const on = Take("on");
        const Json* const after = Take("after");
        if ((at == nullptr) == (on == nullptr)) {
            return R"(it has either "at", a time since the start, or "on", a message of an application)";
        }
        if (at != nullptr) {
            return after == nullptr ? ReadTime("at", *at, line.at) : Reason(R"("after" goes with "on" only)");
        }
        Arguments arguments;
        const std::string word = on->is_string() ? on->get<std::string>() : on->dump();
        static const Row row = {"on", {{"MESSAGE", Type::Message}}, {}, ""};
        if (auto reason = ReadArguments(row, {word}, 0, arguments)) {
            return "on: " + reason->substr(0, reason->rfind("; it is: "));
        }
        if (arguments[0].isEvent || arguments[0].message == nullptr) {
            return "on: " + Quote(word) + " is nothing that applications send; see orvi-room messages";
        }
        line.on = arguments[0].number;
        return after != nullptr ? ReadTime("after", *after, line.at) : std::nullopt;
    }

    Reason ReadDirection(std::string& direction) {
        const Json* const named = Take("do");
        Words words;
        if (named == nullptr || !named->is_string() || !SplitLine(named->get<std::string>(), words)) {
            return R"("do" is missing, or no direction, as "person enters")";
        }
        size_t count = 0;
        const Row* const row = FindRow(words, count);
        if (row == nullptr) {
            return "do: " + NoSuchDirection(words);
        }
        size_t given = words.size() - count;  // parameters behind the direction's name
        Words rest;
        for (const Parameter& parameter : row->parameters) {
            const std::string key = KeyOf(parameter);
            const Json* const value = key.empty() ? nullptr : Take(key);
            if (value == nullptr) {
                given -= given != 0 ? 1 : 0;
                continue;
            }
            if (given != 0) {
                return key + " is given twice, behind " + row->name + " and by its name";
            }
            if (auto reason = ReadValue(parameter, key, *value, rest)) {
                return reason;
            }
        }
        for (const Parameter& option : row->options) {
            const std::string key = KeyOf(option);
            if (const Json* const value = Take(key)) {
                if (auto reason = ReadOption(option, key, *value, words)) {
                    return reason;
                }
            }
        }
        for (const auto& [key, value] : object_.items()) {
            if (taken_.count(key) == 0) {
                return Quote(key) + " is nothing of " + row->name + ", which has " + KeysOf(*row);
            }
        }
        if (std::any_of(rest.begin(), rest.end(), [](const std::string& word) { return word.rfind("--", 0) == 0; })) {
            words.emplace_back("--");  // they are no options
        }
        words.insert(words.end(), rest.begin(), rest.end());
        Arguments arguments;
        if (auto reason = ReadArguments(*row, words, count, arguments)) {
            return reason;
        }
        if (auto reason = CheckFields(row->name, arguments)) {
            return reason;
        }
        direction = JoinWords(words);
        return std::nullopt;
    }

    // The fields and bytes behind a message, which are read when the direction is performed.
    static Reason CheckFields(const std::string& direction, const Arguments& arguments) {
        std::vector<Wanted> wanted;
        Payload payload;
        if (direction == "push") {
            return ReadPush(arguments[0], arguments[1].words, arguments.Option("--raw") != nullptr, payload);
        }
        if (direction == "reply") {
            return ReadReply(arguments[0], arguments[1].words, payload);
        }
        const bool isExpected = direction == "expect" || direction == "expect no";
        return isExpected && !arguments[0].isEvent && arguments[0].message != nullptr
                   ? ReadWanted(*arguments[0].message, arguments[1].words, wanted)
                   : std::nullopt;
    }

    static Reason ReadValue(const Parameter& parameter, const std::string& key, const Json& value, Words& words) {
        if (parameter.type == Type::Words) {
            return ReadFields(value, words);
        }
        std::string word;
        auto reason = ReadWord(key, value, word);
        words.push_back(word);
        return reason;
    }

    Reason ReadOption(const Parameter& option, const std::string& key, const Json& value, Words& words) {
        if (option.type == Type::Flag) {
            if (!value.is_boolean()) {
                return key + ": " + Quote(value.dump()) + " is neither true nor false";
            }
            if (value.get<bool>()) {
                words.push_back("--" + key);
            }
            return std::nullopt;
        }
        std::string word;
        if (auto reason = ReadWord(key, value, word)) {
            return reason;
        }
        if (option.type == Type::File) {
            word = (std::filesystem::path(folder_) / word).string();
            if (!std::ifstream(word) || std::filesystem::is_directory(word)) {
                return key + ": " + word + " cannot be read";
            }
        }
        words.push_back("--" + key);
        words.push_back(word);
        return std::nullopt;
    }

    const Json& object_;
    const std::string folder_;  // of the file, where its paths begin
    std::set<std::string> taken_;
};

// One object a line, each name once.
Reason ParseLine(const std::string& text, Json& object) {
    std::string twice;
    std::vector<std::set<std::string>> names;
    bool isDeep = false;
    const auto look = [&](int depth, Json::parse_event_t event, Json& parsed) {
        isDeep = isDeep || depth > MOST_DEPTH;
        if (event == Json::parse_event_t::object_start) {
            names.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            names.pop_back();
        } else if (event == Json::parse_event_t::key && !names.back().insert(parsed.get<std::string>()).second) {
            twice = parsed.get<std::string>();
        }
        return depth <= MOST_DEPTH;  // nothing deeper is kept
    };
    try {
        object = Json::parse(text, look);
    } catch (const Json::parse_error& error) {
        const size_t read = std::min(text.size(), error.byte);
        const size_t begin = read - std::min(read, LONGEST_QUOTE / 2);
        return "no JSON behind " + Quote(text.substr(begin, read - begin));
    } catch (const Json::out_of_range&) {
        return "a number in it is too big";
    }
    if (isDeep) {
        return "its values lie deeper than " + std::to_string(MOST_DEPTH) + " brackets";
    }
    if (!twice.empty()) {
        return Quote(twice) + " is given twice";
    }
    return object.is_object() ? std::nullopt : Reason(R"(it is no object, as {"at": "2s", "do": "faces 3"})");
}

}  // namespace

std::vector<std::string> ReadScenario(const std::string& file, Scenario& scenario) {
    std::ifstream stream(file);
    if (!stream || std::filesystem::is_directory(file)) {
        return {file + ": " + std::strerror(stream ? EISDIR : errno)};
    }
    scenario = {file, {}, {}};
    const std::string folder = std::filesystem::absolute(file).parent_path().string();
    std::vector<std::string> reasons;
    size_t number = 0;
    size_t latest = 0;
    for (std::string text; std::getline(stream, text) && reasons.size() < MOST_REASONS;) {
        ++number;
        const size_t begin = text.find_first_not_of(" \t\r");
        if (begin == std::string::npos || text[begin] == '#') {
            continue;
        }
        Json object;
        ScenarioLine line;
        line.number = number;
        Reason reason = ParseLine(text, object);
        if (!reason) {
            reason = LineReader(object, folder).Read(line);
        }
        if (!reason && !line.on && line.at < scenario.length) {
            reason = "at " + TimeText(line.at) + " is before line " + std::to_string(latest) + ", at " +
                     TimeText(scenario.length);
        }
        if (reason) {
            reasons.push_back(file + ":" + std::to_string(number) + ": " + *reason);
            continue;
        }
        if (!line.on) {
            scenario.length = line.at;
            latest = number;
        }
        scenario.lines.push_back(std::move(line));
    }
    if (reasons.empty() && scenario.lines.empty()) {
        reasons.push_back(file + R"(: it has no line, as {"at": "2s", "do": "faces 3"})");
    }
    return reasons;
}

}  // namespace orvi_sim
