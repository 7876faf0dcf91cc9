// Prints what the table of messages knows as words for the fuzzer: ids as they stand in a payload or a frame, names, and
// the names of fields.
#include <cstdio>
#include <set>
#include <string>

#include "value.h"

int main() {
    std::set<std::string> words{"{\\\"at\\\":\\\"1s\\\",\\\"do\\\":\\\"", "AI_VISION", "\\\"on\\\":", "\\\"after\\\":"};
    for (const orvi_protocol::Message* const message : orvi_protocol::AllMessages()) {
        words.insert(std::string(message->name));
        std::string id;
        for (int shift = 0; shift < 32; shift += 8) {
            char byte[8];
            (void)std::snprintf(byte, sizeof(byte), "\\x%02x", message->id >> shift & 0xFF);
            id += byte;
        }
        words.insert(id);
        for (const orvi_protocol::Record* const record : {message->payload, message->reply}) {
            for (const std::string& path : orvi_protocol::PathsOf(record)) {
                words.insert(path);
            }
        }
    }
    for (const std::string& word : words) {
        std::printf("\"%s\"\n", word.c_str());
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
