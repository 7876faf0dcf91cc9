#include "directions/wanted.h"

#include <algorithm>
#include <cctype>

#include "directions/words.h"
#include "value.h"

namespace orvi_sim {
namespace {

using orvi_protocol::Message;

// "names[2]" as the table has it: "names[]"
std::string WithoutIndexes(const std::string& path) {
    std::string plain;
    for (const char c : path) {
        const bool isIndex = std::isdigit(static_cast<unsigned char>(c)) != 0 && !plain.empty() &&
                             plain.find_last_of("[]") != std::string::npos && plain[plain.find_last_of("[]")] == '[';
        plain += isIndex ? "" : std::string(1, c);
    }
    return plain;
}

}  // namespace

std::optional<std::string> ReadWanted(const Message& message, const std::vector<std::string>& words,
                                      std::vector<Wanted>& wanted) {
    const std::vector<std::string> paths = orvi_protocol::PathsOf(message.payload);
    for (const std::string& word : words) {
        const size_t equals = word.find('=');
        if (equals == std::string::npos) {
            return Quote(word) + " is no FIELD=VALUE";
        }
        Wanted one{word.substr(0, equals), word.substr(equals + 1)};
        if (std::find(paths.begin(), paths.end(), WithoutIndexes(one.path)) == paths.end()) {
            std::string known;
            for (const std::string& path : paths) {
                known += (known.empty() ? "" : ", ") + path;
            }
            return std::string(message.name) + " has no field " + Quote(one.path) + "; it has " +
                   (known.empty() ? "none" : known);
        }
        // What the field can never hold would be waited for in vain. An element of a list does not stand alone.
        std::string bytes;
        std::string error;
        if (one.path.find('[') == std::string::npos &&
            !orvi_protocol::Encode(message.payload, {{one.path, one.value}}, bytes, error,
                                   orvi_protocol::Check::Width)) {
            return error;
        }
        wanted.push_back(std::move(one));
    }
    return std::nullopt;
}

}  // namespace orvi_sim
