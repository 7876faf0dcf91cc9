// Values as JSON for programs, as one line and as tables for people.
#include <algorithm>
#include <cstdio>

#include "value.h"

namespace orvi_protocol {
namespace {

constexpr char DIGITS[] = "0123456789abcdef";

// The bytes of the UTF-8 character at the start of `text`; 0 when there is none.
size_t CharacterSize(std::string_view text) {
    const auto first = static_cast<uint8_t>(text[0]);
    if (first < 0x80) {
        return 1;
    }
    const size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < size) {
        return 0;
    }
    for (size_t i = 1; i < size; ++i) {
        if ((static_cast<uint8_t>(text[i]) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const auto second = static_cast<uint8_t>(text[1]);
    const bool isOverlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool isBeyond = (first == 0xED && second > 0x9F) || (first == 0xF4 && second > 0x8F);
    return isOverlong || isBeyond ? 0 : size;
}

// Characters that move a terminal's cursor or change its state: C0, DEL, C1, and those that turn the direction of text.
bool IsControl(std::string_view character) {
    const auto first = static_cast<uint8_t>(character[0]);
    if (character.size() == 1) {
        return first < 0x20 || first == 0x7F;
    }
    if (first == 0xC2 && static_cast<uint8_t>(character[1]) < 0xA0) {
        return true;
    }
    return character == "\u200e" || character == "\u200f" || (character >= "\u2028" && character <= "\u202e") ||
           (character >= "\u2066" && character <= "\u2069");
}

// At most so many bytes, whole characters.
std::string_view Beginning(std::string_view text, size_t most) {
    if (text.size() <= most) {
        return text;
    }
    size_t end = most;
    while (end > 0 && most - end < 4 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return text.substr(0, end);
}

std::string Hidden(const Value& value) {
    return "(private, " + std::to_string(value.bytes.size()) + " bytes)";
}

std::string TextOf(const Value& value, const Style& style) {
    if (value.field->isPrivate && !style.reveal && !value.bytes.empty()) {
        return Hidden(value);
    }
    const std::string_view shown = Beginning(value.bytes, style.mostText);
    return std::string(shown) +
           (shown.size() < value.bytes.size() ? "... (" + std::to_string(value.bytes.size()) + " bytes)" : "");
}

std::string BytesOf(const Value& value, const Style& style) {
    if (value.field->isPrivate && !style.reveal && !value.bytes.empty()) {
        return Hidden(value);
    }
    std::string text = "hex:";
    const size_t shown = std::min(value.bytes.size(), style.mostBytes);
    for (size_t i = 0; i < shown; ++i) {
        text += DIGITS[static_cast<uint8_t>(value.bytes[i]) >> 4];
        text += DIGITS[static_cast<uint8_t>(value.bytes[i]) & 15];
    }
    return text + (shown < value.bytes.size() ? "... (" + std::to_string(value.bytes.size()) + " bytes)" : "");
}

std::string_view WordOf(const Value& value) {
    for (const Word& word : value.field->words) {
        if (word.number == value.number) {
            return word.word;
        }
    }
    return {};
}

std::string LeftOut(const Value& list, const Style& style) {
    const size_t size = list.items.size();
    return size <= style.mostElements ? "" : std::to_string(size - style.mostElements) + " more";
}

// --- JSON ---

void AddJson(const std::vector<Value>& values, const Style& style, std::string& out);

void AddJsonOne(const Value& value, const Style& style, std::string& out) {
    switch (value.field->type) {
        case Type::Record:
            out += '{';
            AddJson(value.items, style, out);
            out += '}';
            return;
        case Type::Text:
            out += JsonString(TextOf(value, style));
            return;
        case Type::Flag:
            if (value.number == 0 || value.number == 1) {
                out += value.number == 1 ? "true" : "false";
                return;
            }
            out += std::to_string(value.number);
            return;
        case Type::Number: {
            const std::string_view word = WordOf(value);
            out += word.empty() ? std::to_string(value.number) : JsonString(word);
            return;
        }
        default:
            out += JsonString(BytesOf(value, style));
    }
}

void AddJson(const std::vector<Value>& values, const Style& style, std::string& out) {
    bool isFirst = true;
    for (const Value& value : values) {
        out += isFirst ? "" : ",";
        isFirst = false;
        out += JsonString(value.field->name) + ":";
        if (!value.field->isList) {
            AddJsonOne(value, style, out);
            continue;
        }
        out += '[';
        for (size_t i = 0; i < value.items.size() && i < style.mostElements; ++i) {
            out += i == 0 ? "" : ",";
            AddJsonOne(value.items[i], style, out);
        }
        const std::string more = LeftOut(value, style);
        out += (more.empty() ? "" : "," + JsonString(more)) + "]";
    }
}

// --- Lines ---

std::string Shown(const Value& value, const Style& style) {
    switch (value.field->type) {
        case Type::Text:
            return Printable(TextOf(value, style));
        case Type::Number:
        case Type::Flag: {
            const std::string_view word = WordOf(value);
            return word.empty() ? std::to_string(value.number) : std::string(word);
        }
        default:
            return BytesOf(value, style);
    }
}

void AddLine(const std::vector<Value>& values, const Style& style, std::string& out);

void AddLineOne(const Value& value, const Style& style, std::string& out) {
    if (value.field->type == Type::Record) {
        out += '{';
        AddLine(value.items, style, out);
        out += '}';
    } else {
        const bool isText = value.field->type == Type::Text;
        out += (isText ? "\"" : "") + Shown(value, style) + (isText ? "\"" : "");
    }
}

void AddLine(const std::vector<Value>& values, const Style& style, std::string& out) {
    bool isFirst = true;
    for (const Value& value : values) {
        if (value.field->holdsLength) {
            continue;  // of interest to the decoder only
        }
        out += (isFirst ? "" : " ") + std::string(value.field->name) + "=";
        isFirst = false;
        if (!value.field->isList) {
            AddLineOne(value, style, out);
            continue;
        }
        out += '[';
        for (size_t i = 0; i < value.items.size() && i < style.mostElements; ++i) {
            out += i == 0 ? "" : " ";
            AddLineOne(value.items[i], style, out);
        }
        const std::string more = LeftOut(value, style);
        out += (more.empty() ? "" : " " + more) + "]";
    }
}

// --- Tables ---

size_t WidthOf(std::string_view text) {
    // One column a character: good enough for names in most scripts.
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }));
}

std::string Padded(const std::string& text, size_t width) {
    const size_t own = WidthOf(text);
    return own < width ? text + std::string(width - own, ' ') : text;
}

void AddRows(const std::vector<std::vector<std::string>>& rows, const std::string& indent, std::string& out) {
    std::vector<size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], WidthOf(row[i]));
        }
    }
    for (const auto& row : rows) {
        std::string line = indent;
        for (size_t i = 0; i < row.size(); ++i) {
            line += i + 1 < row.size() ? Padded(row[i], widths[i]) + "  " : row[i];
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out += line + "\n";
    }
}

