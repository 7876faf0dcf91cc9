// Another application, led by its standard input: each command is answered by a line "= RESULT", each event told by a
// line "event ID" with its first two integers, each picture by "picture". With the argument "first" or "die" it leads
// itself: a short life that needs its first events, or ends with its announcement.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <mutex>
#include <set>
#include <signal.h>
#include <sstream>
#include <string>
#include <utility>

#include "orvi_ai_srv.h"
#include "orvi_vision_sim_payloads.h"

namespace {

// Never destroyed: a callback may still run while the process exits.
std::mutex& g_mutex = *new std::mutex;  // guards the two below
std::condition_variable& g_changed = *new std::condition_variable;
auto& g_statuses = *new std::set<std::pair<int, int>>;  // type and status of those that have come

void OnEvent(OrviAiEventId event, void* payload) {
    int integers[2] = {};
    if (payload != nullptr) {
        std::memcpy(integers, payload, event == ORVI_AI_EVENT_STATUS || event >= 7 ? sizeof(integers) : 4);
    }
    std::printf("event %d %d %d\n", static_cast<int>(event), integers[0], integers[1]);
    if (event == ORVI_AI_EVENT_STATUS) {
        const std::lock_guard<std::mutex> lock(g_mutex);
        g_statuses.emplace(integers[0], integers[1]);
        g_changed.notify_all();
    }
}

void OnCaption(OrviAiCaptionEventId, void*) {}

void OnFaces(tagOrviAiSrvFaceDetEvent*) {
    std::puts("picture");
}

tagOrviAppInfo App(const std::string& name) {
    tagOrviAppInfo info{};
    name.copy(info.appId, sizeof(info.appId) - 1);
    return info;
}

int StartDetector() {
    void* handle = nullptr;
    const int result = OrviAiSrvCreateFaceDetector(&handle, 0, 30, 1, OnFaces);
    return result != 0 ? result : OrviAiSrvStartFaceDetector(handle);
}

int StartCaptions(const std::string& name) {
    tagOrviAiConfInfo conference{};
    name.copy(conference.text1, sizeof(conference.text1) - 1);
    std::strcpy(conference.text2, "room");
    const int result = OrviAiSrvCaptionInit(OnCaption);
    return result != 0 ? result : OrviAiSrvCaptionStart(&conference, 1);
}

int StartCheckin(const std::string& name) {
    tagOrviAiConfIdInfo conference{};
    name.copy(conference.confId, sizeof(conference.confId) - 1);
    const bool isStarted = OrviAiSrvCheckInInit() == 0 && OrviAiSrvCheckInStart(conference) == 0;
    return isStarted ? OrviAiSrvCheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, conference) : -1;
}

int StartMinutes(const std::string& name) {
    OrviSimMinutesConference conference{};
    name.copy(conference.confId, sizeof(conference.confId) - 1);
    tagOrviAiMinutesConfInfo info{};
    std::memcpy(&info, &conference, sizeof(info));
    return OrviAiSrvSignatureStart(info);
}

// A long answer, which is under way for some time.
int Ask(const std::string& requestId) {
    OrviSimModelRequest request{};
    request.requestId = static_cast<uint32_t>(std::stoul(requestId));
    request.type = ORVI_SIM_MODEL_REPEAT;
    for (size_t i = 0; i + 2 < sizeof(request.text); i += 2) {
        std::memcpy(request.text + i, "w ", 2);
    }
    OrviAiModelParams params;
    std::memcpy(&params, &request, sizeof(params));
    return OrviAiSrvLargeModelRequest(params);
}

int RegisterIntent(const std::string& name) {
    OrviAiAssistantIntentName intent{};
    name.copy(intent.name, sizeof(intent.name) - 1);
    return OrviAiAssistantInitIntent(&intent, 1);
}

int RegisterHotWord(const std::string& word) {
    std::string words = word;
    const int result = OrviAiAssistantInitKeyWord(App(word));
    return result != 0 ? result : OrviAiAssistantUpdateKeyWord(App(word), ORVI_AI_HOTWORD_UPDATE, words);
}

int SetPage(const std::string& number) {
    OrviAiAssistantPageInfo info{};
    info.content[0] = static_cast<uint8_t>(std::stoi(number));
    return OrviAiAssistantSetPageInfo(info);
}

int Perform(const std::string& command, const std::string& argument) {
    if (command == "init")
        return OrviAiSrvApiInit(App("application"), OnEvent);
    if (command == "deinit")
        return OrviAiSrvApiDeinit();
    if (command == "detector")
        return StartDetector();
    if (command == "captions")
        return StartCaptions(argument);
    if (command == "nameplates")
        return OrviAiSrvNamePlateInit() != 0 ? -1 : OrviAiSrvNamePlateStart();
    if (command == "checkin")
        return StartCheckin(argument);
    if (command == "minutes")
        return StartMinutes(argument);
    if (command == "model")
        return OrviAiSrvLargeModelInit(OrviAiLLMInitParams{});
    if (command == "ask")
        return Ask(argument);
    if (command == "intent")
        return RegisterIntent(argument);
    if (command == "hotword")
        return RegisterHotWord(argument);
    if (command == "page")
        return SetPage(argument);
    if (command == "announce")
        return OrviAiAssistantWakeUp(static_cast<OrviAiAssistantRunningMode>(1));
    return -2;
}

bool AwaitStatus(OrviAiStatusType type) {
    std::unique_lock<std::mutex> lock(g_mutex);
    return g_changed.wait_for(lock, std::chrono::seconds(25), [&] { return g_statuses.count({type, 1}) != 0; });
}

// The announcement and the first requests go to different tasks.
int LiveShortly() {
    const bool isHeard = Perform("init", "") == 0 && Perform("captions", "first") == 0 && Perform("model", "") == 0 &&
                         AwaitStatus(ORVI_AI_STATUS_CAPTION) && AwaitStatus(ORVI_AI_STATUS_LARGE_MODEL);
    return isHeard && Perform("deinit", "") == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::string life = argc > 1 ? argv[1] : "";
    if (life == "first") {
        return LiveShortly();
    }
    if (life == "die") {
        return Perform("init", "") == 0 ? raise(SIGKILL) : 1;
    }
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream stream(line);
        std::string command;
        std::string argument;
        stream >> command >> argument;
        std::printf("= %d\n", Perform(command, argument));
    }
    return 0;
}
