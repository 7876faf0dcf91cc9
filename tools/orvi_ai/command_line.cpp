#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>

#include "orvi_ai_srv.h"
#include "typed_words.h"

namespace orvi_ai {
namespace {

using orvi_protocol::Field;
using orvi_protocol::Setting;
using orvi_protocol::Type;

constexpr int EXIT_USAGE = 2;

// What the options write into while they are parsed.
struct Target {
    Call& call;
    std::vector<Setting> settings;
    std::string command;
};

std::string KindOf(const Field& field) {
    std::string kind;
    for (const orvi_protocol::Word& word : field.words) {
        kind += (kind.empty() ? "" : "|") + std::string(word.word);
    }
    if (!kind.empty()) {
        return kind;
    }
    if (field.type != Type::Number) {
        return "TEXT";
    }
    const bool isWide = field.most - field.least >= INT32_MAX;
    return isWide ? "NUMBER" : std::to_string(field.least) + ".." + std::to_string(field.most);
}

std::string HelpOf(const Field& field) {
    std::string text(field.meaning);
    text += field.unit.empty() ? "" : ", " + std::string(field.unit);
    if (field.isRequired && field.initial.empty()) {
        return text + " (needed)";
    }
    std::string_view initial = field.initial;
    for (const orvi_protocol::Word& word : field.words) {
        initial = initial.empty() && word.number == 0 ? word.word : initial;
    }
    return text + (initial.empty() ? "" : " [" + std::string(initial) + "]");
}

// Shows how many words an argument takes as its users write it: FILE, NAME..., [EVENT...].
class Formatter : public CLI::Formatter {
    std::string make_option_usage(const CLI::Option* option) const override {
        const std::string name = option->get_name(true) + (option->get_expected_max() > 1 ? "..." : "");
        return option->get_required() ? name : "[" + name + "]";
    }
};

std::vector<std::string> NamesOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* const command : app.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    return names;
}

// What is wrong with the words: the first that `app`, which is `command`, does not know, else the library's words.
std::string WhatIsWrong(const CLI::App& root, const CLI::App& app, const std::string& command,
                        const std::vector<std::string>& words, const CLI::ParseError& error) {
    const std::vector<std::string> unknown = root.remaining(true);
    const auto word = std::find_first_of(words.begin(), words.end(), unknown.begin(), unknown.end());
    const std::vector<std::string> commands = NamesOf(app);
    if (word == words.end()) {
        if (commands.empty() || error.get_name() != "RequiredError") {
            return error.what();
        }
        std::string names;
        for (const std::string& name : commands) {
            names += (names.empty() ? "" : ", ") + name;
        }
        return "what about " + command + "? There are " + names;
    }
    const std::string shown = orvi_protocol::Printable(*word);
    if (word->front() != '-') {
        return commands.empty() ? "'" + shown + "' is a word too many"
                                : "there is no command '" + command + (command.empty() ? "" : " ") + shown + "'" +
                                      Suggestion(*word, commands);
    }
    std::vector<std::string> options;
    for (const CLI::App* const one : {&app, &root}) {
        for (const CLI::Option* const option : one->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                options.push_back("--" + name);
            }
        }
    }
    return "there is no option " + shown + Suggestion(word->substr(0, word->find('=')), options);
}

// "--title TEXT", a flag, or the words behind the command.
void AddField(CLI::App& app, const Command& command, const Field& field, Target& target) {
    const std::string name(field.name);
    if (field.name == command.words) {
        const bool isSentence = !field.isList && field.type == Type::Text && field.name == "text";
        const auto take = [name, isSentence, &target](const std::vector<std::string>& words) {
            std::string sentence;
            for (const std::string& word : words) {
                sentence += (sentence.empty() ? "" : " ") + word;
                if (!isSentence) {
                    target.settings.push_back({name, word});
                }
            }
            if (isSentence) {
                target.settings.push_back({name, sentence});
            }
        };
        app.add_option_function<std::vector<std::string>>(name, take, HelpOf(field))
            ->option_text(KindOf(field))
            ->expected(1, field.isList || isSentence ? 1 << 10 : 1)
            ->required();
        return;
    }
    if (field.type == Type::Flag) {
        app.add_flag_callback(
            OptionName(field),
            [name, &target] {
                target.settings.push_back({name, "1"});
            },
            HelpOf(field));
        return;
    }
    if (field.isList) {
        return;  // only as words, or as items
    }
    app.add_option_function<std::string>(
           OptionName(field),
           [name, &target](const std::string& value) {
               target.settings.push_back({name, value});
           },
           HelpOf(field))
        ->type_name(KindOf(field));
}

