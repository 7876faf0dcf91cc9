// Faces inside the event loop of systemd's library: the queue's descriptor is one source among others, here beside a
// timer and SIGTERM.
//
// usage: sd_event_faces [PICTURES]        ends after so many results, 3 by default
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <signal.h>
#include <systemd/sd-event.h>

#include "orvi_ai_srv.hpp"
#include "orvi_vision_sim_payloads.hpp"

namespace {

struct LoopDeleter {
    void operator()(sd_event* loop) const { sd_event_unref(loop); }
};
struct SourceDeleter {
    void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
};

int OnReadable(sd_event_source*, int, uint32_t, void* queue) {
    static_cast<orvi::EventQueue*>(queue)->dispatch();
    return 0;
}

int OnTimeOut(sd_event_source* source, uint64_t, void*) {
    std::puts("sd_event_faces: nobody was seen in time");
    return sd_event_exit(sd_event_source_get_event(source), 1);
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    unsigned left = argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 3;

    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigprocmask(SIG_BLOCK, &ends, nullptr);  // before the library has threads
    sd_event* made = nullptr;
    if (sd_event_default(&made) < 0) {
        return 1;
    }
    const std::unique_ptr<sd_event, LoopDeleter> loop(made);

    orvi::EventQueue queue;
    orvi::Connection connection;
    const orvi::Result opened = connection.open("sd-event-faces", queue, [&loop](const orvi::Event& event) {
        if (event.id == ORVI_AI_EVENT_SERVICE_EXIT) {
            std::puts("sd_event_faces: the service is gone");
            (void)sd_event_exit(loop.get(), 1);
        }
    });
    if (!opened) {
        std::printf("sd_event_faces: not connected: %s\n", opened.what());
        return 1;
    }
    orvi::DetectorOptions options;
    options.frameRate = 10;
    auto detector = connection.detector(options, [&](const orvi::FaceEvent& event) {
        const OrviSimFaceEvent faces = orvi::sim::Faces(event);
        std::printf("sd_event_faces: %d\n", static_cast<int>(faces.faceCount));
        if (left > 0 && --left == 0) {
            (void)sd_event_exit(loop.get(), 0);
        }
    });
    if (!detector || !detector->start()) {
        std::printf("sd_event_faces: no detector: %s\n", detector.result.what());
        return 1;
    }
    sd_event_source* waits = nullptr;
    if (sd_event_add_io(loop.get(), &waits, queue.fd(), EPOLLIN, OnReadable, &queue) < 0) {
        return 1;
    }
    const std::unique_ptr<sd_event_source, SourceDeleter> readable(waits);  // goes before the queue does
    if (sd_event_add_signal(loop.get(), nullptr, SIGTERM, nullptr, nullptr) < 0 ||
        sd_event_add_time_relative(loop.get(), nullptr, CLOCK_MONOTONIC, 20 * 1000000ULL, 0, OnTimeOut, nullptr) < 0) {
        return 1;
    }
    return sd_event_loop(loop.get());
}
