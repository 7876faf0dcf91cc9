// The large model, the abilities and the version, with the simulated service.
#include <cstdlib>
#include <fstream>
#include <map>

#include "child_process.h"
#include "orvi_vision_sim_payloads.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

class LargeModelTest : public VisionTest {
 protected:
    void ConnectAndInit() {
        EventRecorder::CopyRecords();
        Connect();
        ASSERT_EQ(OrviAiSrvLargeModelInit(OrviAiLLMInitParams{}), 0);
        EventRecorder::ExpectStatus(ORVI_AI_STATUS_LARGE_MODEL, 1);
    }

    static void Ask(uint32_t requestId, uint32_t type, const std::string& text) {
        OrviSimModelRequest request = {};
        request.requestId = requestId;
        request.type = type;
        std::memcpy(request.text, text.data(), text.size());
        OrviAiModelParams params;
        std::memcpy(&params, &request, sizeof(params));
        ASSERT_EQ(OrviAiSrvLargeModelRequest(params), 0);
    }

    struct Answer {
        uint32_t announced = 0;  // pieces
        uint32_t pieces = 0;
        std::string text;
        OrviSimModelEnd end = {};
    };

    // Takes events until `count` answers have ended and returns these; checks what each event says.
    std::map<uint32_t, Answer> Answers(size_t count) {
        std::map<uint32_t, Answer> ended;
        while (ended.size() < count) {
            const Event event = EventRecorder::Next();
            if (event.id == ORVI_AI_EVENT_LARGE_MODEL_3F) {
                const auto begin = As<OrviSimModelBegin>(event.record);
                EXPECT_EQ(underWay_.count(begin.requestId), 0U);
                underWay_[begin.requestId].announced = begin.pieces;
            } else if (event.id == ORVI_AI_EVENT_LARGE_MODEL_3E) {
                const auto piece = As<OrviSimModelPiece>(event.record);
                EXPECT_EQ(underWay_.count(piece.requestId), 1U);
                Answer& answer = underWay_[piece.requestId];
                EXPECT_EQ(piece.index, answer.pieces++);
                EXPECT_EQ(piece.textLength, std::strlen(piece.text));
                EXPECT_NE(piece.text[0] & 0xC0, 0x80) << "begins inside a character";
                answer.text += piece.text;
            } else if (event.id == ORVI_AI_EVENT_LARGE_MODEL_40) {
                const auto end = As<OrviSimModelEnd>(event.record);
                Answer& answer = ended[end.requestId] = underWay_[end.requestId];
                underWay_.erase(end.requestId);
                answer.end = end;
                EXPECT_EQ(end.pieces, answer.pieces);
                EXPECT_EQ(end.textLength, answer.text.size());
            } else {
                ADD_FAILURE() << event;
                break;
            }
        }
        return ended;
    }

    void ExpectEnd(uint32_t requestId, int result) {
        EXPECT_EQ(Answers(1).at(requestId).end.result, static_cast<uint32_t>(result));
    }

    std::map<uint32_t, Answer> underWay_;
};

TEST_F(LargeModelTest, AnswersComeInPieces) {
    ConnectAndInit();
    std::string longText = " two  three four";
    while (longText.size() < 4600) {
        longText += "\xC3\xA4";  // a character of two bytes is not taken apart
    }
    const struct {
        uint32_t type;
        std::string text;
        std::string answer;
    } rows[] = {
        {ORVI_SIM_MODEL_ASK, "Who is here?",
         "You asked: \"Who is here?\" These are 3 words, the longest of them is \"here\". More than that a simulated "
         "model does not know."},
        {ORVI_SIM_MODEL_SUMMARISE, "All agreed. Then we left.", "In short: All agreed. (5 words in all)"},
        {ORVI_SIM_MODEL_REPEAT, longText, longText},
        {ORVI_SIM_MODEL_REPEAT, "", ""},
        {ORVI_SIM_MODEL_ASK, " ...", "There is nothing to answer."},
    };
    uint32_t id = 100;
    for (const auto& row : rows) {  // all at the same time
        Ask(id++, row.type, row.text);
    }
    const auto answers = Answers(std::size(rows));
    id = 100;
    for (const auto& row : rows) {
        const Answer& answer = answers.at(id++);
        EXPECT_EQ(answer.announced, answer.pieces);
        EXPECT_EQ(answer.text, row.answer);
        EXPECT_EQ(answer.end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_COMPLETE));
    }
    EventRecorder::ExpectNoMore();
}

