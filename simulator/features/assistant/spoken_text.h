// Spoken words: how the assistant compares what it hears with the texts that it knows.
#ifndef ORVI_SIM_FEATURES_SPOKEN_TEXT_H
#define ORVI_SIM_FEATURES_SPOKEN_TEXT_H

#include <cstddef>
#include <string>
#include <vector>

namespace orvi_sim {

// A word in lower case (ASCII letters; other bytes as they are) and where it ends in the text. Everything that is
// neither letter nor digit stands between words, so "open_blinds" has two.
struct SpokenWord {
    std::string word;
    size_t end;
};
using SpokenWords = std::vector<SpokenWord>;

SpokenWords WordsOf(const std::string& text);

// Where the words of `phrase` stand side by side in `spoken`: the index behind the last one; 0 when they do not.
size_t FindPhrase(const SpokenWords& spoken, const SpokenWords& phrase);

// The words of `phrase` stand in `spoken` in their order, with others between them. False for a phrase without words.
bool ContainsInOrder(const SpokenWords& spoken, const SpokenWords& phrase);

}  // namespace orvi_sim

#endif
