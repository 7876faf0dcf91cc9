// Captions, from the application's call to the service and back.
#include <cstring>
#include <set>
#include <string>

#include "child_process.h"
#include "orvi_vision_sim_payloads.h"
#include "recorder.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

struct CaptionEvent {
    int id = -1;
    Bytes record;
};
auto& g_captions = *new Recorder<CaptionEvent>;

void OnCaption(OrviAiCaptionEventId event, void* payload) {
    g_captions.Add({event, CopyRecord(payload)});
}

class CaptionsTest : public VisionTest {
 protected:
    // The service's verdict is told once more by a status.
    static void Start(uint8_t report, int result, const char* name = "weekly") {
        tagOrviAiConfInfo conference = {"", 1, 2, "room 7"};
        std::strcpy(conference.text1, name);
        EXPECT_EQ(OrviAiSrvCaptionStart(&conference, report), result);
        EventRecorder::ExpectStatus(ORVI_AI_STATUS_CAPTION, result == 0 ? 1 : 0);
        if (result == 0) {
            ExpectSwitch(1);
        }
    }
    static void ExpectSwitch(uint32_t running) {
        const CaptionEvent event = g_captions.Next();
        ASSERT_EQ(event.id, ORVI_AI_CAPTION_EVENT_SWITCH);
        EXPECT_EQ(As<OrviSimCaptionSwitch>(event.record).running, running);
    }
};

TEST_F(CaptionsTest, AConversationGrowsWordByWord) {
    Connect();
    ASSERT_EQ(OrviAiSrvCaptionInit(OnCaption), 0);
    const Resources baseline = Resources::Now();  // this thread has its connection to the service
    Start(1, 0);
    ExpectLogged("captions start for \"weekly\"");

    std::set<std::string> speakers;
    std::string speaker;
    std::string text;
    uint32_t number = 0;
    size_t partials = 0;
    while (number < 3 || !text.empty()) {
        const CaptionEvent event = g_captions.Next();
        if (event.id == ORVI_AI_CAPTION_EVENT_1A) {
            EXPECT_TRUE(text.empty()) << "in the middle of a line";
            speaker = As<OrviSimCaptionSpeaker>(event.record).speaker;
            speakers.insert(speaker);
            continue;
        }
        ASSERT_EQ(event.id, ORVI_AI_CAPTION_EVENT_38);
        const auto line = As<OrviSimCaptionLine>(event.record);
        if (text.empty()) {
            EXPECT_EQ(line.number, ++number);
        }
        EXPECT_EQ(line.number, number);
        EXPECT_EQ(line.speaker, speaker);
        const std::string now = line.text;
        EXPECT_GT(now.size(), text.size());
        EXPECT_EQ(now.compare(0, text.size(), text), 0) << "\"" << now << "\" does not continue \"" << text << "\"";
        partials += line.isFinal == 0 ? 1 : 0;
        text = line.isFinal != 0 ? "" : now;
    }
    EXPECT_GT(partials, 3U);
    EXPECT_GE(speakers.size(), 2U);

    ASSERT_EQ(OrviAiSrvCaptionStop(), 0);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_CAPTION, 0);
    CaptionEvent event;
    do {
        event = g_captions.Next();
    } while (event.id == ORVI_AI_CAPTION_EVENT_38 || event.id == ORVI_AI_CAPTION_EVENT_1A);
    EXPECT_EQ(event.id, ORVI_AI_CAPTION_EVENT_SWITCH);
    EXPECT_EQ(As<OrviSimCaptionSwitch>(event.record).running, 0U);

    // The next start begins with the first line.
    Start(1, 0);
    EXPECT_EQ(g_captions.Next().id, ORVI_AI_CAPTION_EVENT_1A);
    EXPECT_EQ(As<OrviSimCaptionLine>(g_captions.Next().record).number, 1U);
    EXPECT_EQ(OrviAiSrvCaptionDeInit(), 0);
    ExpectBackAt(baseline);
}

TEST_F(CaptionsTest, TheServiceRefusesWhatIsNotReadyOrBusy) {
    Connect();
    Start(1, -1);  // before the initialisation
    ASSERT_EQ(OrviAiSrvCaptionInit(OnCaption), 0);
    EXPECT_EQ(OrviAiSrvCaptionStop(), -1) << "not running";
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_CAPTION, 1);  // of a stop that failed
    Start(0, 0);
    Start(0, 0);  // of the same conference: they go on
    Start(1, -1, "monthly");
    ExpectLogged("refused caption start from " + ProcessName() + ": busy");
    AwaitServiceTime(300);
    ASSERT_EQ(OrviAiSrvCaptionDeInit(), 0);
    ExpectSwitch(0);  // no words in between: not reported
    Start(1, -1);     // after the de-initialisation
}

TEST_F(CaptionsTest, ARestartedServiceStartsAnew) {
    Connect();
    ASSERT_EQ(OrviAiSrvCaptionInit(OnCaption), 0);
    Start(1, 0);
    g_captions.Next();
    RestartSimulator();
    Announce();
    Start(1, -1);
    g_captions.Clear();
    ASSERT_EQ(OrviAiSrvCaptionInit(OnCaption), 0);
    Start(1, 0);
}

TEST_F(CaptionsTest, TheExampleShowsTheConversation) {
    simulator_.Start();
    const std::string errors = sandbox_.Path("live_captions.log");
    ChildProcess example("live_captions", {"2"}, errors);
    EXPECT_TRUE(example.ReadUntil("Ada: Good morning. Can everybody hear me?"));
    EXPECT_TRUE(example.ReadUntil("Boris: Loud and clear. ..."));
    EXPECT_TRUE(example.ReadUntil("live_captions: done"));
    EXPECT_EQ(example.Wait(), 0) << ReadFile(errors);

    ChildProcess interrupted("live_captions", {"1000"}, errors);
    EXPECT_TRUE(interrupted.ReadUntil("Ada"));
    simulator_.Kill();
    EXPECT_EQ(interrupted.Wait(), 1) << "the service is gone";
}

TEST_F(CaptionsTest, TheExampleInCppGoesOnWithARestartedService) {
    simulator_.Start();
    const std::string errors = sandbox_.Path("cpp_captions.log");
    ChildProcess example("cpp_captions", {"6"}, errors);
    EXPECT_TRUE(example.ReadUntil("Boris: Loud and clear."));
    simulator_.Kill();
    EXPECT_TRUE(example.ReadUntil("the service is gone"));
    simulator_.Start();
    for (const char* piece : {"connection", "captions, init", "captions, start"}) {
        EXPECT_TRUE(example.ReadUntil(std::string(piece) + " again: done")) << ReadFile(errors);
    }
    EXPECT_TRUE(example.ReadUntil("cpp_captions: done"));
    EXPECT_EQ(example.Wait(), 0) << ReadFile(errors);
}

}  // namespace
}  // namespace orvi_test
