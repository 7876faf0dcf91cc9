// orvi-bus monitor: the traffic as it happens. orvi-bus top: what it comes to.
#include <cstdio>
#include <memory>
#include <unistd.h>
#include <utility>
#include <vector>

#include "commands.h"
#include "end_signal.h"
#include "show.h"
#include "statistics.h"
#include "tap.h"
#include "wire/deadline.h"

namespace orvi_bus_tool {
namespace {

struct Options {
    Filter filter;
    Display display;
    double forMs = 0;
    uint64_t count = 0;
};

void AddLimits(CLI::App& app, Options& options) {
    app.add_option_function<std::string>(
           "--for", [&options](const std::string& text) { options.forMs = *ParseMilliseconds(text); },
           "end after this time")
        ->type_name("TIME")
        ->check([](const std::string& text) {
            return ParseMilliseconds(text) ? std::string() : "'" + text + "' is no time, as 500ms or 2s";
        });
    app.add_option("--count", options.count, "end after so many messages")->type_name("N")->check(CLI::PositiveNumber);
}

// Lets `exchanges` see the traffic until a signal, the end of the time, or `isEnough`. `tick` is called ten times a
// second and more often.
template <class IsEnough, class Tick>
int Watch(const Options& options, const EndSignal& end, Exchanges& exchanges, IsEnough isEnough, Tick tick,
          uint64_t& lost) {
    Tap tap(end);
    std::string why;
    if (!tap.Open(true, why)) {
        return Fail(why);
    }
    std::fprintf(stderr, "orvi-bus: listening at %s\n", tap.Path().c_str());
    const int64_t lastNs =
        options.forMs != 0 ? orvi_bus::MonotonicNs() + static_cast<int64_t>(options.forMs * 1e6) : INT64_MAX;
    std::vector<TrafficRecord> records;
    for (bool goesOn = true; goesOn && !isEnough() && orvi_bus::MonotonicNs() < lastNs;) {
        goesOn = tap.Wait(Tap::Milliseconds(100), records);
        for (TrafficRecord& record : records) {
            exchanges.Add(std::move(record));
        }
        records.clear();
        exchanges.Advance(orvi_bus::MonotonicNs());
        goesOn = tick() && goesOn;
    }
    tap.Drain(records);
    for (TrafficRecord& record : records) {
        exchanges.Add(std::move(record));
    }
    exchanges.Finish();
    lost = tap.Lost();
    (void)tick();
    return DONE;
}

int Monitor(const Options& options) {
    const EndSignal end;
    int64_t start = -1;
    uint64_t shown = 0;
    std::string lines;
    const auto isEnough = [&] { return options.count != 0 && shown >= options.count; };
    Exchanges exchanges([&](const Exchange& exchange) {
        if (options.filter.Wants(exchange) && !isEnough()) {
            start = start < 0 ? exchange.message.timeNs : start;
            lines += LineOf(exchange, options.display, start) + "\n";
            ++shown;
        }
    });
    uint64_t lost = 0;
    const auto print = [&] { return end.Print(std::exchange(lines, "")); };
    const int result = Watch(options, end, exchanges, isEnough, print, lost);
    if (lost != 0) {
        std::fprintf(stderr, "orvi-bus: %llu records were lost: they came faster than they were printed\n",
                     static_cast<unsigned long long>(lost));
    }
    return result;
}

// On a terminal the table stands at the top and is renewed; else it is printed once, at the end.
int Top(const Options& options) {
    const EndSignal end;
    const bool isLive = isatty(STDOUT_FILENO) == 1;
    const std::string top = isLive ? "\x1b[H\x1b[2J" : "";
    Statistics statistics;
    uint64_t seen = 0;
    Exchanges exchanges([&](const Exchange& exchange) {
        if (options.filter.Wants(exchange)) {
            statistics.Add(exchange);
            seen += exchange.isLate ? 0 : 1;
        }
    });
    int64_t shownNs = 0;
    const auto show = [&] {
        if (!isLive || orvi_bus::MonotonicNs() - shownNs < 1000000000) {
            return true;
        }
        shownNs = orvi_bus::MonotonicNs();
        return end.Print(top + statistics.Table());
    };
    uint64_t lost = 0;
    const int result = Watch(
        options, end, exchanges, [&] { return options.count != 0 && seen >= options.count; }, show, lost);
    if (result == DONE) {
        std::printf("%s%s", top.c_str(), statistics.Table().c_str());
        if (lost != 0) {
            std::printf("%llu records were lost\n", static_cast<unsigned long long>(lost));
        }
    }
    return std::fflush(stdout) == 0 ? result : FAILED;
}

}  // namespace

void AddMonitor(CLI::App& app, int& result) {
    const auto options = std::make_shared<Options>();
    CLI::App* const command = app.add_subcommand("monitor", "print each message on the bus with its answer");
    options->filter.AddOptions(*command);
    options->display.AddOptions(*command);
    AddLimits(*command, *options);
    command->callback([options, &result] { result = Monitor(*options); });
}

void AddTop(CLI::App& app, int& result) {
    const auto options = std::make_shared<Options>();
    CLI::App* const command =
        app.add_subcommand("top", "count, median, 99th percentile and worst wait of each message");
    options->filter.AddOptions(*command);
    AddLimits(*command, *options);
    command->callback([options, &result] { result = Top(*options); });
}

}  // namespace orvi_bus_tool
