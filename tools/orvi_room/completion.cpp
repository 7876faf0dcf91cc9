#include "completion.h"

#include <algorithm>
#include <map>

#include "directions/vocabulary.h"

namespace orvi_room {
namespace {

using orvi_sim::Parameter;
using orvi_sim::Row;
using orvi_sim::Type;

void Add(std::string& words, const std::string& word) {
    if ((" " + words + " ").find(" " + word + " ") == std::string::npos) {
        words += (words.empty() ? "" : " ") + word;
    }
}

// What may follow a direction's name, whichever place it has.
std::string Following(const Row& row, const std::string& messages) {
    std::string words;
    for (const Parameter& parameter : row.parameters) {
        if (parameter.type == Type::Choice) {
            std::string choices = parameter.name;
            std::replace(choices.begin(), choices.end(), '|', ' ');
            Add(words, choices);
        } else if (parameter.type == Type::Message) {
            Add(words, messages);
        }
    }
    for (const Parameter& option : row.options) {
        const std::string name = option.name;
        Add(words, name.substr(0, name.find(' ')));
    }
    return words;
}

}  // namespace

std::string BashCompletion() {
    std::string messages;
    for (const orvi_protocol::Message* message : orvi_protocol::AllMessages()) {
        Add(messages, std::string(message->name));
    }
    std::map<std::string, std::string> words = {{"", "status run serve"}};
    for (const Row& row : orvi_sim::Vocabulary()) {
        const std::string name = row.name;
        const size_t blank = name.find(' ');
        const std::string first = name.substr(0, blank);
        Add(words[""], first);
        if (blank != std::string::npos) {
            Add(words[first], name.substr(blank + 1));
        }
        const std::string following = Following(row, messages);
        if (!following.empty()) {
            Add(words[name], following);
        }
    }
    std::string script =
        "# bash completion of orvi-room: source <(orvi-room --completion bash)\n"
        "_orvi_room() {\n"
        "    local current=${COMP_WORDS[COMP_CWORD]} one=${COMP_WORDS[1]} words=\n"
        "    ((COMP_CWORD > 1)) || one=\n"
        "    local key=$one\n"
        "    case \"$one ${COMP_WORDS[2]}\" in\n";
    for (const auto& [name, following] : words) {
        if (name.find(' ') != std::string::npos) {
            script.append("        \"").append(name).append("\") ((COMP_CWORD == 2)) || key=\"").append(name);
            script.append("\" ;;\n");
        }
    }
    script += "    esac\n    case $key in\n";
    for (const auto& [name, following] : words) {
        script.append("        \"").append(name).append("\") words=\"").append(following).append("\" ;;\n");
    }
    return script +
           "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words --help\" -- \"$current\")\n"
           "    case ${COMP_WORDS[COMP_CWORD-1]} in run|--photo) mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen "
           "-f -- \"$current\") ;; "
           "esac\n"
           "}\n"
           "complete -F _orvi_room orvi-room\n";
}

}  // namespace orvi_room
