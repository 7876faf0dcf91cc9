// The large model, the abilities and the version, with the simulated service.
#include <cstdlib>
#include <fstream>
#include <map>

#include "child_process.h"
#include "orvi_vision_sim_payloads.h"
#include "payload_recorder.h"

namespace orvi_test {
namespace {

OrviAiModelParams Request(uint32_t requestId, uint32_t type, const std::string& text) {
    OrviSimModelRequest request = {};
    request.requestId = requestId;
    request.type = type;
    std::memcpy(request.text, text.data(), text.size());
    OrviAiModelParams params;
    std::memcpy(&params, &request, sizeof(params));
    return params;
}

class LargeModelTest : public PayloadTest {
 protected:
    void Init() {
        ConnectForPayloads();
        ASSERT_EQ(OrviAiSrvLargeModelInit(OrviAiLLMInitParams{}), 0);
        ExpectInitStatus(1);
    }

    static void ExpectInitStatus(int32_t status) {
        const EventRecord record = NextRecord();
        ASSERT_EQ(record.event, 2);
        const auto event = record.As<tagOrviAiServiceStatusEvent>();
        EXPECT_EQ(event.type, ORVI_AI_STATUS_LARGE_MODEL);
        EXPECT_EQ(event.status, status);
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
            const EventRecord record = NextRecord();
            if (record.event == ORVI_AI_EVENT_LARGE_MODEL_3F) {
                const auto begin = record.As<OrviSimModelBegin>();
                EXPECT_EQ(underWay_.count(begin.requestId), 0U);
                underWay_[begin.requestId].announced = begin.pieces;
            } else if (record.event == ORVI_AI_EVENT_LARGE_MODEL_3E) {
                const auto piece = record.As<OrviSimModelPiece>();
                EXPECT_EQ(underWay_.count(piece.requestId), 1U);
                Answer& answer = underWay_[piece.requestId];
                EXPECT_EQ(piece.index, answer.pieces++);
                EXPECT_EQ(piece.textLength, std::strlen(piece.text));
                answer.text += piece.text;
            } else if (record.event == ORVI_AI_EVENT_LARGE_MODEL_40) {
                const auto end = record.As<OrviSimModelEnd>();
                Answer& answer = ended[end.requestId] = underWay_[end.requestId];
                underWay_.erase(end.requestId);
                answer.end = end;
                EXPECT_EQ(end.pieces, answer.pieces);
                EXPECT_EQ(end.textLength, answer.text.size());
            } else {
                ADD_FAILURE() << "event " << record.event;
                break;
            }
        }
        return ended;
    }

    std::map<uint32_t, Answer> underWay_;
};

TEST_F(LargeModelTest, AnswersComeInPieces) {
    Init();
    const std::string longText = std::string(4600, 'w') + " two  three\xC3\xA4 four";
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
        ASSERT_EQ(OrviAiSrvLargeModelRequest(Request(id++, row.type, row.text)), 0);
    }
    const auto answers = Answers(std::size(rows));
    id = 100;
    for (const auto& row : rows) {
        const Answer& answer = answers.at(id++);
        EXPECT_EQ(answer.announced, answer.pieces);
        EXPECT_EQ(answer.text, row.answer);
        EXPECT_EQ(answer.end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_COMPLETE));
    }
    EXPECT_EQ(PendingRecords(), 0U);
}

TEST_F(LargeModelTest, WhatIsNotAnswered) {
    ConnectForPayloads();
    ASSERT_EQ(OrviAiSrvLargeModelRequest(Request(1, ORVI_SIM_MODEL_ASK, "hello")), 0);
    EXPECT_EQ(Answers(1).at(1).end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_NOT_READY));
    OrviAiLLMInitParams params = {};
    params.serverType = 9;
    ASSERT_EQ(OrviAiSrvLargeModelInit(params), 0);
    ExpectInitStatus(0);
    params.serverType = ORVI_SIM_MODEL_SERVER_CLOUD;
    ASSERT_EQ(OrviAiSrvLargeModelInit(params), 0);
    ExpectInitStatus(1);

    ASSERT_EQ(OrviAiSrvLargeModelRequest(Request(2, 4, "hello")), 0);
    EXPECT_EQ(Answers(1).at(2).end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_BAD_REQUEST));
    ASSERT_EQ(OrviAiSrvLargeModelRequest(Request(3, ORVI_SIM_MODEL_ASK, std::string(4680, 'e'))), 0);
    EXPECT_EQ(Answers(1).at(3).end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_BAD_REQUEST));
}

