// orvi-bus monitor: the traffic as it happens. orvi-bus top: what it comes to.
#include <cstdio>
#include <unistd.h>
#include <utility>
#include <vector>

#include "commands.h"
#include "statistics.h"

namespace orvi_bus_tool {
int Monitor(const MonitorOptions& options) {
    EndSignal end;
    int64_t start = -1;
    uint64_t shown = 0;
    std::string lines;
    const auto isEnough = [&] { return options.limits.count != 0 && shown >= options.limits.count; };
    Exchanges exchanges([&](const Exchange& exchange) {
        if (options.filter.Wants(exchange) && !isEnough()) {
            start = start < 0 ? exchange.message.timeNs : start;
            lines += LineOf(exchange, options.display, start) + "\n";
            ++shown;
        }
    });
    uint64_t lost = 0;
    const auto take = [&](TrafficRecord record) {
        exchanges.Add(std::move(record));
        return !isEnough();
    };
    const auto print = [&] {
        exchanges.Advance(orvi_bus::MonotonicNs());
        return end.Print(std::exchange(lines, "")) && !isEnough();
    };
    const int result = Watch(options.limits, true, end, take, print, lost);
    exchanges.Finish();
    (void)end.Print(lines);
    if (lost != 0) {
        std::fprintf(stderr, "orvi-bus: %llu records were lost: they came faster than they were printed\n",
                     static_cast<unsigned long long>(lost));
    }
    return Written(result, end.PrintError());
}

// On a terminal the table stands at the top and is renewed; else it is printed once, at the end.
int Top(const TopOptions& options) {
    EndSignal end;
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
    const auto isEnough = [&] { return options.limits.count != 0 && seen >= options.limits.count; };
    const auto take = [&](TrafficRecord record) {
        exchanges.Add(std::move(record));
        return !isEnough();
    };
    const auto show = [&] {
        exchanges.Advance(orvi_bus::MonotonicNs());
        if (!isLive || orvi_bus::MonotonicNs() - shownNs < 1000000000) {
            return !isEnough();
        }
        shownNs = orvi_bus::MonotonicNs();
        return end.Print(top + statistics.Table()) && !isEnough();
    };
    uint64_t lost = 0;
    const int result = Watch(options.limits, true, end, take, show, lost);
    exchanges.Finish();
    if (result == DONE) {
        std::printf("%s%s", top.c_str(), statistics.Table().c_str());
        if (lost != 0) {
            std::printf("%llu records were lost\n", static_cast<unsigned long long>(lost));
        }
    }
    return Written(Flushed(result), end.PrintError());
}

}  // namespace orvi_bus_tool
