#include "features/assistant/spoken_text.h"

#include <algorithm>

namespace orvi_sim {
namespace {

bool IsLetter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte >= 0x80;
}

char LowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameWord(const SpokenWord& left, const SpokenWord& right) {
    return left.word == right.word;
}

}  // namespace

SpokenWords WordsOf(const std::string& text) {
    SpokenWords words;
    bool inside = false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (!IsLetter(text[i])) {
            inside = false;
            continue;
        }
        if (!inside) {
            words.push_back({});
            inside = true;
        }
        words.back().word += LowerCase(text[i]);
        words.back().end = i + 1;
    }
    return words;
}

size_t FindPhrase(const SpokenWords& spoken, const SpokenWords& phrase) {
    if (phrase.empty()) {
        return 0;
    }
    const auto found = std::search(spoken.begin(), spoken.end(), phrase.begin(), phrase.end(), SameWord);
    return found == spoken.end() ? 0 : static_cast<size_t>(found - spoken.begin()) + phrase.size();
}

bool ContainsInOrder(const SpokenWords& spoken, const SpokenWords& phrase) {
    size_t matched = 0;
    for (const SpokenWord& word : spoken) {
        if (matched < phrase.size() && SameWord(word, phrase[matched])) {
            ++matched;
        }
    }
    return !phrase.empty() && matched == phrase.size();
}

}  // namespace orvi_sim
