// The commands of orvi-ai as rows, and one of them as somebody asked for it.
#ifndef ORVI_AI_TOOL_COMMAND_H
#define ORVI_AI_TOOL_COMMAND_H

#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "message.h"
#include "output.h"

namespace orvi_ai {

class Session;
struct Call;

// What a command takes beside the fields of its message, and how it is to be run. A sum of these.
enum CommandTraits : uint32_t {
    TAKES_OUT = 1,          // --out PATH
    TAKES_DETECTOR = 2,     // --detector NAME
    TAKES_NAME = 4,         // --as NAME
    TAKES_ITEMS = 8,        // --item TEXT, any number
    TAKES_KEEP_GOING = 16,  // --keep-going
    TAKES_WITHIN = 32,      // --within TIME
    TAKES_RATE = 64,        // --rate N
    WITHOUT_SERVICE = 128,  // needs no connection
    WITHOUT_FIELDS = 256,   // the message's fields are filled in by the program
    TAKES_FOR = 512,        // --for TIME
    MAKES_EVENTS = 1024,    // goes on until it is ended; with --for and --count N
    GOES_ON = 2048          // the same without events of its own, so without --count
};

struct Command {
    const char* name;     // words with a blank between
    const char* message;  // whose payload's fields are options; empty when there is none
    const char*
        functions;      // the exported functions that it is there for, with blanks between; empty for the tool's own
    const char* words;  // what stands behind the name: a field, or in capitals something else; empty for nothing
    uint32_t traits;
    const char* events;                                  // what a command that makes events goes on to print
    int (*plain)();                                      // the function itself when it takes nothing, else null
    Outcome (*run)(Session& session, const Call& call);  // everything else
    int (*prepare)();  // outside of a script, makes ready what the command needs; or null
    int (*finish)();   // puts away what the command has started when it is ended; or null
    const char* help;  // empty: what the message means
};

struct Call {
    const Command* command = nullptr;
    std::string payload;  // of the message, encoded from the options
    std::vector<std::string> words;
    std::string out;
    std::string detector;
    std::string as;
    std::vector<std::string> items;
    bool keepGoing = false;
    std::optional<uint32_t> rate;
    std::optional<std::chrono::milliseconds> within;
    std::optional<std::chrono::milliseconds> duration;
    std::optional<uint32_t> count;
};

orvi_protocol::Rows<Command> Commands();

inline const orvi_protocol::Message* MessageOf(const Command& command) {
    return orvi_protocol::FindMessage(command.message);
}

// The fields of a command's message that it has options for.
std::vector<const orvi_protocol::Field*> OptionFields(const Command& command);

// isFinal: --is-final
std::string OptionName(const orvi_protocol::Field& field);

// The record that a payload is, or the beginning of it.
template <class Record>
Record As(const std::string& payload) {
    Record record{};
    std::memcpy(&record, payload.data(), payload.size() < sizeof(record) ? payload.size() : sizeof(record));
    return record;
}

}  // namespace orvi_ai

#endif
