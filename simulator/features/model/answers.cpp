#include "model_answers.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "service.h"
#include "spoken_text.h"

namespace orvi_sim {
namespace {

constexpr uint32_t EVENT_PIECE = 0x60003E;
constexpr uint32_t EVENT_BEGIN = 0x60003F;
constexpr uint32_t EVENT_END = 0x600040;
constexpr std::chrono::milliseconds TIME_PER_PIECE{10};
constexpr size_t WORDS_PER_PIECE = 3;
constexpr size_t LONGEST_PIECE = sizeof(OrviSimModelPiece::text) - 1;

template <class Record>
void Send(Service& service, uint32_t id, Record record) {
    record.length = static_cast<uint32_t>(sizeof(record));
    const auto* const first = reinterpret_cast<const uint8_t*>(&record);
    service.GetClients().PushToAll(id, Payload(first, first + sizeof(record)));
}

std::string Counted(size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string FirstSentence(const std::string& text) {
    const size_t end = text.find_first_of(".!?");
    return end == std::string::npos ? text : text.substr(0, end + 1);
}

// A character of several bytes is not taken apart.
size_t CutBefore(const std::string& text, size_t end) {
    const auto isContinuation = [&](size_t i) { return (static_cast<unsigned char>(text[i]) & 0xC0U) == 0x80U; };
    size_t cut = end;
    while (cut > 0 && end - cut < 3 && isContinuation(cut)) {
        --cut;
    }
    return isContinuation(cut) ? end : cut;  // bytes that are no characters are cut anywhere
}

}  // namespace

std::string ModelAnswer(uint32_t type, const std::string& text) {
    if (type == ORVI_SIM_MODEL_REPEAT) {
        return text;
    }
    const SpokenWords words = WordsOf(text);
    if (words.empty()) {
        return "There is nothing to answer.";
    }
    if (type == ORVI_SIM_MODEL_SUMMARISE) {
        return "In short: " + FirstSentence(text) + " (" + Counted(words.size(), "word") + " in all)";
    }
    const auto longest = std::max_element(words.begin(), words.end(), [](const SpokenWord& a, const SpokenWord& b) {
        return a.word.size() < b.word.size();
    });
    return "You asked: \"" + text + "\" These are " + Counted(words.size(), "word") + ", the longest of them is \"" +
           longest->word + "\". More than that a simulated model does not know.";
}

std::vector<std::string> PiecesOf(const std::string& text) {
    std::vector<std::string> pieces;
    size_t begin = 0;
    size_t words = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        words += i > begin && text[i] == ' ' && text[i - 1] != ' ' ? 1 : 0;
        const bool full = words == WORDS_PER_PIECE;
        if (full || i - begin == LONGEST_PIECE) {
            const size_t end = full ? i : CutBefore(text, i);
            pieces.push_back(text.substr(begin, end - begin));
            begin = end;
            words = 0;
        }
    }
    if (begin < text.size()) {
        pieces.push_back(text.substr(begin));
    }
    return pieces;
}

void ModelAnswers::SendEnd(uint32_t requestId, uint32_t result, size_t pieces, size_t textLength) {
    Send(service_, EVENT_END,
         OrviSimModelEnd{0, requestId, result, static_cast<uint32_t>(pieces), static_cast<uint32_t>(textLength)});
}

void ModelAnswers::End(Answers::iterator answer, uint32_t result) {
    SendEnd(answer->first, result, answer->second.sent, answer->second.sentLength);
    answers_.erase(answer);
}

void ModelAnswers::Init() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ready_ = true;
}

void ModelAnswers::DeInit() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ready_ = false;
    while (!answers_.empty()) {
        End(answers_.begin(), ORVI_SIM_MODEL_CANCELLED);
    }
}

void ModelAnswers::Begin(uint32_t requestId, uint32_t type, const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!ready_) {
        SendEnd(requestId, ORVI_SIM_MODEL_NOT_READY, 0, 0);
        return;
    }
    if (const auto earlier = answers_.find(requestId); earlier != answers_.end()) {
        End(earlier, ORVI_SIM_MODEL_CANCELLED);
    }
    if (answers_.size() >= ORVI_SIM_MODEL_MOST_ANSWERS) {
        SendEnd(requestId, ORVI_SIM_MODEL_BUSY, 0, 0);
        return;
    }
    Answer answer;
    answer.pieces = PiecesOf(ModelAnswer(type, text));
    answer.number = ++answersBegun_;
    Send(service_, EVENT_BEGIN, OrviSimModelBegin{0, requestId, type, static_cast<uint32_t>(answer.pieces.size())});
    ScheduleNext(requestId, answer.number);
    answers_.emplace(requestId, std::move(answer));
}

bool ModelAnswers::Cancel(uint32_t requestId) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto answer = answers_.find(requestId);
    if (answer == answers_.end()) {
        return false;
    }
    End(answer, ORVI_SIM_MODEL_CANCELLED);
    return true;
}

void ModelAnswers::Refuse(uint32_t requestId, uint32_t result) {
    const std::lock_guard<std::mutex> lock(mutex_);
    SendEnd(requestId, result, 0, 0);
}

void ModelAnswers::ScheduleNext(uint32_t requestId, uint64_t number) {
    service_.After(TIME_PER_PIECE, [this, requestId, number] {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto answer = answers_.find(requestId);
        if (answer != answers_.end() && answer->second.number == number) {
            SendNext(answer);
        }
    });
}

void ModelAnswers::SendNext(Answers::iterator entry) {
    Answer& answer = entry->second;
    if (answer.sent == answer.pieces.size()) {
        End(entry, ORVI_SIM_MODEL_COMPLETE);
        return;
    }
    const std::string& piece = answer.pieces[answer.sent];
    OrviSimModelPiece record = {};
    record.requestId = entry->first;
    record.index = static_cast<uint32_t>(answer.sent);
    record.textLength = static_cast<uint32_t>(piece.size());
    std::memcpy(record.text, piece.data(), piece.size());
    Send(service_, EVENT_PIECE, record);
    ++answer.sent;
    answer.sentLength += piece.size();
    ScheduleNext(entry->first, answer.number);
}

}  // namespace orvi_sim
