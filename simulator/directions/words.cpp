#include "directions/words.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace orvi_sim {
namespace {

constexpr char BLANKS[] = " \t\r";
constexpr char TEXT_WORD[] = "text:";

}  // namespace

bool SplitLine(const std::string& line, std::vector<std::string>& words) {
    size_t at = line.find_first_not_of(BLANKS);
    while (at < line.size()) {
        if (line.compare(at, sizeof(TEXT_WORD) - 1, TEXT_WORD) == 0) {
            words.push_back(line.substr(at));
            return true;
        }
        std::string word;
        bool isQuoted = false;
        for (; at < line.size() && (isQuoted || std::string(BLANKS).find(line[at]) == std::string::npos); ++at) {
            if (line[at] == '"') {
                isQuoted = !isQuoted;
            } else if (isQuoted && line[at] == '\\' && at + 1 < line.size()) {
                word += line[++at];
            } else {
                word += line[at];
            }
        }
        if (isQuoted) {
            return false;
        }
        words.push_back(std::move(word));
        at = line.find_first_not_of(BLANKS, at);
    }
    return true;
}

std::string JoinWords(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) {
        line += line.empty() ? "" : " ";
        const bool isPlain =
            !word.empty() && word.find_first_of(" \t\r\"\\") == std::string::npos && word.rfind(TEXT_WORD, 0) != 0;
        if (isPlain) {
            line += word;
            continue;
        }
        line += '"';
        for (const char c : word) {
            line += c == '"' || c == '\\' ? "\\" : "";
            line += c;
        }
        line += '"';
    }
    return line;
}

std::optional<std::chrono::milliseconds> ParseTime(const std::string& text) {
    constexpr double MOST = 24.0 * 3600 * 1000;
    if (text.empty() || text[0] < '0' || text[0] > '9') {
        return std::nullopt;
    }
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const std::string unit = end;
    const double factor = unit == "ms" ? 1 : unit == "s" ? 1000 : unit == "m" ? 60000 : unit == "h" ? 3600000 : 0;
    const double milliseconds = number * factor;
    if (factor == 0 || !(milliseconds >= 0 && milliseconds <= MOST)) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(std::lround(milliseconds));
}

std::string TimeText(std::chrono::milliseconds time) {
    const auto count = static_cast<long long>(time.count());
    if (count < 1000) {
        return std::to_string(count) + "ms";
    }
    char text[32];
    std::snprintf(text, sizeof(text), "%lld.%03lld", count / 1000, count % 1000);
    std::string seconds = text;
    seconds.erase(seconds.find_last_not_of('0') + 1);
    return (seconds.back() == '.' ? seconds.substr(0, seconds.size() - 1) : seconds) + "s";
}

}  // namespace orvi_sim
