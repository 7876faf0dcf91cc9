// The same captions as live_captions shows, in C++ and inside a loop of the application's own: every handler runs on
// the main thread, and a restarted service goes on with what was set up.
//
// usage: cpp_captions [LINES]        ends after so many lines, 4 by default
#include <cstdio>
#include <cstdlib>
#include <poll.h>

#include "orvi_ai_srv.hpp"
#include "orvi_vision_sim_payloads.hpp"

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const unsigned wanted = argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 4;
    unsigned shown = 0;

    orvi::EventQueue::Options options;
    options.payloadLength = orvi::sim::PayloadLength;
    orvi::EventQueue queue(options);
    orvi::Connection connection;

    const orvi::Result opened = connection.open(
        "cpp-captions", queue,
        [](const orvi::Event& event) {
            if (event.id == ORVI_AI_EVENT_SERVICE_EXIT) {
                std::puts("cpp_captions: the service is gone");
            }
            for (const orvi::Restored& piece : event.restored) {
                std::printf("cpp_captions: %s again: %s\n", piece.what, piece.result.what());
            }
        },
        orvi::AtStart::SET_UP_AGAIN);
    if (!opened) {
        std::printf("cpp_captions: not connected: %s\n", opened.what());
        return 1;
    }

    const orvi::Captions captions = connection.captions();
    tagOrviAiConfInfo conference{};
    orvi::Result result = orvi::setText(conference.text1, "weekly meeting");
    if (result) {
        result = orvi::setText(conference.text2, "room 7");
    }
    if (result) {
        result = captions.init([&shown](const orvi::CaptionEvent& event) {
            const auto line = orvi::sim::CaptionLine(event);
            if (line && line->isFinal != 0) {
                std::printf("cpp_captions: %.63s: %.427s\n", line->speaker, line->text);
                ++shown;
            }
        });
    }
    if (result) {
        result = captions.start(conference);
    }
    if (!result) {
        std::printf("cpp_captions: no captions: %s\n", result.what());
        return 1;
    }

    while (shown < wanted) {
        pollfd entry{queue.fd(), POLLIN, 0};  // beside whatever else the application waits for
        if (poll(&entry, 1, -1) > 0) {
            queue.dispatch();
        }
    }

    const orvi::Result stopped = captions.stop();
    const orvi::Result ended = captions.end();
    const orvi::Result closed = connection.close();
    std::printf("cpp_captions: %s\n", stopped && ended && closed ? "done" : "not left in good order, the log has why");
    return stopped && ended && closed ? 0 : 1;
}
