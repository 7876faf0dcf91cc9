// The bash completion, from the rows of the commands.
#include <map>

#include "command_line.h"

namespace orvi_ai {
namespace {

void Add(std::string& words, const std::string& word) {
    words += (words.empty() ? "" : " ") + word;
}

}  // namespace

std::string TraitOptions(const Command& command) {
    static constexpr struct {
        uint32_t trait;
        const char* options;
    } OPTIONS[] = {
        {TAKES_OUT, "--out"},
        {TAKES_DETECTOR, "--detector"},
        {TAKES_NAME, "--as"},
        {TAKES_ITEMS, "--item"},
        {TAKES_KEEP_GOING, "--keep-going"},
        {TAKES_WITHIN, "--within"},
        {TAKES_RATE, "--rate"},
        {TAKES_FOR, "--for"},
        {MAKES_EVENTS, "--count"},
    };
    std::string options;
    for (const auto& row : OPTIONS) {
        if ((command.traits & row.trait) != 0) {
            Add(options, row.options);
        }
    }
    return options;
}

std::string BashCompletion() {
    const std::string globals = "--help --version --json --quiet --mask --app";
    std::map<std::string, std::string> words;   // of a command, what may follow it
    std::map<std::string, std::string> values;  // of an option, its words
    std::string events;
    std::string groups;  // a second word belongs to their commands
    for (const orvi_protocol::Message* message : orvi_protocol::AllMessages()) {
        if (!ToService(message->direction)) {
            Add(events, std::string(message->name));
        }
    }
    for (const Command& command : Commands()) {
        const std::string name = command.name;
        const size_t blank = name.find(' ');
        if (blank == std::string::npos) {
            Add(words[""], name);
        } else {
            const std::string group = name.substr(0, blank);
            if (words[group].empty()) {
                Add(words[""], group);
                groups += "|" + group;
            }
            Add(words[group], name.substr(blank + 1));
        }
        std::string& options = words[name];
        for (const orvi_protocol::Field* field : OptionFields(command)) {
            if (field->isList || field->name == command.words) {
                continue;
            }
            Add(options, OptionName(*field));
            for (const orvi_protocol::Word& word : field->words) {
                Add(values[name + " " + OptionName(*field)], std::string(word.word));
            }
        }
        if (const std::string more = TraitOptions(command); !more.empty()) {
            Add(options, more);
        }
        if (std::string_view(command.words).substr(0, 5) == "EVENT") {
            Add(options, events);
        }
    }
    std::string script =
        "# bash completion of orvi-ai: source <(orvi-ai --completion bash)\n"
        "_orvi_ai() {\n"
        "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} key= words= word\n"
        "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
        "        case $word in -*) continue ;; esac\n"
        "        case $key in \"\"" +
        groups +
        ")\n"
        "            key=${key:+$key }$word ;; esac\n"
        "    done\n"
        "    case \"$key $previous\" in\n";
    for (const auto& [option, accepted] : values) {
        script.append("        \"").append(option).append("\") words=\"").append(accepted).append("\" ;;\n");
    }
    script +=
        "        *\" --out\") mapfile -t COMPREPLY < <(compgen -f -- \"$current\"); return ;;\n"
        "    esac\n"
        "    [ -n \"$words\" ] || case $key in\n";
    for (const auto& [command, following] : words) {
        script.append("        \"").append(command).append("\") words=\"").append(following);
        script.append(following.empty() ? "" : " ").append(globals).append("\" ;;\n");
    }
    return script +
           "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    case $key in run|\"face extract\") mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "
           "\"$current\") ;; esac\n"
           "}\n"
           "complete -F _orvi_ai orvi-ai\n";
}

}  // namespace orvi_ai
