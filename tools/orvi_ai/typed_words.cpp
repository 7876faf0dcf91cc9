#include "typed_words.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include "duration.h"

namespace orvi_ai {
namespace {

// How many letters have to be added, dropped or changed.
size_t Distance(std::string_view one, std::string_view other) {
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < one.size(); ++i) {
        size_t diagonal = row[0]++;
        for (size_t j = 0; j < other.size(); ++j) {
            const size_t changed = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

}  // namespace

bool SplitLine(const std::string& line, std::vector<std::string>& words) {
    bool isOpen = false;  // a word has begun
    char quote = '\0';
    std::string word;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        const bool isBlank = c == ' ' || c == '\t' || c == '\r';
        if (quote == '\0' && !isOpen && c == '#') {
            break;
        }
        if (quote == '\0' && isBlank) {
            if (isOpen) {
                words.push_back(std::move(word));
                word.clear();
            }
            isOpen = false;
        } else if (quote == '\0' && (c == '"' || c == '\'')) {
            quote = c;
            isOpen = true;
        } else if (c == quote) {
            quote = '\0';
        } else if (c == '\\' && quote != '\'' && i + 1 < line.size()) {
            word += line[++i];
            isOpen = true;
        } else {
            word += c;
            isOpen = true;
        }
    }
    if (isOpen) {
        words.push_back(std::move(word));
    }
    return quote == '\0';
}

std::optional<std::chrono::milliseconds> ParseTime(const std::string& text) {
    const bool isBare = !text.empty() && text.find_first_not_of("0123456789.") == std::string::npos;
    return orvi_protocol::ParseMilliseconds(isBare ? text + "s" : text);
}

std::string Suggestion(const std::string& word, const std::vector<std::string>& known) {
    size_t least = std::min<size_t>(3, word.size() / 2 + 1);
    std::string best;
    for (const std::string& name : known) {
        const size_t distance = word.size() > 1 && name.rfind(word, 0) == 0 ? 0 : Distance(word, name);
        if (distance < least) {
            least = distance;
            best = name;
        }
    }
    return best.empty() ? "" : "; did you mean " + best + "?";
}

}  // namespace orvi_ai
