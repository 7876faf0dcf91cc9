// Words as people type them.
#ifndef ORVI_AI_TOOL_TYPED_WORDS_H
#define ORVI_AI_TOOL_TYPED_WORDS_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace orvi_ai {

// "say 'good morning'" to two words. False when a quote has no end.
bool SplitLine(const std::string& line, std::vector<std::string>& words);

// 500ms, 2s, 1m30s; a number without a unit is seconds. At most a day.
std::optional<std::chrono::milliseconds> ParseTime(const std::string& text);

// "; did you mean --conference?" when a word is the beginning of a known one or much like it, else nothing.
std::string Suggestion(const std::string& word, const std::vector<std::string>& known);

}  // namespace orvi_ai

#endif