TEST_F(LargeModelTest, WhatIsNotAnswered) {
    EventRecorder::CopyRecords();
    Connect();
    Ask(1, ORVI_SIM_MODEL_ASK, "hello");
    ExpectEnd(1, ORVI_SIM_MODEL_NOT_READY);
    OrviAiLLMInitParams params = {};
    params.serverType = 9;
    ASSERT_EQ(OrviAiSrvLargeModelInit(params), 0);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_LARGE_MODEL, 0);
    params.serverType = ORVI_SIM_MODEL_SERVER_CLOUD;
    ASSERT_EQ(OrviAiSrvLargeModelInit(params), 0);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_LARGE_MODEL, 1);

    Ask(2, 4, "hello");
    ExpectEnd(2, ORVI_SIM_MODEL_BAD_REQUEST);
    Ask(3, ORVI_SIM_MODEL_ASK, std::string(4680, 'e'));
    ExpectEnd(3, ORVI_SIM_MODEL_BAD_REQUEST);
}

TEST_F(LargeModelTest, CancelledByRequestByASecondRequestAndByDeInit) {
    ConnectAndInit();
    std::string endless;
    while (endless.size() < 4600) {
        endless += "w ";
    }
    Ask(5, ORVI_SIM_MODEL_REPEAT, endless);
    Ask(5, ORVI_SIM_MODEL_CANCEL, "");
    Ask(5, ORVI_SIM_MODEL_CANCEL, "");  // there is nothing any more
    Answer answer = Answers(1).at(5);
    EXPECT_EQ(answer.end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_CANCELLED));
    EXPECT_LT(answer.pieces, answer.announced);

    for (uint32_t id = 0; id <= ORVI_SIM_MODEL_MOST_ANSWERS; ++id) {  // one too many
        Ask(id, ORVI_SIM_MODEL_REPEAT, endless);
    }
    ExpectEnd(ORVI_SIM_MODEL_MOST_ANSWERS, ORVI_SIM_MODEL_BUSY);
    Ask(7, ORVI_SIM_MODEL_REPEAT, endless);
    answer = Answers(1).at(7);
    EXPECT_EQ(answer.end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_CANCELLED));
    ASSERT_EQ(OrviAiSrvLargeModelDeInit(OrviAiLLMInitParams{}), 0);
    for (const auto& [id, cancelled] : Answers(ORVI_SIM_MODEL_MOST_ANSWERS)) {
        EXPECT_EQ(cancelled.end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_CANCELLED)) << id;
    }
    Ask(8, ORVI_SIM_MODEL_ASK, "hello");
    ExpectEnd(8, ORVI_SIM_MODEL_NOT_READY);
}

TEST_F(LargeModelTest, ExampleAsks) {
    const std::string errors = sandbox_.Path("example.log");
    EXPECT_EQ(ChildProcess("ask_model", {"anybody", "there?"}, errors).Wait(), 1);  // there is no service
    EXPECT_EQ(ChildProcess("ask_model", {}, errors).Wait(), 2);
    simulator_.Start();
    ChildProcess example("ask_model", {"Who", "is here?"}, errors);
    EXPECT_TRUE(example.ReadUntil("|You asked: \"Who"));
    EXPECT_TRUE(example.ReadUntil("pieces, 123 characters"));
    EXPECT_EQ(example.Wait(), 0);
    simulator_.Await("clients 0");
}

// The capability file, which the library's common library reads, and the service each tell a part.
TEST_F(LargeModelTest, TheServiceAndTheFileAnswerForTheAbilities) {
    std::ofstream(sandbox_.Path("capability.xml"))
        << R"(<capability><flag name="caption" value="5"/><flag name="large-model-b" value="1"/></capability>)";
    setenv("ORVI_AI_CAPABILITY", sandbox_.Path("capability.xml").c_str(), 1);
    tagOrviAiAbility expected = {};
    expected.isCaptionSupported = 5;
    tagOrviAiAbility ability;
    ASSERT_EQ(OrviAiSrvGetAbility(&ability), 0) << "nobody to ask, not even a place on the bus";
    EXPECT_EQ(std::memcmp(&ability, &expected, sizeof(ability)), 0);

    Connect();
    ASSERT_EQ(OrviAiSrvGetAbility(&ability), 0);
    expected.isVoiceAssistSupported = 1;
    expected.isTzCloudLLM = 1;
    EXPECT_EQ(std::memcmp(&ability, &expected, sizeof(ability)), 0);
    EXPECT_EQ(simulator_.Command("count model.ability"), "1");
}

}  // namespace
}  // namespace orvi_test