std::string CheckTime(std::string& text) {
    return ParseTime(text) ? "" : "'" + text + "' is no time: 500ms, 2s, 1m30s";
}

void AddTime(CLI::App& app, const char* name, std::optional<std::chrono::milliseconds>& time, const char* help) {
    app.add_option_function<std::string>(
           name, [&time](const std::string& text) { time = ParseTime(text); }, help)
        ->type_name("TIME")
        ->check(CLI::Validator(CheckTime, ""));
}

// Without the names that the library's own checks add to the help.
CLI::Validator Within(uint32_t least, uint32_t most) {
    return CLI::Validator(
        [least, most](std::string& text) {
            uint32_t number = 0;
            const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
            const bool isRight =
                error == std::errc() && end == text.data() + text.size() && number >= least && number <= most;
            return isRight
                       ? ""
                       : "'" + text + "' is no number from " + std::to_string(least) + " to " + std::to_string(most);
        },
        "");
}

void AddTraits(CLI::App& app, const Command& command, Call& call) {
    if ((command.traits & TAKES_OUT) != 0) {
        const bool isFile = std::string_view(command.words) == "user";
        app.add_option("--out", call.out, isFile ? "save the photo to this file" : "save the photos in this folder")
            ->option_text(isFile ? "FILE" : "DIR")
            ->check(isFile ? CLI::Validator() : CLI::Validator(CLI::ExistingDirectory));
    }
    if ((command.traits & TAKES_DETECTOR) != 0) {
        app.add_option("--detector", call.detector, "in a script: the detector created --as NAME [the last one]")
            ->type_name("NAME");
    }
    if ((command.traits & TAKES_NAME) != 0) {
        app.add_option("--as", call.as, "in a script: its name for --detector")->type_name("NAME");
    }
    if ((command.traits & TAKES_ITEMS) != 0) {
        app.add_option("--item", call.items, "an item to choose from; they are numbered from 1")
            ->type_name("TEXT")
            ->allow_extra_args(false);
    }
    if ((command.traits & TAKES_KEEP_GOING) != 0) {
        app.add_flag("--keep-going", call.keepGoing, "go on behind a command that fails");
    }
    if ((command.traits & TAKES_RATE) != 0) {
        app.add_option("--rate", call.rate, "faces seen, per second [1]")->type_name("1..30")->check(Within(1, 30));
    }
    if ((command.traits & TAKES_WITHIN) != 0) {
        AddTime(app, "--within", call.within, "give up after this time [wait for as long as it takes]");
    }
    if ((command.traits & TAKES_FOR) != 0) {
        AddTime(app, "--for", call.duration, "end after this time [at Ctrl-C]");
    }
    if ((command.traits & MAKES_EVENTS) != 0) {
        app.add_option("--count", call.count, "end after so many events")->type_name("N")->check(Within(1, UINT32_MAX));
    }
}

// Words that are no field: how many there may be follows from how they are written.
void AddWords(CLI::App& app, const Command& command, Call& call) {
    const std::string words = command.words;
    if (words.empty() || (words[0] != '[' && (words[0] < 'A' || words[0] > 'Z'))) {
        return;
    }
    const bool mayLack = words[0] == '[' || words == "EVENT...";
    const bool isMany = words.find("...") != std::string::npos;
    const std::string name =
        words.substr(words[0] == '[' ? 1 : 0, words.find_first_of(" .]") - (words[0] == '[' ? 1 : 0));
    app.add_option(name, call.words, words.find('=') != std::string::npos ? "and FIELD=VALUE of it" : "")
        ->option_text(" ")
        ->expected(mayLack ? 0 : 1, isMany ? 1 << 10 : 1)
        ->required(!mayLack);
}

// Of commands whose first word is not among the words only that one is told: nobody asks for more, and a script has many
// lines.
void AddCommand(CLI::App& app, const Command& command, const std::vector<std::string>& words,
                std::map<std::string, CLI::App*>& groups, Target& target) {
    const std::string name = command.name;
    const size_t blank = name.find(' ');
    const bool isMeant = std::find(words.begin(), words.end(), name.substr(0, blank)) != words.end();
    CLI::App* parent = &app;
    if (blank != std::string::npos) {
        CLI::App*& group = groups[name.substr(0, blank)];
        if (group == nullptr) {
            group = app.add_subcommand(name.substr(0, blank), "");
            group->require_subcommand(1)->fallthrough();
        }
        parent = group;
        group->description(group->get_description() + (group->get_description().empty() ? "" : ", ") +
                           name.substr(blank + 1));
        if (!isMeant) {
            return;
        }
    }
    const orvi_protocol::Message* const message = MessageOf(command);
    const std::string help = *command.help != '\0' ? command.help : std::string(message->meaning);
    CLI::App* const leaf = parent->add_subcommand(name.substr(blank == std::string::npos ? 0 : blank + 1), help);
    if (!isMeant) {
        return;
    }
    leaf->fallthrough();
    leaf->footer((*command.functions != '\0' ? "Calls " + std::string(command.functions) + ". " : "") +
                 "Options of every command: orvi-ai --help");
    for (const Field* field : OptionFields(command)) {
        AddField(*leaf, command, *field, target);
    }
    AddTraits(*leaf, command, target.call);
    AddWords(*leaf, command, target.call);
    leaf->callback([&command, &target] { target.call.command = &command; });
}

