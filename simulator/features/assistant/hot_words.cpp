#include "hot_words.h"

#include <algorithm>

#include "spoken_text.h"

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

std::string HotWords::Register(const std::string& appId) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (applications_.count(appId) == 0 && applications_.size() >= MOST_APPLICATIONS) {
        return "there are " + std::to_string(MOST_APPLICATIONS) + " applications with hot words already";
    }
    applications_[appId];
    return "";
}

std::string HotWords::Update(const std::string& appId, Change change, const std::string& words) {
    const std::vector<std::string> given = SplitWords(words);
    for (const std::string& word : given) {
        if (word.size() > LONGEST_WORD || WordsOf(word).empty()) {
            return "\"" + word.substr(0, LONGEST_WORD) + "\" is no hot word: too long, or nothing to say";
        }
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto application = applications_.find(appId);
    if (application == applications_.end()) {
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
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [appId, words] : applications_) {
        for (const std::string& word : words) {
            if (auto match = MatchOne(spoken, spokenWords, appId, word)) {
                return match;
            }
        }
    }
    return std::nullopt;
}

std::string HotWords::Describe() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string text;
    for (const auto& [appId, words] : applications_) {
        text += (text.empty() ? "" : " ") + appId + "=";
        for (size_t i = 0; i < words.size(); ++i) {
            text += (i == 0 ? "" : ",") + words[i];
        }
    }
    return text;
}

}  // namespace orvi_sim
