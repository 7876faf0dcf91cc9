// What the simulated large model answers: put together from the words of the request, always in the same way.
#ifndef ORVI_SIM_FEATURES_ANSWER_TEXT_H
#define ORVI_SIM_FEATURES_ANSWER_TEXT_H

#include <cstdint>
#include <string>
#include <vector>

namespace orvi_sim {

// The answer to a text; `type` is ASK, SUMMARISE or REPEAT.
std::string ModelAnswer(uint32_t type, const std::string& text);

// The text in pieces of up to three words, each with its spaces and shorter than a piece's field.
std::vector<std::string> PiecesOf(const std::string& text);

}  // namespace orvi_sim

#endif
