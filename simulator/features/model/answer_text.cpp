#include "features/model/answer_text.h"

#include <algorithm>
#include <cstddef>

#include "features/assistant/spoken_text.h"
#include "orvi_vision_sim_payloads.h"

namespace orvi_sim {
namespace {

constexpr size_t WORDS_PER_PIECE = 3;
constexpr size_t LONGEST_PIECE = sizeof(OrviSimModelPiece::text) - 1;

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

}  // namespace orvi_sim