void AddGlobals(CLI::App& app, Globals& globals) {
    app.set_version_flag("--version", "orvi-ai " ORVI_VERSION, "print the version of this program");
    app.add_flag("--json", globals.isJson, "one JSON object a line, see docs/commands.md");
    app.add_flag("-q,--quiet", globals.isQuiet, "say nothing about calls that succeed");
    app.add_flag("--mask,--report", globals.isMasked, "photos, names, captions and texts of the model only by length");
    app.add_option("--app", globals.app, "id of the application that this is")
        ->option_text("ID [" + globals.app + "]")
        ->check(CLI::Validator(
            [](std::string& id) {
                return id.size() < sizeof(tagOrviAppInfo::appId) ? "" : std::string("the id is too long");
            },
            ""));
    app.add_option("--completion", globals.completion, "print the completion for this shell, see docs/commands.md")
        ->option_text("bash")
        ->check(CLI::IsMember({"bash"}));
}

// Options that a command takes and that would do nothing where it stands.
const char* WithoutEffect(const Call& call, bool isScript) {
    if (!isScript) {
        return !call.as.empty() || !call.detector.empty() ? "--as and --detector are for scripts: a detector lives as "
                                                            "long as its process"
                                                          : "";
    }
    if (call.duration || call.count) {
        return "--for and --count are not for scripts: their events are printed, `wait` waits for one";
    }
    return call.rate ? "--rate belongs to `face create` in a script" : "";
}

Parsed Refused(const std::string& reason, const std::string& command) {
    return {false, EXIT_USAGE, reason + "\nSee orvi-ai " + command + (command.empty() ? "" : " ") + "--help"};
}

}  // namespace

Parsed ParseWords(const std::vector<std::string>& words, Globals* globals, Call& call) {
    Target target{call, {}, ""};
    CLI::App app("Calls every function of the device's vision service library from a terminal.");
    app.name("orvi-ai");
    app.formatter(std::make_shared<Formatter>());
    app.set_help_flag("-h,--help", "this text; orvi-ai COMMAND --help for a command's");
    app.require_subcommand(0, 1);
    if (globals != nullptr) {
        AddGlobals(app, *globals);
    }
    std::map<std::string, CLI::App*> groups;
    for (const Command& command : Commands()) {
        AddCommand(app, command, words, groups, target);
    }
    app.footer(
        "Exit code: 0, 1 = the call failed, 2 = usage, 3 = nobody is there.\n"
        "What makes events goes on until Ctrl-C, --for TIME or --count N.");
    try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError& error) {
        std::ostringstream out;
        std::ostringstream errors;
        if (error.get_exit_code() == 0) {
            (void)app.exit(error, out, errors);
            return {false, 0, out.str()};
        }
        std::string command;
        const CLI::App* at = &app;
        while (!at->get_subcommands().empty()) {
            at = at->get_subcommands().front();
            command += (command.empty() ? "" : " ") + at->get_name();
        }
        return Refused(WhatIsWrong(app, *at, command, words, error), command);
    }
    if (globals != nullptr && !globals->completion.empty()) {
        return {false, 0, BashCompletion()};
    }
    if (call.command == nullptr) {
        return Refused("a command is missing", "");
    }
    if (const char* const useless = WithoutEffect(call, globals == nullptr); *useless != '\0') {
        return Refused(useless, call.command->name);
    }
    for (size_t i = 0; i < call.items.size(); ++i) {
        const std::string item = "items[" + std::to_string(i) + "].";
        target.settings.push_back({item + "id", std::to_string(i + 1)});
        target.settings.push_back({item + "text", call.items[i]});
    }
    const orvi_protocol::Message* const message = MessageOf(*call.command);
    std::string error;
    if (message != nullptr && (call.command->traits & WITHOUT_FIELDS) == 0 &&
        !Encode(message->payload, target.settings, call.payload, error)) {
        return Refused(error, call.command->name);
    }
    return {true, 0, ""};
}

}  // namespace orvi_ai
