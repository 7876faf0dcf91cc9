// A meeting from its beginning to its end: nameplates and director on, minutes taken, the participants check in, the
// list is printed and a photo saved, everything off again and the device locked.
//
// usage: meeting PHOTO_FILE
//
// Needs the simulated service (orvi-vision-sim): the list's layout is its own.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <vector>

#include "orvi_ai_srv.h"
#include "orvi_vision_sim_payloads.h"

namespace {

constexpr uint32_t ENOUGH = 7;  // participants to wait for
constexpr int LOCKED = 1;

// What the message thread has told, for the main thread to wait for.
std::mutex g_mutex;
std::condition_variable g_told;
int g_nameplates = -1;   // guarded by g_mutex
uint32_t g_present = 0;  // guarded by g_mutex
bool g_cleared = false;  // guarded by g_mutex

void OnStatus(const tagOrviAiServiceStatusEvent& status) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (status.type == ORVI_AI_STATUS_NAMEPLATE) {
        g_nameplates = status.status;
    } else if (status.type == ORVI_AI_STATUS_2B) {
        g_present = static_cast<uint32_t>(status.status);
    }
    g_told.notify_all();
}

void OnEvent(OrviAiEventId event, void* payload) {
    if (event == ORVI_AI_EVENT_STATUS) {
        OnStatus(*static_cast<const tagOrviAiServiceStatusEvent*>(payload));
    } else if (event == ORVI_AI_EVENT_NOTICE_2D && payload != nullptr) {
        OrviSimCheckinArrival arrival;
        OrviSimReadRecord(&arrival, sizeof(arrival), payload);
        std::printf("meeting: %s has checked in, %u now\n", arrival.entry.name, arrival.present);
    } else if (event == ORVI_AI_EVENT_CHECKIN_CLEARED) {
        const std::lock_guard<std::mutex> lock(g_mutex);
        g_cleared = true;
        g_told.notify_all();
    }
}

template <class Condition>
bool WaitUntil(Condition condition) {
    std::unique_lock<std::mutex> lock(g_mutex);
    return g_told.wait_for(lock, std::chrono::seconds(30), condition);
}

// Says what was asked for and how it went.
bool Step(const char* what, int result) {
    std::printf("meeting: %s: %s\n", what, result == 0 ? "done" : "FAILED, the log has the reason");
    return result == 0;
}

tagOrviAiConfIdInfo Conference() {
    tagOrviAiConfIdInfo info{};
    std::snprintf(info.confUuid, sizeof(info.confUuid), "7d1f0c52");
    std::snprintf(info.confId, sizeof(info.confId), "weekly");
    std::snprintf(info.userid, sizeof(info.userid), "host");
    std::snprintf(info.account, sizeof(info.account), "host@conference.example");
    return info;
}

tagOrviAiMinutesConfInfo MinutesConference() {
    OrviSimMinutesConference conference{};
    std::snprintf(conference.confId, sizeof(conference.confId), "weekly");
    std::snprintf(conference.subject, sizeof(conference.subject), "Weekly meeting");
    tagOrviAiMinutesConfInfo info{};
    std::memcpy(&info, &conference, sizeof(info));
    return info;
}

// The service's pages are copied out of the bytes, whose address need not be aligned.
bool GetPage(OrviSimCheckinView view, uint32_t pageNum, OrviSimCheckinPage& page) {
    const auto data = std::make_unique<tagCheckinTotalData>();
    if (OrviAiSrvGetCheckinData(data.get(), static_cast<OrviAiCheckInShowType>(view), pageNum) != 0) {
        return false;
    }
    static_assert(sizeof(page) == sizeof(*data));
    std::memcpy(&page, data.get(), sizeof(page));
    return true;
}

void PrintEntry(const OrviSimCheckinEntry& entry) {
    const char* const states[] = {"absent", "present", "guest"};
    char time[16] = "-";
    if (entry.checkinTime != 0) {
        const std::time_t seconds = entry.checkinTime;
        std::tm local{};
        localtime_r(&seconds, &local);
        std::strftime(time, sizeof(time), "%H:%M:%S", &local);
    }
    std::printf("meeting: | %-10s | %-16s | %-7s | %-8s | %5u |\n", entry.userId, entry.name,
                entry.state < 3 ? states[entry.state] : "?", time, entry.photoLength);
}

