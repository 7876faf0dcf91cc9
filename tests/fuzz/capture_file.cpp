// Any file as captured traffic: read, joined, shown, and made a session to play.
#include "capture_file.h"

#include "exchange.h"
#include "recorded_session.h"
#include "script.h"
#include "show.h"
#include "statistics.h"
#include "target.h"

using namespace orvi_bus_tool;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const orvi_fuzz::File file(data, size);
    std::string why;
    CaptureReader reader;
    if (reader.Open(file.Path(), why)) {
        Statistics statistics;
        Display display;
        Exchanges exchanges([&](const Exchange& exchange) {
            orvi_fuzz::Require(LineOf(exchange, display, 0).find('\n') == std::string::npos, "a line is one line");
            display.json = !display.json;
            display.reveal = display.json != display.reveal;
            statistics.Add(exchange);
        });
        for (TrafficRecord record; reader.Read(record, why);) {
            exchanges.Advance(record.timeNs);
            exchanges.Add(std::move(record));
        }
        exchanges.Finish();
        (void)statistics.Table();
    }
    Session session;
    why.clear();
    if (ReadSession(file.Path(), "", session, why)) {
        Script script(std::move(session), {"state"}, {});
        for (size_t i = 0; i < script.Size(); ++i) {
            (void)script.ContentsOf(i);
            (void)script.Take(script.At(i).isToService, script.At(i).isRequest, script.At(i).id, script.At(i).contents);
        }
        orvi_fuzz::Require(script.IsOver() && script.Told().Count() == 0, "what was recorded is as it was recorded");
    } else {
        orvi_fuzz::Require(!why.empty(), "a file that cannot be played has a reason");
    }
    return 0;
}
