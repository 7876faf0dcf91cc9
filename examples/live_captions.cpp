// Live captions on the terminal: a line grows while it is spoken.
//
// usage: live_captions [LINES]        ends after so many lines, 4 by default
//
// Try it with the simulated service (orvi-vision-sim) in a second terminal. What a caption event holds is the service's
// own: a device needs its service's layouts in the place of orvi_vision_sim_payloads.h.
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unistd.h>

#include "orvi_ai_srv.h"
#include "orvi_vision_sim_payloads.h"

namespace {

std::mutex g_mutex;  // guards the two below
std::condition_variable g_changed;
unsigned g_finalLines = 0;
bool g_serviceIsGone = false;

void OnEvent(OrviAiEventId event, void*) {
    if (event == ORVI_AI_EVENT_SERVICE_EXIT) {
        const std::lock_guard<std::mutex> lock(g_mutex);
        g_serviceIsGone = true;
        g_changed.notify_one();
    }
}

// On a terminal a line is written over until it is final.
void ShowLine(const OrviSimCaptionLine& line) {
    static const bool onTerminal = isatty(STDOUT_FILENO) != 0;
    const char* const end = line.isFinal != 0 ? "\n" : onTerminal ? "\r" : " ...\n";
    std::printf("live_captions: %.63s: %.427s%s", line.speaker, line.text, end);
    std::fflush(stdout);
    if (line.isFinal != 0) {
        const std::lock_guard<std::mutex> lock(g_mutex);
        ++g_finalLines;
        g_changed.notify_one();
    }
}

// Runs on the library's message thread. The payload is the library's and gone when we return.
void OnCaption(OrviAiCaptionEventId event, void* payload) {
    if (event == ORVI_AI_CAPTION_EVENT_38) {
        OrviSimCaptionLine line;
        OrviSimReadRecord(&line, sizeof(line), payload);
        ShowLine(line);
    } else if (event == ORVI_AI_CAPTION_EVENT_SWITCH) {
        OrviSimCaptionSwitch captions;
        OrviSimReadRecord(&captions, sizeof(captions), payload);
        std::puts(captions.running != 0 ? "live_captions: on" : "live_captions: off");
    }
}

bool ShowConversation(unsigned lines) {
    tagOrviAiConfInfo conference{};
    std::strcpy(conference.text1, "weekly meeting");
    std::strcpy(conference.text2, "room 7");
    if (OrviAiSrvCaptionInit(OnCaption) != 0 || OrviAiSrvCaptionStart(&conference, 1) != 0) {
        return false;
    }
    bool complete = false;
    {
        std::unique_lock<std::mutex> lock(g_mutex);
        g_changed.wait(lock, [&] { return g_finalLines >= lines || g_serviceIsGone; });
        complete = g_finalLines >= lines;
    }
    const bool stopped = OrviAiSrvCaptionStop() == 0;
    const bool ended = OrviAiSrvCaptionDeInit() == 0;
    return complete && stopped && ended;
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // a line is seen when it is written, also through a pipe

    tagOrviAppInfo identity{};
    std::strcpy(identity.appId, "live-captions");
    if (OrviAiSrvApiInit(identity, OnEvent) != 0) {
        std::puts("live_captions: the vision service does not run");
        return 1;
    }
    const bool shown = ShowConversation(argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 4);
    const bool left = OrviAiSrvApiDeinit() == 0;
    std::puts(shown && left ? "live_captions: done" : "live_captions: failed, the log has the reason");
    return shown && left ? 0 : 1;
}
