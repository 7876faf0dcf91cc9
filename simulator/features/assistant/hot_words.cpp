#include "features/assistant/hot_words.h"

#include <algorithm>

#include "features/assistant/spoken_text.h"

namespace orvi_sim {
namespace {

bool Contains(const std::vector<std::string>& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

std::string Trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::vector<std::string> SplitWords(const std::string& words) {
    std::vector<std::string> split;
    for (size_t begin = 0; begin <= words.size();) {
        const size_t end = std::min(words.find(',', begin), words.size());
        const std::string word = Trimmed(words.substr(begin, end - begin));
        if (!word.empty() && !Contains(split, word)) {
            split.push_back(word);
        }
        begin = end + 1;
    }
    return split;
}

std::optional<HotWords::Match> MatchOne(const std::string& spoken, const SpokenWords& spokenWords,
                                        const std::string& appId, const std::string& word) {
    const size_t behind = FindPhrase(spokenWords, WordsOf(word));
    if (behind == 0) {
        return std::nullopt;
    }
    std::string rest = spoken.substr(spokenWords[behind - 1].end);
    rest.erase(0, rest.find_first_not_of(" ,.!?:;"));
    return HotWords::Match{appId, word, rest};
}

}  // namespace

std::string HotWords::Register(const ApplicationId& owner, const std::string& appId) {
    Ids& ids = applications_[owner];
    if (ids.count(appId) == 0 && ids.size() >= MOST_IDS) {
        return "it has registered " + std::to_string(MOST_IDS) + " hot-word keys already";
    }
    ids[appId];
    return "";
}

std::string HotWords::Update(const ApplicationId& owner, const std::string& appId, Change change,
                             const std::string& words) {
    const std::vector<std::string> given = SplitWords(words);
    for (const std::string& word : given) {
        if (word.size() > LONGEST_WORD || WordsOf(word).empty()) {
            return "\"" + word.substr(0, LONGEST_WORD) + "\" is no hot word: too long, or nothing to say";
        }
    }
    Ids& ids = applications_[owner];
    const auto application = ids.find(appId);
    if (application == ids.end()) {
        return "the application \"" + appId + "\" has not registered its hot-word key";
    }
    std::vector<std::string> next = change == Change::Replace ? std::vector<std::string>() : application->second;
    for (const std::string& word : given) {
        if (change == Change::Remove) {
            next.erase(std::remove(next.begin(), next.end(), word), next.end());
        } else if (!Contains(next, word)) {
            next.push_back(word);
        }
    }
    if (next.size() > MOST_WORDS) {
        return std::to_string(next.size()) + " hot words, at most " + std::to_string(MOST_WORDS);
    }
    application->second.swap(next);
    return "";
}

std::optional<HotWords::Match> HotWords::Find(const std::string& spoken) const {
    const SpokenWords spokenWords = WordsOf(spoken);
    if (auto match = MatchOne(spoken, spokenWords, "", OWN)) {
        return match;
    }
    for (const auto& [owner, ids] : applications_) {
        for (const auto& [appId, words] : ids) {
            for (const std::string& word : words) {
                if (auto match = MatchOne(spoken, spokenWords, appId, word)) {
                    return match;
                }
            }
        }
    }
    return std::nullopt;
}

std::string HotWords::Describe() const {
    std::string text;
    for (const auto& [owner, ids] : applications_) {
        for (const auto& [appId, words] : ids) {
            text += (text.empty() ? "" : " ") + appId + "=";
            for (size_t i = 0; i < words.size(); ++i) {
                text += (i == 0 ? "" : ",") + words[i];
            }
        }
    }
    return text;
}

}  // namespace orvi_sim
