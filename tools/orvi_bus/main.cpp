// orvi-bus: sees the workstation's message bus: its traffic, who is on it, and what is wrong with it.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <memory>

#include "commands.h"
#include "duration.h"
#include "standard_streams.h"

namespace orvi_bus_tool {

int Fail(const std::string& what) {
    std::fprintf(stderr, "orvi-bus: %s\n", what.c_str());
    return FAILED;
}

int BadFile(const std::string& what) {
    (void)Fail(what);
    return USAGE;
}

int Written(int result, int error) {
    return error == 0 || error == EPIPE ? result : Fail("standard output: " + std::string(std::strerror(error)));
}

int Flushed(int result) {
    if (std::fflush(stdout) != 0) {
        return Written(result, errno);
    }
    return std::ferror(stdout) == 0 ? result : Fail("standard output has not taken everything");  // nor kept the reason
}

namespace {

std::string IsTime(const std::string& text) {
    return orvi_protocol::ParseDuration(text) ? "" : "'" + text + "' is no time, as 500us, 50ms or 1m30s";
}

std::string IsSomeTime(const std::string& text) {
    return IsTime(text).empty() && orvi_protocol::ParseDuration(text)->count() == 0 ? "'" + text + "' is no time at all"
                                                                                    : IsTime(text);
}

void AddTime(CLI::App& app, const char* name, double& milliseconds, const char* help,
             std::string (*check)(const std::string&) = IsSomeTime) {
    app.add_option_function<std::string>(
           name,
           [&milliseconds](const std::string& text) { milliseconds = orvi_protocol::ParseDuration(text)->count(); },
           help)
        ->type_name("TIME")
        ->check(check);
}

void Add(CLI::App& app, Limits& limits) {
    AddTime(app, "--for", limits.forMs, "end after this time");
    app.add_option("--count", limits.count, "end after so many messages")->type_name("N")->check(CLI::PositiveNumber);
}

// What is known of a record alone.
void AddNames(CLI::App& app, Filter& filter) {
    app.add_option("message", filter.messages, "only these: caption.start, caption.*, an id")
        ->type_name("MESSAGE")
        ->check(WhatIsWrongWith);
    app.add_option("--process", filter.process, "only what this process sends or receives")->type_name("NAME");
}

void Add(CLI::App& app, Filter& filter) {
    AddNames(app, filter);
    app.add_option("--task", filter.task, "only messages to this task")->type_name("NAME");
    AddTime(app, "--slow", filter.slowMs, "only requests that took as long, as 50ms, or have no answer");
}

void AddJson(CLI::App& app, bool& json, const char* help = "one JSON object a line") {
    app.add_flag("--json", json, help);
}

void Add(CLI::App& app, Display& display) {
    AddJson(app, display.json);
    app.add_flag("--reveal", display.reveal, "photos, names and texts as they are; otherwise their lengths");
}

void AddFile(CLI::App& app, std::string& file, const char* help, const char* kind = "FILE") {
    app.add_option("file", file, help)->required()->type_name(kind);
}

void Add(CLI::App& app, MonitorOptions& options) {
    Add(app, options.filter);
    Add(app, options.display);
    Add(app, options.limits);
}

void Add(CLI::App& app, TopOptions& options) {
    Add(app, options.filter);
    Add(app, options.limits);
}

void Add(CLI::App& app, CaptureOptions& options) {
    AddFile(app, options.file, "pcapng; an old one is replaced");
    AddNames(app, options.filter);
    Add(app, options.limits);
    CLI::Option* const payloads = app.add_flag("--payloads", options.payloads, "keep what messages hold, too");
    app.add_flag("--reveal", options.reveal, "with photos, names and texts as they are; otherwise overwritten")
        ->needs(payloads);
    app.add_option("--run", options.command, "run this command of a shell, and end with it")->type_name("COMMAND");
}

void Add(CLI::App& app, PrintOptions& options) {
    AddFile(app, options.file, "of orvi-bus capture");
    Add(app, options.filter);
    Add(app, options.display);
}

void Add(CLI::App& app, TimelineOptions& options) {
    AddFile(app, options.file, "receives the picture, in the Trace Event format", "FILE.json");
    app.add_option("--from", options.from, "a file of orvi-bus capture; without it what happens now")
        ->type_name("FILE");
    Add(app, options.limits);
}

void Add(CLI::App& app, ViewOptions& options) {
    AddFile(app, options.file, "of orvi-bus capture, best with --payloads");
    app.add_option("page", options.page, "receives the page")->required()->type_name("PAGE.html");
    app.add_flag("--reveal", options.reveal, "photos, names and texts as they are; otherwise their lengths");
}

std::string IsSpeed(const std::string& text) {
    char* end = nullptr;
    const double speed = std::strtod(text.c_str(), &end);
    const bool isNumber = *end == '\0' && text[0] >= '0' && text[0] <= '9' && speed >= 0.01 && speed <= 10000;
    return text == "max" || isNumber ? "" : "'" + text + "' is neither a number from 0.01 to 10000 nor max";
}

void Add(CLI::App& app, ReplayOptions& options) {
    AddFile(app, options.file, "of orvi-bus capture --payloads --reveal");
    app.add_option("--as", options.side, "what is played: service or application; the other one lives")
        ->required()
        ->check(CLI::IsMember({"service", "application"}))
        ->option_text("SIDE REQUIRED");
    app.add_option("--app", options.application, "whose session, where the file has several")->type_name("NAME");
    app.add_option_function<std::string>(
           "--speed",
           [&options](const std::string& text) {
               options.speed = text == "max" ? 0 : std::strtod(text.c_str(), nullptr);
           },
           "how many times as fast; max: without the recorded pauses [1]")
        ->type_name("N|max")
        ->check(IsSpeed);
    AddTime(app, "--patience", options.patienceMs, "how long to wait for what was recorded, beyond its time [10s]",
            IsTime);
    app.add_option("--allow", options.allowed, "a field that may differ, as speaker or faces[].score; may be repeated")
        ->type_name("FIELD")
        ->allow_extra_args(false);
    CLI::Option* const atEnd =
        app.add_flag("--exit-at-end", options.exitAtEnd, "as service: end without waiting until the application ends");
    AddTime(app, "--for", options.limits.forMs, "as service: end after this time");
    app.parse_complete_callback([&options, atEnd] {
        if (options.side == "application" && (!atEnd->empty() || options.limits.forMs != 0)) {
            throw CLI::ValidationError(
                "--exit-at-end and --for are the service's: an application ends when all is said");
        }
    });
    Add(app, options.display);
}

void Add(CLI::App& app, ListOptions& options) {
    AddJson(app, options.json);
    app.add_flag("--all", options.all, "those that have ended, too, whose names are still there");
}

void Add(CLI::App& app, DoctorOptions& options) {
    AddJson(app, options.json, "one JSON object a line: level, finding, todo");
}

// A command with its options, which live as long as the command line; `chosen` receives what does its work.
template <class Options>
void AddCommand(CLI::App& app, const char* name, const char* help, int (*command)(const Options&),
                std::function<int()>& chosen) {
    const auto options = std::make_shared<Options>();
    CLI::App* const own = app.add_subcommand(name, help);
    Add(*own, *options);
    own->callback([command, options, &chosen] { chosen = [command, options] { return command(*options); }; });
}

}  // namespace
}  // namespace orvi_bus_tool

