// The words that wake the assistant: one of its own, and those of each application.
#ifndef ORVI_SIM_HOT_WORDS_H
#define ORVI_SIM_HOT_WORDS_H

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace orvi_sim {

class HotWords {
 public:
    static constexpr char OWN[] = "hello assistant";
    static constexpr size_t MOST_APPLICATIONS = 64;
    static constexpr size_t MOST_WORDS = 256;    // of one application
    static constexpr size_t LONGEST_WORD = 127;  // bytes

    enum class Change { Replace, Add, Remove };

    // Each returns the reason of a refusal, empty when done. An application that registers again keeps its words.
    std::string Register(const std::string& appId);
    // `words`: hot words with commas between them. Refused as a whole or done as a whole.
    std::string Update(const std::string& appId, Change change, const std::string& words);

    struct Match {
        std::string appId;  // empty: the assistant's own
        std::string word;
        std::string rest;  // what was said after it
    };
    std::optional<Match> Find(const std::string& spoken) const;

    std::string Describe() const;  // app=word,word for each application, for people and tests

 private:
    mutable std::mutex mutex_;  // guards what follows
    std::map<std::string, std::vector<std::string>> applications_;
};

}  // namespace orvi_sim

#endif
