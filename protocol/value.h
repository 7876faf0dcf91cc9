// Bytes to names and values, and names and values to bytes.
#ifndef ORVI_PROTOCOL_VALUE_H
#define ORVI_PROTOCOL_VALUE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "message.h"

namespace orvi_protocol {

// One field as it was received. The elements of a list, and the fields of a record, are its items; an element of a list
// has the field of its list.
struct Value {
    const Field* field = nullptr;
    uint32_t offset = 0;  // in the payload
    int64_t number = 0;   // of a Number or a Flag
    std::string bytes;    // of the other kinds; a text without its NUL
    std::vector<Value> items;
    bool isElement = false;
};

struct Decoded {
    std::vector<Value> values;
    std::vector<std::string> faults;  // in what the bytes are not as the table says; empty when they are
};

// Total: any bytes give a result, however short, long or untrue their counts. What is there is decoded, what is not is
// told as a fault. At most `mostValues` values come out.
constexpr size_t MOST_VALUES = 10000;
Decoded Decode(const Record* record, const void* data, size_t length, size_t mostValues = MOST_VALUES);

// The reply to a message; one that the simulated service gives to refuse is known by its length.
const Record* ReplyRecord(const Message& message, size_t length);
Decoded DecodeReply(const Message& message, const void* data, size_t length);

// The value at a path ("speaker", "faces[1].score"), null when it is not there.
const Value* FindValue(const std::vector<Value>& values, std::string_view path);

// Overwrites the private contents of a payload with '*', in place; its lengths and counts stay. Bytes that the table
// does not explain become 0.
void MaskPrivate(const Record* record, void* data, size_t length);

// What a person or a script says about a field: "faces[1].score" and "93". A list of numbers or texts may be given
// element by element under its own name.
struct Setting {
    std::string path;
    std::string value;
};

enum class Check : uint8_t {
    Bounds,  // values within the bounds of their fields, texts that end, counts and lengths that are true
    Width    // whatever the bytes can hold: for those who want to send what is wrong
};

// The bytes for these settings; fields without one have their initial value, lengths and counts what is true.
// False, with the reason in `error` and `bytes` empty, when a setting names no field, is no value of it, or is missing.
//   number   7, -7, 0x2a, or one of its words
//   flag     1, 0, true, false, yes, no, on, off
//   text     as it is
//   bytes    hex:00ff, zeros:100, text:hello
bool Encode(const Record* record, const std::vector<Setting>& settings, std::string& bytes, std::string& error,
            Check check = Check::Bounds);

// The settings that give these values again.
std::vector<Setting> ToSettings(const std::vector<Value>& values);

// The fields at the top of a record that somebody may want to set: no lengths and counts, which are filled in, no
// addresses of clients, nothing reserved.
std::vector<const Field*> SettableFields(const Record& record);

// Every path that a setting may name, [] standing for an index: "client.process", "faces[].score".
std::vector<std::string> PathsOf(const Record* record);

// --- For programs and people ---

struct Style {
    bool reveal = false;         // private contents as they are instead of "(private, 12 bytes)"
    size_t mostText = 4096;      // bytes of one text
    size_t mostBytes = 32;       // of one field of opaque bytes
    size_t mostElements = 1000;  // of one list
};

// {"speaker":"Zoe","final":true,...}: numbers that have a word as that word; "faults" last when there are some. Valid
// JSON whatever was received: bytes that are no UTF-8 become U+FFFD.
std::string ToJson(const Decoded& decoded, const Style& style);

// speaker="Zoe" final=1 faces=2[{face=7 ...} {...}]: one line without control characters, cut at `width` bytes.
std::string ToLine(const Decoded& decoded, const Style& style, size_t width = 1000);

// A line a field, aligned, lists of records as tables. Ends with a newline unless it is empty.
std::string ToTable(const Decoded& decoded, const Style& style);

// A text as a JSON string with its quotes.
std::string JsonString(std::string_view text);

// Printable on a terminal: control characters and what is no UTF-8 as \xNN.
std::string Printable(std::string_view text);

}  // namespace orvi_protocol

#endif
