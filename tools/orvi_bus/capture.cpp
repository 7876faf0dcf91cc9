// orvi-bus capture: keeps the traffic in a file. orvi-bus print: shows such a file.
#include <memory>

#include "capture_file.h"
#include "show.h"
#include "value.h"
#include "watch.h"

namespace orvi_bus_tool {
namespace {

struct Options {
    std::string file;
    Filter filter;
    Display display;
    Limits limits;
    bool payloads = false;
    bool reveal = false;
};

int Capture(const Options& options) {
    const EndSignal end;
    CaptureWriter writer;
    std::string why;
    if (!writer.Open(options.file, why)) {
        return Fail(why);
    }
    uint64_t kept = 0;
    bool hasFailed = false;
    uint32_t lostBefore = 0;  // that records told which are not kept
    const auto take = [&](TrafficRecord record) {
        record.lost += lostBefore;
        lostBefore = record.lost;
        if (!options.filter.WantsRecord(record) || hasFailed ||
            (options.limits.count != 0 && kept >= options.limits.count)) {
            return !hasFailed;
        }
        lostBefore = 0;
        const bool isMasked = options.payloads && !options.reveal;
        if (!options.payloads) {
            record.payload.reset();
        } else if (isMasked && record.payload) {
            orvi_protocol::MaskPrivate(LayoutOf(record), record.payload->data(), record.payload->size());
        }
        hasFailed = !writer.Write(record, isMasked, why);
        ++kept;
        return !hasFailed && (options.limits.count == 0 || kept < options.limits.count);
    };
    uint64_t lost = 0;
    const int result = Watch(
        options.limits, options.payloads, end, take, [] { return true; }, lost);
    if (hasFailed) {
        return Fail(why + "; what was kept before is whole");
    }
    if (result == DONE) {
        std::fprintf(stderr, "orvi-bus: %llu records in %s, %llu lost\n", static_cast<unsigned long long>(kept),
                     options.file.c_str(), static_cast<unsigned long long>(lost));
    }
    return result;
}

int Print(const Options& options) {
    const EndSignal end;
    CaptureReader reader;
    std::string why;
    if (!reader.Open(options.file, why)) {
        return Fail(why);
    }
    int64_t start = -1;
    bool goesOn = true;
    Exchanges exchanges([&](const Exchange& exchange) {
        if (goesOn && options.filter.Wants(exchange)) {
            start = start < 0 ? exchange.message.timeNs : start;
            goesOn = end.Print(LineOf(exchange, options.display, start) + "\n");
        }
    });
    TrafficRecord record;
    while (goesOn && reader.Read(record, why)) {
        exchanges.Advance(record.timeNs);
        exchanges.Add(std::move(record));
    }
    exchanges.Finish();
    return why.empty() ? DONE : Fail(why);
}

}  // namespace

void AddCapture(CLI::App& app, int& result) {
    const auto options = std::make_shared<Options>();
    CLI::App* const command = app.add_subcommand("capture", "keep the traffic in a file that network analysers read");
    command->add_option("file", options->file, "pcapng; an old one is replaced")->required()->type_name("FILE");
    options->filter.AddNames(*command);
    options->limits.AddOptions(*command);
    CLI::Option* const payloads = command->add_flag("--payloads", options->payloads, "keep what messages hold, too");
    command->add_flag("--reveal", options->reveal, "with photos, names and texts as they are; otherwise overwritten")
        ->needs(payloads);
    command->callback([options, &result] { result = Capture(*options); });
}

void AddPrint(CLI::App& app, int& result) {
    const auto options = std::make_shared<Options>();
    CLI::App* const command = app.add_subcommand("print", "print a file of traffic as monitor would have");
    command->add_option("file", options->file, "of orvi-bus capture")->required()->type_name("FILE");
    options->filter.AddOptions(*command);
    options->display.AddOptions(*command);
    command->callback([options, &result] { result = Print(*options); });
}

}  // namespace orvi_bus_tool
