#include "directions/words.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "payload.h"
#include "service/clock.h"

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

std::optional<uint32_t> ParseTimeOfDay(const std::string& text) {
    constexpr uint32_t MOST[] = {23, 59, 59};
    uint32_t parts[std::size(MOST)] = {};
    size_t count = 0;
    for (size_t at = 0; at <= text.size(); ++count) {
        const size_t end = std::min(text.find(':', at), text.size());
        const std::string word = text.substr(at, end - at);
        const auto number = word.size() <= 2 && (count == 0 || word.size() == 2) ? ParseNumber(word) : std::nullopt;
        if (count >= std::size(MOST) || !number || *number > MOST[count]) {
            return std::nullopt;
        }
        parts[count] = *number;
        at = end + 1;
    }
    return count >= 2 ? std::optional<uint32_t>(parts[0] * 3600 + parts[1] * 60 + parts[2]) : std::nullopt;
}

std::optional<uint32_t> ParsePace(const std::string& text) {
    const auto number = ParseNumber(text);
    return number && *number >= 1 && *number <= Clock::FASTEST ? number : std::nullopt;
}

std::string Quote(const std::string& text) {
    std::string quote = "'";
    for (const char c : text.substr(0, LONGEST_QUOTE)) {
        if (std::iscntrl(static_cast<unsigned char>(c)) != 0) {
            char code[8];
            std::snprintf(code, sizeof(code), "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
            quote += code;
        } else {
            quote += c;
        }
    }
    return quote + (text.size() > LONGEST_QUOTE ? "...'" : "'");
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
