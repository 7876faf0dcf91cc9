// Nameplates, director, lock state, check-in and minutes, from the application's call to the service's state.
#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <thread>

#include "orvi_ai_srv_proxy.h"
#include "orvi_vision_sim_payloads.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

using ::OrviAiService::AiSrvServiceProxy;

tagOrviAiConfIdInfo Conference(const char* id) {
    tagOrviAiConfIdInfo info{};
    std::strcpy(info.confId, id);
    std::strcpy(info.userid, "host");
    return info;
}

tagOrviAiMinutesConfInfo Minutes(const char* id) {
    OrviSimMinutesConference conference{};
    std::strcpy(conference.confId, id);
    tagOrviAiMinutesConfInfo info{};
    std::memcpy(&info, &conference, sizeof(info));
    return info;
}

using Users = std::vector<std::string>;

class MeetingTest : public VisionTest {
 protected:
    // Connected to a service where participants check in on command only; the sixth of them is a guest.
    void ConnectTo(const std::string& participants) { Connect({"--arrival", "0", "--participants", participants}); }

    // What the service keeps of one feature.
    void ExpectState(const std::string& state) {
        const std::string all = " " + simulator_.Command("state") + " ";
        EXPECT_NE(all.find(" " + state + " "), std::string::npos) << state << " in" << all;
    }

    // A call has succeeded and left this state.
    void ExpectDone(int result, const std::string& state) {
        EXPECT_EQ(result, 0) << state;
        ExpectState(state);
    }

    void StartCheckin(const char* conference) {
        ASSERT_EQ(OrviAiSrvCheckInInit(), 0);
        ASSERT_EQ(OrviAiSrvCheckInStart(Conference(conference)), 0);
    }

    static std::unique_ptr<OrviSimCheckinPage> Page(int view, uint32_t pageNum = 1) {
        tagCheckinTotalData data;
        std::memset(&data, 0xEE, sizeof(data));
        EXPECT_EQ(OrviAiSrvGetCheckinData(&data, static_cast<OrviAiCheckInShowType>(view), pageNum), 0);
        auto page = std::make_unique<OrviSimCheckinPage>();
        std::memcpy(page.get(), &data, sizeof(*page));
        EXPECT_EQ(page->length, ORVI_SIM_CHECKIN_PAGE_HEAD + page->entryCount * sizeof(OrviSimCheckinEntry));
        EXPECT_LE(page->entryCount, uint32_t{ORVI_SIM_CHECKIN_ENTRIES_PER_PAGE});
        return page;
    }

    static Users UsersOf(int view) {
        const auto page = Page(view);
        Users users;
        for (uint32_t i = 0; i < page->entryCount; ++i) {
            users.emplace_back(page->entries[i].userId);
        }
        return users;
    }
};

TEST_F(MeetingTest, NameplatesTellWhatBecameOfThem) {
    Connect();
    EXPECT_EQ(AiSrvServiceProxy::GetInstance().StartNameplateProxy(), ORVI_SIM_NOT_READY);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_NAMEPLATE, 0);
    ExpectDone(OrviAiSrvNamePlateInit(), "nameplate=ready");
    EXPECT_EQ(OrviAiSrvNamePlateStart(), 0);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_NAMEPLATE, 1);
    ExpectState("nameplate=on");
    EXPECT_EQ(OrviAiSrvNamePlateStop(), 0);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_NAMEPLATE, 0);
    ExpectState("nameplate=ready");
    ExpectDone(OrviAiSrvNamePlateDeInit(), "nameplate=off");
}

TEST_F(MeetingTest, DirectorAndLockState) {
    Connect();
    const auto& proxy = AiSrvServiceProxy::GetInstance();
    ExpectState("director=on");
    ExpectDone(OrviAiSrvDirectorStop(), "director=off");
    ExpectDone(OrviAiSrvDirectorStart(), "director=on");
    ExpectDone(proxy.RemoveDirectorTrackProxy(), "director=removed");
    ExpectDone(proxy.CreateDirectorTrackProxy(), "director=off");
    ExpectDone(OrviAiLockStateChange(-7), "lock=-7");

    simulator_.Command("nodata director.start");  // any reply counts
    EXPECT_EQ(OrviAiSrvDirectorStart(), 0);
    simulator_.Kill();
    EXPECT_EQ(OrviAiSrvDirectorStop(), -1);
}

