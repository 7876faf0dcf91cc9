// Lines to words and back.
#ifndef ORVI_SIM_DIRECTIONS_WORDS_H
#define ORVI_SIM_DIRECTIONS_WORDS_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace orvi_sim {

// Words have blanks between them; "double quotes" keep those inside one, where a backslash takes the next character as
// it is. A word that begins with text: goes on to the end of the line. False when a quote has no end.
bool SplitLine(const std::string& line, std::vector<std::string>& words);

// A line that SplitLine takes apart into the same words.
std::string JoinWords(const std::vector<std::string>& words);

// 09:30 or 09:30:15 as the second of the day.
std::optional<uint32_t> ParseTimeOfDay(const std::string& text);

// How many times as fast as the machine's time the room's goes: 1 to Clock::FASTEST.
std::optional<uint32_t> ParsePace(const std::string& text);

// What somebody wrote, as a message quotes it: between apostrophes, cut to LONGEST_QUOTE bytes, control characters as \x1b.
constexpr size_t LONGEST_QUOTE = 64;
std::string Quote(const std::string& text);

// 1500ms as "1.5s"
std::string TimeText(std::chrono::milliseconds time);

}  // namespace orvi_sim

#endif