TEST_F(LargeModelTest, CancelledByRequestByASecondRequestAndByDeInit) {
    Init();
    std::string endless;
    while (endless.size() < 4600) {
        endless += "word after word ";
    }
    ASSERT_EQ(OrviAiSrvLargeModelRequest(Request(5, ORVI_SIM_MODEL_REPEAT, endless)), 0);
    ASSERT_EQ(OrviAiSrvLargeModelRequest(Request(5, ORVI_SIM_MODEL_CANCEL, "")), 0);
    ASSERT_EQ(OrviAiSrvLargeModelRequest(Request(5, ORVI_SIM_MODEL_CANCEL, "")), 0);  // there is nothing any more
    Answer answer = Answers(1).at(5);
    EXPECT_EQ(answer.end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_CANCELLED));
    EXPECT_LT(answer.pieces, answer.announced);

    for (uint32_t id = 0; id <= ORVI_SIM_MODEL_MOST_ANSWERS; ++id) {  // one too many
        ASSERT_EQ(OrviAiSrvLargeModelRequest(Request(id, ORVI_SIM_MODEL_REPEAT, endless)), 0);
    }
    EXPECT_EQ(Answers(1).at(ORVI_SIM_MODEL_MOST_ANSWERS).end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_BUSY));
    ASSERT_EQ(OrviAiSrvLargeModelRequest(Request(7, ORVI_SIM_MODEL_REPEAT, endless)), 0);
    answer = Answers(1).at(7);
    EXPECT_EQ(answer.end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_CANCELLED));
    ASSERT_EQ(OrviAiSrvLargeModelDeInit(OrviAiLLMInitParams{}), 0);
    for (const auto& [id, cancelled] : Answers(ORVI_SIM_MODEL_MOST_ANSWERS)) {
        EXPECT_EQ(cancelled.end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_CANCELLED)) << id;
    }
    ASSERT_EQ(OrviAiSrvLargeModelRequest(Request(8, ORVI_SIM_MODEL_ASK, "hello")), 0);
    EXPECT_EQ(Answers(1).at(8).end.result, static_cast<uint32_t>(ORVI_SIM_MODEL_NOT_READY));
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
    simulator_.Command("await clients 0");
}

// --- Abilities and version ---

class AbilityTest : public PayloadTest {
 protected:
    // The capability file that the library's common library reads.
    void Configure(const std::string& flags) {
        std::ofstream(sandbox_.Path("capability.xml")) << "<capability>" << flags << "</capability>";
        setenv("ORVI_AI_CAPABILITY", sandbox_.Path("capability.xml").c_str(), 1);
    }
};

TEST_F(AbilityTest, TheServiceAndTheFileAnswer) {
    Configure(R"(<flag name="caption" value="5"/><flag name="large-model-b" value="1"/>)");
    ConnectForPayloads();
    tagOrviAiAbility ability;
    ASSERT_EQ(OrviAiSrvGetAbility(&ability), 0);
    tagOrviAiAbility expected = {};
    expected.isCaptionSupported = 5;
    expected.isVoiceAssistSupported = 1;
    expected.isTzCloudLLM = 1;
    EXPECT_EQ(std::memcmp(&ability, &expected, sizeof(ability)), 0);

    simulator_.Command("reply 0x60003a zeros:53");  // too long: the file's abilities are left
    ASSERT_EQ(OrviAiSrvGetAbility(&ability), 0);
    EXPECT_EQ(ability.isVoiceAssistSupported, 0);
    EXPECT_EQ(ability.isTzCloudLLM, 0);
    EXPECT_EQ(ability.isCaptionSupported, 5);
    simulator_.Command("count 0x60003a");
}

TEST_F(AbilityTest, TheServiceIsNotAskedWithoutALargeModel) {
    Configure(R"(<flag name="sign" value="1"/><flag name="large-model-a" value="2"/>)");
    ConnectForPayloads();
    tagOrviAiAbility ability;
    ASSERT_EQ(OrviAiSrvGetAbility(&ability), 0);
    EXPECT_EQ(ability.isSignSupported, 1);
    EXPECT_EQ(ability.isVoiceAssistSupported, 0);
    EXPECT_EQ(simulator_.Command("count 0x60003a"), "0");
}

TEST_F(AbilityTest, WithoutServiceAndWithABrokenFile) {
    Configure(R"(<flag name="director" value="1"/><flag name="large-model-a" value="1"/>)");
    char version[8];
    EXPECT_EQ(OrviAiSrvGetVersion(version, sizeof(version)), 0);
    EXPECT_STREQ(version, "3.1.0.1");
    Configure("<flag");
    tagOrviAiAbility ability;
    EXPECT_EQ(OrviAiSrvGetAbility(&ability), -1);
    Configure(R"(<flag name="director" value="1"/><flag name="large-model-a" value="1"/>)");
    ASSERT_EQ(OrviAiSrvGetAbility(&ability), 0);  // nobody to ask, not even a place on the bus
    EXPECT_EQ(ability.isDirectorSupported, 1);
    EXPECT_EQ(ability.isTzCloudLLM, 0);
}

}  // namespace
}  // namespace orvi_test
