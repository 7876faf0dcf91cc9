// The board with a library that does as it is scripted.
#include <cstdio>
#include <cstring>

#include "caption_board.h"
#include "check.h"
#include "orvi/test/fake.hpp"
#include "orvi_vision_sim_payloads.h"

namespace fake = orvi::test::fake;

namespace {

void Say(const char* speaker, const char* text, bool isFinal) {
    OrviSimCaptionLine line{};
    line.length = sizeof(line);
    line.isFinal = isFinal ? 1 : 0;
    std::snprintf(line.speaker, sizeof(line.speaker), "%s", speaker);
    std::snprintf(line.text, sizeof(line.text), "%s", text);
    fake::fire_caption(ORVI_AI_CAPTION_EVENT_38, &line);
}

void OnlyFinalLinesAreKept() {
    fake::reset();
    CaptionBoard board("Monday");
    CHECK(board.Open());
    Say("Ada", "Is the", false);
    Say("Ada", "Is there tea?", true);
    CHECK(board.Lines() == std::vector<std::string>{"Ada: Is there tea?"});
    const auto [conference, isReported] = fake::of<OrviAiSrvCaptionStart>().last();
    CHECK(std::strcmp(conference->text1, "Monday") == 0);
    CHECK(isReported == 1);
}

void ARefusalIsTold() {
    fake::reset();
    fake::of<OrviAiSrvCaptionStart>().returns_once(-1);
    CaptionBoard board("Monday");
    CHECK(!board.Open());
    CHECK(board.Open());
}

void ARestartIsFollowed() {
    fake::reset();
    CaptionBoard board("Monday");
    CHECK(board.Open());
    fake::fire(ORVI_AI_EVENT_SERVICE_EXIT);
    fake::fire(ORVI_AI_EVENT_SERVICE_START);
    CHECK(fake::of<OrviAiSrvApiInit>().count() == 2);
    CHECK(fake::of<OrviAiSrvCaptionStart>().count() == 2);
}

}  // namespace

int main() {
    try {
        OnlyFinalLinesAreKept();
        ARefusalIsTold();
        ARestartIsFollowed();
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