// The whole list, page after page. The user id of the first who has come is stored in `user`.
bool PrintList(char (&user)[256]) {
    const auto page = std::make_unique<OrviSimCheckinPage>();
    std::puts("meeting: | user       | name             | state   | since    | photo |");
    uint32_t pageNum = 1;
    do {
        if (!GetPage(ORVI_SIM_CHECKIN_EVERYBODY, pageNum, *page)) {
            return false;
        }
        for (uint32_t i = 0; i < page->entryCount; ++i) {
            PrintEntry(page->entries[i]);
            if (page->entries[i].arrival == 1) {
                std::memcpy(user, page->entries[i].userId, sizeof(user));
            }
        }
    } while (pageNum++ < page->pageCount);
    std::printf("meeting: %u of %u invited and %u guests are here\n", page->present - page->guests, page->invited,
                page->guests);
    return true;
}

bool SavePhoto(const char* user, const char* file) {
    constexpr size_t LARGEST = 65536;
    std::vector<uint8_t> photo(LARGEST);
    auto length = static_cast<uint32_t>(photo.size());
    if (OrviAiSrvGetCheckinPhoto(user, static_cast<uint32_t>(std::strlen(user)), photo.data(), &length) != 0 ||
        length == 0) {
        return false;
    }
    std::FILE* const out = std::fopen(file, "wb");
    if (out == nullptr) {
        std::perror(file);
        return false;
    }
    const bool written = std::fwrite(photo.data(), 1, length, out) == length;
    return std::fclose(out) == 0 && written;
}

bool Begin() {
    return Step("prepare the nameplates", OrviAiSrvNamePlateInit()) &&
           Step("switch the nameplates on", OrviAiSrvNamePlateStart()) &&
           Step("hear that they are on", WaitUntil([] { return g_nameplates == 1; }) ? 0 : -1) &&
           Step("start the director", OrviAiSrvDirectorStart()) &&
           Step("take the minutes", OrviAiSrvSignatureStart(MinutesConference()));
}

bool CheckIn(const char* photoFile) {
    char user[256] = "";
    return Step("prepare the check-in", OrviAiSrvCheckInInit()) &&
           Step("start the check-in", OrviAiSrvCheckInStart(Conference())) &&
           Step("report who comes", OrviAiSrvCheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, Conference())) &&
           Step("wait for the participants", WaitUntil([] { return g_present >= ENOUGH; }) ? 0 : -1) &&
           PrintList(user) && Step("save a photo", SavePhoto(user, photoFile) ? 0 : -1) &&
           Step("end the report", OrviAiSrvCheckInStopReport()) && Step("stop the check-in", OrviAiSrvCheckInStop()) &&
           Step("clear the check-in data", OrviAiSrvCheckInClearData()) &&
           Step("hear that it is cleared", WaitUntil([] { return g_cleared; }) ? 0 : -1) &&
           Step("put the check-in away", OrviAiSrvCheckInDeinit());
}

bool End() {
    return Step("end the minutes", OrviAiSrvSignatureStop()) && Step("stop the director", OrviAiSrvDirectorStop()) &&
           Step("switch the nameplates off", OrviAiSrvNamePlateStop()) &&
           Step("hear that they are off", WaitUntil([] { return g_nameplates == 0; }) ? 0 : -1) &&
           Step("put the nameplates away", OrviAiSrvNamePlateDeInit()) &&
           Step("lock the device", OrviAiLockStateChange(LOCKED));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s PHOTO_FILE\n", argv[0]);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // a line is seen when it is written, also through a pipe

    tagOrviAppInfo identity{};
    std::snprintf(identity.appId, sizeof(identity.appId), "meeting");
    if (!Step("connect", OrviAiSrvApiInit(identity, OnEvent))) {
        return 1;
    }
    const bool done = Begin() && CheckIn(argv[1]) && End();
    return Step("leave", OrviAiSrvApiDeinit()) && done ? 0 : 1;
}