int main(int argc, char** argv) {
    using namespace orvi_bus_tool;
    orvi_tools::FillStandardStreams();
    std::function<int()> chosen;
    CLI::App app("Shows the workstation's message bus: its traffic, who is on it, and what is wrong with it.");
    app.name("orvi-bus");
    app.set_version_flag("--version", "orvi-bus " ORVI_VERSION, "print the version");
    app.require_subcommand(1);
    app.footer(
        "The bus is the one that ORVI_BUS_DIR names, or the user's own. Ctrl-C ends what goes on.\n"
        "Exit code: 0, 1 = it failed or found something, 2 = usage or a bad file, 3 = replay found nobody.");
    AddCommand(app, "monitor", "print each message on the bus with its answer", Monitor, chosen);
    AddCommand(app, "top", "count, median, 99th percentile and worst wait of each message", Top, chosen);
    AddCommand(app, "capture", "keep the traffic in a file that network analysers read", Capture, chosen);
    AddCommand(app, "print", "print a file of traffic as monitor would have", Print, chosen);
    app.add_subcommand("dissector", "print a script for Wireshark and tshark that reads files of orvi-bus capture")
        ->callback([&chosen] { chosen = PrintDissector; });
    AddCommand(app, "timeline", "draw the traffic, live or from a file, for a browser's trace viewer or Perfetto",
               Timeline, chosen);
    AddCommand(app, "view", "make a page of a captured session that a browser shows, to look at or to hand on", View,
               chosen);
    AddCommand(app, "replay", "play the service or the application of a captured session to the other, and compare",
               Replay, chosen);
    AddCommand(app, "list", "the processes on the bus, their tasks and connections", List, chosen);
    AddCommand(app, "doctor", "what is wrong with the bus, and what to do about it", Examine, chosen);
    try {
        app.parse(argc, argv);
        return chosen();
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        std::fprintf(stderr, "orvi-bus: %s\n", error.what());
        return USAGE;
    } catch (const std::exception& error) {
        return Fail(error.what());
    }
}