// A list of records: a column a field, a row an element.
void AddList(const Value& list, const Style& style, const std::string& indent, std::string& out) {
    std::vector<std::vector<std::string>> rows(1);
    for (const Field& field : list.field->record->fields) {
        if (field.type != Type::Reserved) {
            rows[0].emplace_back(field.name);
        }
    }
    Style narrow = style;
    narrow.mostText = std::min<size_t>(style.mostText, 60);
    narrow.mostBytes = std::min<size_t>(style.mostBytes, 8);
    for (size_t i = 0; i < list.items.size() && i < style.mostElements; ++i) {
        std::vector<std::string> row;
        for (const Field& field : list.field->record->fields) {
            const auto& values = list.items[i].items;
            const auto found = std::find_if(values.begin(), values.end(),
                                            [&field](const Value& value) { return value.field == &field; });
            if (field.type != Type::Reserved) {
                row.push_back(found != values.end() ? Shown(*found, narrow) : "");
            }
        }
        rows.push_back(std::move(row));
    }
    if (rows.size() > 1) {
        AddRows(rows, indent, out);
    }
    const std::string more = LeftOut(list, style);
    out += more.empty() ? "" : indent + more + "\n";
}

// "3  ######..............": how much of the whole a count is; more than all of it fills the bar.
std::string Bar(const Value& count, const std::vector<Value>& values) {
    constexpr int64_t WIDTH = 20;
    const Value* const whole = count.field->whole.empty() ? nullptr : FindValue(values, count.field->whole);
    if (whole == nullptr || whole->number <= 0) {
        return "";
    }
    const int64_t full = std::clamp<int64_t>(count.number, 0, whole->number) * WIDTH / whole->number;
    return "  " + std::string(static_cast<size_t>(full), '#') + std::string(static_cast<size_t>(WIDTH - full), '.');
}

