#include "caption_board.h"

#include <cstdio>
#include <utility>

#include "orvi_vision_sim_payloads.h"

CaptionBoard* CaptionBoard::board_ = nullptr;

CaptionBoard::CaptionBoard(std::string conference) : conference_(std::move(conference)) {
    board_ = this;
}

CaptionBoard::~CaptionBoard() {
    board_ = nullptr;
}

bool CaptionBoard::Open() {
    tagOrviAppInfo identity{};
    std::snprintf(identity.appId, sizeof(identity.appId), "caption-board");
    return OrviAiSrvApiInit(identity, OnEvent) == 0 && SetUp();
}

bool CaptionBoard::SetUp() {
    tagOrviAiConfInfo conference{};
    std::snprintf(conference.text1, sizeof(conference.text1), "%s", conference_.c_str());
    std::snprintf(conference.text2, sizeof(conference.text2), "board");
    return OrviAiSrvCaptionInit(OnCaption) == 0 && OrviAiSrvCaptionStart(&conference, 1) == 0;
}

bool CaptionBoard::Close() {
    const bool isStopped = OrviAiSrvCaptionStop() == 0;
    const bool isPutAway = OrviAiSrvCaptionDeInit() == 0;
    const bool hasLeft = OrviAiSrvApiDeinit() == 0;
    return isStopped && isPutAway && hasLeft;
}

void CaptionBoard::AwaitLines(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return lines_.size() >= count; });
}

std::vector<std::string> CaptionBoard::Lines() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

// Both run on the library's message thread.
void CaptionBoard::OnEvent(OrviAiEventId event, void*) {
    if (event == ORVI_AI_EVENT_SERVICE_START && board_ != nullptr) {
        (void)board_->Open();  // the new service knows nobody
    }
}

void CaptionBoard::OnCaption(OrviAiCaptionEventId event, void* payload) {
    if (event != ORVI_AI_CAPTION_EVENT_38 || board_ == nullptr) {
        return;
    }
    OrviSimCaptionLine line;
    OrviSimReadRecord(&line, sizeof(line), payload);
    if (line.isFinal == 0) {
        return;
    }
    const std::lock_guard<std::mutex> lock(board_->mutex_);
    board_->lines_.push_back(std::string(line.speaker) + ": " + line.text);
    board_->changed_.notify_all();
}
