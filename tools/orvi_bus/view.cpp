// orvi-bus view: a captured session as the page that shows the simulated room, in one file.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "capture_file.h"
#include "commands.h"
#include "view/page.h"

namespace orvi_bus_tool {
namespace {

constexpr size_t MOST_MESSAGES = 20000;  // that a browser still shows well

int Refuse(const std::string& why) {
    (void)Fail(why);
    return USAGE;
}

}  // namespace

int View(const ViewOptions& options) {
    CaptureReader reader;
    std::string why;
    if (!reader.Open(options.file, why)) {
        return Refuse(why);
    }
    if (std::error_code none; std::filesystem::equivalent(options.file, options.page, none)) {
        return Refuse(options.page + " is the captured file itself, which the page would overwrite");
    }
    std::string session = std::string("{\"revealed\":") + (options.reveal ? "true" : "false") + ",\"messages\":[";
    size_t count = 0;
    bool hasContents = false;
    int64_t startNs = -1;
    Exchanges exchanges([&](const Exchange& exchange) {
        if (++count <= MOST_MESSAGES) {
            startNs = startNs < 0 ? exchange.message.timeNs : startNs;
            hasContents = hasContents || exchange.message.payload.has_value();
            session += (count > 1 ? ",\n" : "\n") + LineOf(exchange, {true, options.reveal}, startNs);
        }
    });
    for (TrafficRecord record; reader.Read(record, why);) {
        exchanges.Advance(record.timeNs);
        exchanges.Add(std::move(record));
    }
    exchanges.Finish();
    if (!why.empty()) {
        return Refuse(why);
    }
    if (count > MOST_MESSAGES) {
        return Fail(options.file + " has " + std::to_string(count) + " messages, and a page shows at most " +
                    std::to_string(MOST_MESSAGES) + ": keep fewer, with orvi-bus capture --message or --for");
    }
    std::ofstream page(options.page, std::ios::binary);
    page << orvi_sim::RecordedPage(session + "]}");
    page.close();
    if (!page) {
        return Fail(options.page + " cannot be written: " + std::strerror(errno));
    }
    std::printf("%zu messages are in %s%s\n", count, options.page.c_str(),
                !hasContents      ? ", without contents: the file was captured without --payloads"
                : !options.reveal ? ", private contents masked"
                                  : "");
    return DONE;
}

}  // namespace orvi_bus_tool