// The director's creation waits over a restart of the service.
TEST_F(MeetingTest, TheDirectorIsCreatedWhenTheServiceIsBack) {
    Connect();
    simulator_.Kill();
    EventRecorder::ExpectIds({0});
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (AiSrvServiceProxy::isVisionOK.load() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();  // cleared once the callback of the exit has returned
    }
    auto created =
        std::async(std::launch::async, [] { return AiSrvServiceProxy::GetInstance().CreateDirectorTrackProxy(); });
    simulator_.Start();
    EXPECT_EQ(created.get(), 0);
    EventRecorder::ExpectIds({1});
    EXPECT_EQ(simulator_.Command("count director.create"), "1");
}

TEST_F(MeetingTest, AttendanceFromTheFirstToTheLast) {
    const auto type = static_cast<tagOrviAiCheckinType>(4);
    ConnectTo("7");
    EXPECT_EQ(OrviAiSrvCheckInStart(Conference("a")), -1) << "not initialised";
    StartCheckin("a");
    EXPECT_EQ(OrviAiSrvCheckInStart(Conference("b")), -1) << "busy";
    EXPECT_EQ(simulator_.Command("arrive"), "1") << "before anything is reported";
    EXPECT_EQ(OrviAiSrvCheckInStartReport(type, Conference("b")), -1);
    EXPECT_EQ(OrviAiSrvCheckInStartReport(type, Conference("a")), 0);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_2B, 1);  // in sum what was not reported

    EXPECT_EQ(simulator_.Command("arrive"), "1");
    EXPECT_EQ(EventRecorder::Next(), (Event{4, true, {sizeof(OrviSimCheckinArrival)}}));
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_2B, 2);
    const auto page = Page(ORVI_SIM_CHECKIN_COUNTS);
    EXPECT_EQ(page->entryCount, 0U);
    EXPECT_EQ(page->invited, 6U);
    EXPECT_EQ(page->present, 2U);
    EXPECT_EQ(page->guests, 0U);
    EXPECT_EQ(page->running, 1U);
    EXPECT_EQ(page->type, 4);
    EXPECT_STREQ(page->confId, "a");

    EXPECT_EQ(simulator_.Command("arrive 100"), "5");
    EventRecorder::ExpectIds({4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 3});
    EXPECT_EQ(OrviAiSrvCheckInStopReport(), 0);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_2B, 7);
    EXPECT_EQ(OrviAiSrvCheckInStartReport(type, Conference("a")), 0) << "when everybody is there";
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_2B, 7);
    EventRecorder::ExpectIds({3});
    EXPECT_EQ(OrviAiSrvCheckInStop(), 0);
    EXPECT_EQ(simulator_.Command("arrive"), "0") << "the check-in does not run";
    EXPECT_EQ(OrviAiSrvCheckInClearData(), 0);
    EventRecorder::ExpectIds({5});
    EXPECT_EQ(UsersOf(ORVI_SIM_CHECKIN_PRESENT), Users());
    ExpectState("check-in=ready");
    ExpectDone(OrviAiSrvCheckInDeinit(), "check-in=off");
}

TEST_F(MeetingTest, ViewsOfTheAttendance) {
    ConnectTo("12");
    StartCheckin("a");
    simulator_.Command("arrive 6");
    const Users present = {"user-0001", "user-0002", "user-0003", "user-0004", "user-0005", "user-0006"};
    const Users absent = {"user-0007", "user-0008", "user-0009", "user-0010", "user-0011"};
    Users everybody = present;
    everybody.insert(everybody.end(), absent.begin(), absent.end());
    EXPECT_EQ(UsersOf(ORVI_SIM_CHECKIN_EVERYBODY), everybody);
    EXPECT_EQ(UsersOf(ORVI_SIM_CHECKIN_PRESENT), present);
    EXPECT_EQ(UsersOf(ORVI_SIM_CHECKIN_ABSENT), absent) << "the second guest was not invited";
    EXPECT_EQ(UsersOf(ORVI_SIM_CHECKIN_LATEST_FIRST), Users(present.rbegin(), present.rend()));
    EXPECT_EQ(UsersOf(ORVI_SIM_CHECKIN_GUESTS), Users{"user-0006"});
    EXPECT_EQ(UsersOf(ORVI_SIM_CHECKIN_COUNTS), Users());

    const auto byName = Page(ORVI_SIM_CHECKIN_BY_NAME);
    ASSERT_EQ(byName->entryCount, everybody.size());
    for (uint32_t i = 1; i < byName->entryCount; ++i) {
        EXPECT_LT(std::string(byName->entries[i - 1].name), byName->entries[i].name);
    }
    const auto all = Page(ORVI_SIM_CHECKIN_EVERYBODY);
    const OrviSimCheckinEntry& guest = all->entries[5];
    EXPECT_EQ(guest.state, uint32_t{ORVI_SIM_CHECKIN_STATE_GUEST});
    EXPECT_EQ(guest.arrival, 6U);
    EXPECT_NE(guest.checkinTime, 0U);
    EXPECT_EQ(all->entries[6].state, uint32_t{ORVI_SIM_CHECKIN_STATE_ABSENT});
    EXPECT_EQ(all->entries[6].photoLength, 0U);
}

