// Names and values to bytes.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

#include "value.h"

namespace orvi_protocol {
namespace {

// A setting on its way down: `path` is what is left of it at this level.
struct Given {
    std::string_view path;
    const std::string* value;
    size_t index;  // in the caller's list
};

std::string Quoted(std::string_view text) {
    return "'" + Printable(text.substr(0, 100)) + "'";
}

std::string Accepted(const Field& field) {
    std::string text;
    for (const Word& word : field.words) {
        text += (text.empty() ? "" : ", ") + std::string(word.word);
    }
    text += (text.empty() ? "" : ", or ") + std::to_string(field.least) + " to " + std::to_string(field.most);
    return field.unit.empty() ? text : text + " " + std::string(field.unit);
}

std::optional<int64_t> ParseInteger(std::string_view text) {
    const bool isNegative = !text.empty() && text.front() == '-';
    std::string_view digits = isNegative ? text.substr(1) : text;
    const bool isHex = digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
    digits = isHex ? digits.substr(2) : digits;
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, isHex ? 16 : 10);
    if (error != std::errc() || end != digits.data() + digits.size() || number > uint64_t{1} << 40) {
        return std::nullopt;
    }
    return isNegative ? -static_cast<int64_t>(number) : static_cast<int64_t>(number);
}

std::optional<int64_t> ParseNumber(const Field& field, std::string_view text) {
    for (const Word& word : field.words) {
        if (word.word == text) {
            return word.number;
        }
    }
    if (field.type == Type::Flag) {
        for (const std::string_view yes : {"true", "yes", "on"}) {
            if (text == yes) {
                return 1;
            }
        }
        for (const std::string_view no : {"false", "no", "off"}) {
            if (text == no) {
                return 0;
            }
        }
    }
    return ParseInteger(text);
}

int HexDigit(char digit) {
    return digit >= '0' && digit <= '9'   ? digit - '0'
           : digit >= 'a' && digit <= 'f' ? digit - 'a' + 10
           : digit >= 'A' && digit <= 'F' ? digit - 'A' + 10
                                          : -1;
}

// hex:00ff, zeros:100, text:hello
bool ParseBytes(std::string_view text, std::string& bytes) {
    const size_t colon = text.find(':');
    const std::string_view kind = text.substr(0, colon);
    const std::string_view rest = colon == std::string_view::npos ? "" : text.substr(colon + 1);
    if (text.empty()) {
        return true;
    }
    if (kind == "text" && colon != std::string_view::npos) {
        bytes = rest;
        return true;
    }
    if (kind == "zeros") {
        const std::optional<int64_t> count = ParseInteger(rest);
        if (count && *count >= 0 && *count <= int64_t{UNBOUNDED}) {
            bytes.assign(static_cast<size_t>(*count), '\0');
            return true;
        }
        return false;
    }
    if (kind != "hex" || rest.size() % 2 != 0) {
        return false;
    }
    for (size_t i = 0; i < rest.size(); i += 2) {
        const int high = HexDigit(rest[i]);
        const int low = HexDigit(rest[i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes += static_cast<char>(high * 16 + low);
    }
    return true;
}

void AddPaths(const Record& record, const std::string& prefix, std::vector<std::string>& paths) {
    for (const Field& field : record.fields) {
        if (field.type == Type::Reserved) {
            continue;
        }
        const std::string path = prefix + std::string(field.name) + (field.isList ? "[]" : "");
        if (field.name.empty()) {
            AddPaths(*field.record, prefix, paths);
        } else if (field.type == Type::Record) {
            AddPaths(*field.record, path + ".", paths);
        } else {
            paths.push_back(path);
        }
    }
}

class Encoder {
 public:
    Encoder(const std::vector<Setting>& settings, std::string& bytes, Check check)
        : settings_(settings), bytes_(bytes), check_(check), isUsed_(settings.size()) {}

    bool Run(const Record* record) {
        std::vector<Given> given;
        for (size_t i = 0; i < settings_.size(); ++i) {
            given.push_back({settings_[i].path, &settings_[i].value, i});
        }
        if (record != nullptr && !WriteRecord(*record, given, 0, "")) {
            return false;
        }
        for (size_t i = 0; i < settings_.size(); ++i) {
            if (!isUsed_[i]) {
                return Fail(NoField(record, settings_[i].path));
            }
        }
        if (bytes_.size() > UNBOUNDED) {
            return Fail(std::to_string(bytes_.size()) + " bytes are more than a message carries");
        }
        for (const LengthField& length : lengths_) {
            if (!length.isGiven) {
                WriteNumber(*length.field, length.at, static_cast<int64_t>(bytes_.size()));
            } else if (check_ == Check::Bounds && length.value != static_cast<int64_t>(bytes_.size())) {
                return Fail(std::string(length.field->name) + " is " + std::to_string(length.value) +
                            ": the whole has " + std::to_string(bytes_.size()) + " bytes");
            }
        }
        return true;
    }

    std::string TakeError() { return std::move(error_); }

 private:
    struct LengthField {
        const Field* field;
        size_t at;
        bool isGiven;
        int64_t value;
    };
    struct Count {
        std::string_view counter;
        size_t count;
    };
    using GivenList = std::vector<Given>;

    bool Fail(std::string error) {
        error_ = std::move(error);
        return false;
    }

    static std::string NoField(const Record* record, std::string_view path) {
        std::string text = "there is no field " + Quoted(path);
        const std::vector<std::string> paths = PathsOf(record);
        for (size_t i = 0; i < paths.size(); ++i) {
            text += (i == 0 ? "; there are " : ", ") + paths[i];
        }
        return text;
    }

    // Appends a record: `at` is the end of the bytes.
    bool WriteRecord(const Record& record, const GivenList& given, size_t at, const std::string& prefix) {
        bytes_.resize(at + record.shortest);
        return WriteFields(record, given, at, prefix);
    }

    bool WriteFields(const Record& record, const GivenList& given, size_t at, const std::string& prefix) {
        std::vector<Count> counts;
        for (const Field& field : record.fields) {
            if (field.name.empty()) {
                if (!WriteFields(*field.record, given, at + field.offset, prefix)) {
                    return false;
                }
            } else if (!WriteField(field, given, at + field.offset, prefix, counts)) {
                return false;
            }
        }
        for (const Count& count : counts) {
            for (const Field& field : record.fields) {
                if (field.name == count.counter && !WriteCount(field, count.count, given, at + field.offset, prefix)) {
                    return false;
                }
            }
        }
        return true;
    }

    // What a setting said stays; a field that nobody named gets what is true.
    bool WriteCount(const Field& field, size_t count, const GivenList& given, size_t at, const std::string& prefix) {
        const bool isGiven =
            std::any_of(given.begin(), given.end(), [&field](const Given& one) { return one.path == field.name; });
        const auto number = static_cast<int64_t>(count);
        if (isGiven) {
            if (check_ == Check::Bounds && ReadNumber(field, at) != number) {
                return Fail(prefix + std::string(field.name) + " is not " + std::to_string(number) +
                            ", which is what is there");
            }
            return true;
        }
        if (check_ == Check::Bounds && (number < field.least || number > field.most)) {
            return Fail(prefix + std::string(field.name) + " is " + std::to_string(number) + ": " + Accepted(field));
        }
        WriteNumber(field, at, number);
        return true;
    }

    bool WriteField(const Field& field, const GivenList& given, size_t at, const std::string& prefix,
                    std::vector<Count>& counts) {
        const std::string name = prefix + std::string(field.name);
        if (field.isList) {
            std::vector<GivenList> elements;
            if (!SplitElements(field, given, name, elements) || !WriteList(field, elements, at, name)) {
                return false;
            }
            if (!field.counter.empty()) {
                counts.push_back({field.counter, elements.size()});
            }
            return true;
        }
        GivenList own;
        for (const Given& one : given) {
            if (one.path == field.name) {
                own.push_back({"", one.value, one.index});
            } else if (field.type == Type::Record && one.path.size() > field.name.size() &&
                       one.path.substr(0, field.name.size()) == field.name && one.path[field.name.size()] == '.') {
                own.push_back({one.path.substr(field.name.size() + 1), one.value, one.index});
            }
        }
        const size_t before = bytes_.size();
        size_t textSize = 0;
        if (!WriteOne(field, own, at, name, textSize)) {
            return false;
        }
        if (!field.counter.empty()) {
            counts.push_back({field.counter, field.extent == Extent::Room ? textSize : bytes_.size() - before});
        }
        return true;
    }

    // "names[0]", "faces[1].score", or "names" once more for one element more.
    bool SplitElements(const Field& field, const GivenList& given, const std::string& name,
                       std::vector<GivenList>& elements) {
        const size_t most = field.each == 0 ? MOST_VALUES : field.size / field.each;
        for (const Given& one : given) {
            if (one.path.substr(0, field.name.size()) != field.name) {
                continue;
            }
            std::string_view rest = one.path.substr(field.name.size());
            size_t index = elements.size();
            if (!rest.empty()) {
                if (rest.front() != '[') {
                    continue;  // another field
                }
                const auto [end, error] = std::from_chars(rest.data() + 1, rest.data() + rest.size(), index);
                if (error != std::errc() || end == rest.data() + rest.size() || *end != ']') {
                    return Fail(Quoted(settings_[one.index].path) + ": an index in brackets is a number");
                }
                rest.remove_prefix(static_cast<size_t>(end - rest.data()) + 1);
                if (!rest.empty() && rest.front() == '.') {
                    rest.remove_prefix(1);
                }
            }
            if (index >= most) {
                return Fail(name + ": there is room for " + std::to_string(most));
            }
            if (index >= elements.size()) {
                elements.resize(index + 1);
            }
            elements[index].push_back({rest, one.value, one.index});
        }
        return true;
    }

    bool WriteList(const Field& field, const std::vector<GivenList>& elements, size_t at, const std::string& name) {
        for (size_t i = 0; i < elements.size(); ++i) {
            const std::string element = name + "[" + std::to_string(i) + "]";
            if (field.extent == Extent::Packed) {
                if (!WriteRecord(*field.record, elements[i], bytes_.size(), element + ".")) {
                    return false;
                }
                continue;
            }
            const size_t place = at + i * field.each;
            if (field.extent == Extent::Cut) {
                bytes_.resize(place + field.each);
            }
            size_t ignored = 0;
            if (!WriteOne(field, elements[i], place, element, ignored)) {
                return false;
            }
        }
        return true;
    }

    bool WriteOne(const Field& field, const GivenList& given, size_t at, const std::string& name, size_t& textSize) {
        if (field.type == Type::Record) {
            return WriteFields(*field.record, given, at, name + ".");
        }
        std::string value(field.initial);
        for (size_t i = 0; i < given.size(); ++i) {
            if (!given[i].path.empty()) {
                continue;  // stays unused, which is told at the end
            }
            if (isUsed_[given[i].index] || (i > 0 && isUsed_[given[0].index])) {
                return Fail(name + " is given twice");
            }
            isUsed_[given[i].index] = true;
            value = *given[i].value;
        }
        const bool isGiven = !given.empty();
        switch (field.type) {
            case Type::Number:
            case Type::Flag:
                return WriteNumberField(field, value, isGiven, at, name);
            case Type::Text:
                textSize = value.size();
                return WriteText(field, value, at, name);
            default:
                return WriteBytes(field, value, at, name);
        }
    }

    bool WriteNumberField(const Field& field, const std::string& text, bool isGiven, size_t at,
                          const std::string& name) {
        if (!isGiven && text.empty()) {
            if (field.holdsLength) {
                lengths_.push_back({&field, at, false, 0});
            }
            return true;  // 0, unless it is a counter
        }
        const std::optional<int64_t> number = ParseNumber(field, text);
        const int bits = field.each == 1 ? 8 : 32;
        const bool isRight = number && (check_ == Check::Bounds
                                            ? *number >= field.least && *number <= field.most
                                            : *number >= -(int64_t{1} << (bits - 1)) && *number < int64_t{1} << bits);
        if (!isRight) {
            return Fail(name + " is " + Quoted(text) + ": " + Accepted(field));
        }
        if (field.holdsLength) {
            lengths_.push_back({&field, at, true, *number});
        }
        WriteNumber(field, at, *number);
        return true;
    }

    bool WriteText(const Field& field, const std::string& text, size_t at, const std::string& name) {
        if (check_ == Check::Bounds && field.isRequired && text.empty()) {
            return Fail(name + " is missing");
        }
        if (text.find('\0') != std::string::npos) {
            return Fail(name + " has a NUL inside");
        }
        if (field.extent == Extent::Rest) {
            bytes_.resize(at);
            bytes_ += text;
            bytes_ += '\0';
            return true;
        }
        const size_t most = field.each - (field.mayFill ? 0 : 1);
        if (text.size() > most) {
            return Fail(name + " has " + std::to_string(text.size()) + " bytes: at most " + std::to_string(most));
        }
        bytes_.replace(at, text.size(), text);
        return true;
    }

    bool WriteBytes(const Field& field, const std::string& text, size_t at, const std::string& name) {
        std::string given;
        if (!ParseBytes(text, given)) {
            return Fail(name + " is " + Quoted(text) + ": hex:00ff, zeros:100 or text:hello");
        }
        if (field.extent != Extent::Room) {
            bytes_.resize(at);
            bytes_ += given;
            return true;
        }
        if (given.size() > field.each) {
            return Fail(name + " has " + std::to_string(given.size()) + " bytes: at most " +
                        std::to_string(field.each));
        }
        bytes_.replace(at, given.size(), given);
        return true;
    }

    void WriteNumber(const Field& field, size_t at, int64_t number) {
        for (size_t i = 0; i < field.each; ++i) {
            bytes_[at + i] = static_cast<char>(static_cast<uint64_t>(number) >> (8 * i));
        }
    }

    int64_t ReadNumber(const Field& field, size_t at) const {
        uint32_t bits = 0;
        for (size_t i = 0; i < field.each; ++i) {
            bits |= static_cast<uint32_t>(static_cast<uint8_t>(bytes_[at + i])) << (8 * i);
        }
        return field.isSigned ? static_cast<int64_t>(static_cast<int32_t>(bits)) : static_cast<int64_t>(bits);
    }

    const std::vector<Setting>& settings_;
    std::string& bytes_;
    Check check_;
    std::vector<bool> isUsed_;
    std::vector<LengthField> lengths_;
    std::string error_;
};

std::string ToHex(const std::string& bytes) {
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string text = "hex:";
    for (const char byte : bytes) {
        text += DIGITS[static_cast<uint8_t>(byte) >> 4];
        text += DIGITS[static_cast<uint8_t>(byte) & 15];
    }
    return text;
}

void AddSettings(const std::vector<Value>& values, const std::string& prefix, std::vector<Setting>& settings);

void AddSetting(const Value& value, const std::string& path, std::vector<Setting>& settings) {
    switch (value.field->type) {
        case Type::Number:
        case Type::Flag:
            settings.push_back({path, std::to_string(value.number)});
            return;
        case Type::Text:
            settings.push_back({path, value.bytes});
            return;
        case Type::Record:
            AddSettings(value.items, path + ".", settings);
            return;
        default:
            settings.push_back({path, ToHex(value.bytes)});
    }
}

void AddSettings(const std::vector<Value>& values, const std::string& prefix, std::vector<Setting>& settings) {
    for (const Value& value : values) {
        const std::string path = prefix + std::string(value.field->name);
        if (!value.field->isList) {
            AddSetting(value, path, settings);
            continue;
        }
        for (size_t i = 0; i < value.items.size(); ++i) {
            AddSetting(value.items[i], path + "[" + std::to_string(i) + "]", settings);
        }
    }
}

}  // namespace

bool Encode(const Record* record, const std::vector<Setting>& settings, std::string& bytes, std::string& error,
            Check check) {
    bytes.clear();
    Encoder encoder(settings, bytes, check);
    if (encoder.Run(record)) {
        return true;
    }
    error = encoder.TakeError();
    bytes.clear();
    return false;
}

std::vector<Setting> ToSettings(const std::vector<Value>& values) {
    std::vector<Setting> settings;
    AddSettings(values, "", settings);
    return settings;
}

std::vector<const Field*> SettableFields(const Record& record) {
    std::vector<const Field*> fields;
    for (const Field& field : record.fields) {
        const bool isCounter = std::any_of(record.fields.begin(), record.fields.end(), [&field](const Field& other) {
            return !field.name.empty() && other.counter == field.name;
        });
        if (field.name.empty()) {
            const std::vector<const Field*> inlined = SettableFields(*field.record);
            fields.insert(fields.end(), inlined.begin(), inlined.end());
        } else if (!isCounter && !field.holdsLength && field.type != Type::Reserved && field.name != "client") {
            fields.push_back(&field);
        }
    }
    return fields;
}

std::vector<std::string> PathsOf(const Record* record) {
    std::vector<std::string> paths;
    if (record != nullptr) {
        AddPaths(*record, "", paths);
    }
    return paths;
}

}  // namespace orvi_protocol