void AddTable(const std::vector<Value>& values, const Style& style, const std::string& indent, std::string& out) {
    std::vector<std::vector<std::string>> rows;
    for (const Value& value : values) {
        const bool isRecord = value.field->type == Type::Record;
        if (value.field->holdsLength || (isRecord && value.field->isList)) {
            continue;
        }
        if (isRecord) {
            std::string line;
            AddLine(value.items, style, line);
            rows.push_back({std::string(value.field->name), line});
        } else if (value.field->isList) {
            for (size_t i = 0; i < value.items.size() && i < style.mostElements; ++i) {
                rows.push_back(
                    {std::string(value.field->name) + "[" + std::to_string(i) + "]", Shown(value.items[i], style)});
            }
        } else {
            rows.push_back({std::string(value.field->name),
                            Shown(value, style) +
                                (value.field->unit.empty() ? "" : " " + std::string(value.field->unit)) +
                                Bar(value, values)});
        }
    }
    AddRows(rows, indent, out);
    for (const Value& value : values) {
        if (value.field->type == Type::Record && value.field->isList) {
            AddList(value, style, indent, out);
        }
    }
}

}  // namespace

std::string ToJson(const Decoded& decoded, const Style& style) {
    std::string out = "{";
    AddJson(decoded.values, style, out);
    if (!decoded.faults.empty()) {
        out += decoded.values.empty() ? "\"faults\":[" : ",\"faults\":[";
        for (size_t i = 0; i < decoded.faults.size(); ++i) {
            out += (i == 0 ? "" : ",") + JsonString(decoded.faults[i]);
        }
        out += ']';
    }
    return out + "}";
}

std::string ToLine(const Decoded& decoded, const Style& style, size_t width) {
    std::string out;
    AddLine(decoded.values, style, out);
    for (const std::string& fault : decoded.faults) {
        out += (out.empty() ? "(" : " (") + fault + ")";
    }
    const std::string_view shown = Beginning(out, width);
    return shown.size() < out.size() ? std::string(shown) + "..." : out;
}

std::string ToTable(const Decoded& decoded, const Style& style) {
    std::string out;
    AddTable(decoded.values, style, "  ", out);
    for (const std::string& fault : decoded.faults) {
        out += "  (" + fault + ")\n";
    }
    return out;
}

std::string JsonString(std::string_view text) {
    std::string out = "\"";
    while (!text.empty()) {
        const size_t size = CharacterSize(text);
        const char c = text.front();
        if (size == 0) {
            out += "\\ufffd";
        } else if (c == '"' || c == '\\') {
            out += {'\\', c};
        } else if (size == 1 && (static_cast<uint8_t>(c) < 0x20 || c == 0x7F)) {
            out += std::string("\\u00") + DIGITS[c >> 4] + DIGITS[c & 15];
        } else {
            out += text.substr(0, size);
        }
        text.remove_prefix(std::max<size_t>(size, 1));
    }
    return out + "\"";
}

std::string Printable(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const size_t size = std::max<size_t>(CharacterSize(text), 1);
        const std::string_view character = text.substr(0, size);
        if (CharacterSize(text) == 0 || IsControl(character)) {
            for (const char byte : character) {
                out += {'\\', 'x', DIGITS[static_cast<uint8_t>(byte) >> 4], DIGITS[static_cast<uint8_t>(byte) & 15]};
            }
        } else {
            out += character;
        }
        text.remove_prefix(size);
    }
    return out;
}

}  // namespace orvi_protocol
