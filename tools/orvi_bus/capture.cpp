// orvi-bus capture: keeps the traffic in a file. orvi-bus print: shows such a file.
#include "capture_file.h"
#include "commands.h"
#include "value.h"

namespace orvi_bus_tool {
int Capture(const CaptureOptions& options) {
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

int Print(const PrintOptions& options) {
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

}  // namespace orvi_bus_tool