TEST_F(MeetingTest, PagesOfALongList) {
    ConnectTo("121");
    StartCheckin("a");
    EXPECT_EQ(simulator_.Command("arrive 120"), "120");
    const uint32_t lengths[] = {50, 50, 21, 0};
    for (uint32_t i = 0; i < 4; ++i) {
        const auto page = Page(ORVI_SIM_CHECKIN_EVERYBODY, i + 1);
        ASSERT_EQ(page->entryCount, lengths[i]);
        EXPECT_EQ(page->pageCount, 3U);
        EXPECT_EQ(page->guests, 20U);
        if (i == 2) {
            EXPECT_STREQ(page->entries[0].userId, "user-0101");
        }
    }
}

TEST_F(MeetingTest, PhotosOfThoseWhoHaveCome) {
    ConnectTo("3");
    StartCheckin("a");
    simulator_.Command("arrive 2");
    const auto page = Page(ORVI_SIM_CHECKIN_PRESENT);
    ASSERT_EQ(page->entryCount, 2U);
    Bytes photos[2];
    for (uint32_t i = 0; i < 2; ++i) {
        const OrviSimCheckinEntry& entry = page->entries[i];
        uint32_t length = entry.photoLength;
        photos[i].resize(length);
        ASSERT_EQ(OrviAiSrvGetCheckinPhoto(entry.userId, 9, photos[i].data(), &length), 0);
        EXPECT_EQ(length, entry.photoLength);
        EXPECT_EQ(Bytes(photos[i].begin(), photos[i].begin() + 4), (Bytes{0x89, 'P', 'N', 'G'}));
    }
    EXPECT_NE(photos[0], photos[1]);
    uint32_t length = 16;
    EXPECT_EQ(OrviAiSrvGetCheckinPhoto("user-0003", 9, Bytes(length).data(), &length), 0);
    EXPECT_EQ(length, 0U) << "has not come";
}

// Another conference starts with an empty list, the same one goes on with its own.
TEST_F(MeetingTest, TheListBelongsToItsConference) {
    ConnectTo("5");
    StartCheckin("a");
    simulator_.Command("arrive 2");
    for (const char* conference : {"a", "b"}) {
        EXPECT_EQ(OrviAiSrvCheckInStop(), 0);
        StartCheckin(conference);
        EXPECT_EQ(UsersOf(ORVI_SIM_CHECKIN_PRESENT).size(), conference[0] == 'a' ? 2U : 0U);
    }
}

// Without a command the participants come by themselves, and once more when the list has been cleared.
TEST_F(MeetingTest, ParticipantsComeOverTime) {
    Connect({"--arrival", "1", "--participants", "4"});
    StartCheckin("a");
    for (const bool isCleared : {false, true}) {
        EXPECT_EQ(isCleared ? OrviAiSrvCheckInClearData() : 0, 0);
        const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
        while (UsersOf(ORVI_SIM_CHECKIN_PRESENT).size() < 4 && std::chrono::steady_clock::now() < deadline) {
        }
        EXPECT_EQ(UsersOf(ORVI_SIM_CHECKIN_PRESENT).size(), 4U);
    }
}

TEST_F(MeetingTest, MinutesOfOneConferenceAtATime) {
    Connect();
    EXPECT_EQ(OrviAiSrvSignatureStop(), -1);
    EXPECT_EQ(OrviAiSrvSignatureStart(Minutes("")), -1);
    ExpectDone(OrviAiSrvSignatureStart(Minutes("weekly")), "minutes=weekly");
    EXPECT_EQ(OrviAiSrvSignatureStart(Minutes("weekly")), 0);
    EXPECT_EQ(OrviAiSrvSignatureStart(Minutes("monthly")), -1);
    ExpectDone(OrviAiSrvSignatureStop(), "minutes=none");
}

}  // namespace
}  // namespace orvi_test
