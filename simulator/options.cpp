#include "options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "directions/vocabulary.h"
#include "directions/words.h"
#include "features/checkin/attendance.h"
#include "service/clock.h"

namespace orvi_sim {
namespace {

constexpr int EXIT_USAGE = 2;

std::string IsPace(const std::string& text) {
    return text == "max" || ParsePace(text) ? ""
                                            : "it is a number from 1 to " + std::to_string(Clock::FASTEST) + ", or max";
}

std::string IsGiven(const std::string& text) {
    return text.empty() ? "the file's name is empty" : "";
}

}  // namespace

int ReadOptions(int argc, char** argv, Options& options) {
    bool hasFailed = false;
    CLI::App app("Plays the device's vision service on this workstation's message bus.");
    app.name("orvi-vision-sim");
    app.set_version_flag("--version", "orvi-vision-sim " ORVI_VERSION, "print the version");
    app.add_flag("-v,--verbose", options.verbose, "log every message");
    app.add_flag("-c,--control", options.control, "take commands on standard input, see below");
    app.add_option("-e,--exit-after", options.exitAfterMs, "end after this time")
        ->type_name("MS")
        ->check(CLI::Range(1U, UINT32_MAX), "");
    app.add_option("-q,--queue-size", options.queueSize, "messages that may wait for one client")
        ->type_name("N")
        ->check(CLI::Range(1U, 65536U))
        ->capture_default_str();
    app.add_option("--participants", options.participants, "how many people check in")
        ->type_name("N")
        ->check(CLI::Range(size_t{0}, Attendance::MOST_PARTICIPANTS))
        ->capture_default_str();
    const CLI::Option* const arrival =
        app.add_option("--arrival", options.arrivalMs, "time between two of them; 0: only on command, as in a scenario")
            ->type_name("MS")
            ->capture_default_str();
    app.add_option("-p,--push", options.pushes,
                   "send a message to each client, MS milliseconds after it announced itself; may be repeated")
        ->type_name("MESSAGE[:WORD,...][@MS]")
        ->allow_extra_args(false);
    CLI::Option* const scenario =
        app.add_option("-s,--scenario", options.scenarioFile, "play this file: directions at their times, see below")
            ->type_name("FILE")
            ->check(IsGiven, "");
    app.add_flag("--check", options.check, "only tell what is wrong with the scenario, and end")->needs(scenario);
    app.add_flag("--exit-at-end", options.exitAtEnd, "end when the scenario has been played")->needs(scenario);
    app.add_option("--speed", options.speed,
                   "how the room's time goes: so many times as fast as the machine's, or max,\n"
                   "from event to event without a pause")
        ->type_name("N|max")
        ->check(IsPace, "")
        ->capture_default_str();
    app.add_option("--seed", options.seed, "what faults with --chance draw from")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--log", options.playLog,
                   "write what happened, a line each, by the room's time; - for standard output")
        ->type_name("FILE")
        ->check(IsGiven, "");
    CLI::Option* const view =
        app.add_option("--view", options.viewPort,
                       "show the room to browsers of this machine, at this port or one that is free;\n"
                       "the address is logged, and orvi-room view tells it")
            ->type_name("[PORT]")
            ->expected(0, 1);
    app.footer(
        std::string("It prints \"ready\" once every task can be reached, and ends at SIGTERM, SIGINT or Ctrl-C.\n"
                    "ORVI_BUS_DIR names the bus directory.\n\n"
                    "A scenario has a JSON object a line; `do` is a direction, further names are its words:\n"
                    "  {\"at\": \"2s\", \"do\": \"person enters\", \"name\": \"Ada Lovelace\"}\n"
                    "  {\"on\": \"caption.start\", \"after\": \"500ms\", \"do\": \"caption\", \"text\": \"Hello\"}\n\n"
                    "Commands on standard input (--control); each is answered by one line, ok or error:\n") +
        ExplainAll() + "help NAME explains one of them.\n\n" +
        "Example:\n  orvi-vision-sim --verbose --push checkin.count:7@500 --push face.event");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);  // --help, --version
        }
        std::fprintf(stderr, "orvi-vision-sim: %s\n", error.what());
        return EXIT_USAGE;
    }
    if (!view->empty() && !options.viewPort) {
        options.viewPort = 0;
    }
    if (!options.scenarioFile.empty() && arrival->empty()) {
        options.arrivalMs = 0;  // the scenario tells who comes
    }
    for (const std::string& reason : options.scenarioFile.empty()
                                         ? std::vector<std::string>()
                                         : ReadScenario(options.scenarioFile, options.scenario)) {
        std::fprintf(stderr, "orvi-vision-sim: %s\n", reason.c_str());
        hasFailed = true;
    }
    if (hasFailed) {
        return EXIT_USAGE;
    }
    if (options.check) {
        std::printf("%s: %zu lines, %s\n", options.scenarioFile.c_str(), options.scenario.lines.size(),
                    TimeText(options.scenario.length).c_str());
        return 0;
    }
    std::error_code none;  // of a log that is not there yet
    if (!options.scenarioFile.empty() && std::filesystem::equivalent(options.scenarioFile, options.playLog, none)) {
        std::fprintf(stderr, "orvi-vision-sim: --log %s: the scenario would be overwritten\n", options.playLog.c_str());
        return EXIT_USAGE;
    }
    for (const std::string& text : options.pushes) {
        std::string reason;
        const std::optional<ScheduledPush> push = ParseScheduledPush(text, reason);
        if (!push) {
            std::fprintf(stderr, "orvi-vision-sim: --push %s: %s\n", text.c_str(), reason.c_str());
            return EXIT_USAGE;
        }
        options.scheduled.push_back(*push);
    }
    return -1;
}

}  // namespace orvi_sim
