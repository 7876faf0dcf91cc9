// The words that wake the assistant: one of its own, and those of each application under the ids that it registered.
#ifndef ORVI_SIM_FEATURES_HOT_WORDS_H
#define ORVI_SIM_FEATURES_HOT_WORDS_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "service/application.h"

namespace orvi_sim {

class HotWords {
 public:
    static constexpr char OWN[] = "hello assistant";
    static constexpr size_t MOST_IDS = 64;       // of one application
    static constexpr size_t MOST_WORDS = 256;    // of one id
    static constexpr size_t LONGEST_WORD = 127;  // bytes

    enum class Change { Replace, Add, Remove };

    // Each returns the reason of a refusal, empty when done. An id that is registered again keeps its words.
    std::string Register(const ApplicationId& owner, const std::string& appId);
    // `words`: hot words with commas between them. Refused as a whole or done as a whole.
    std::string Update(const ApplicationId& owner, const std::string& appId, Change change, const std::string& words);

    void Forget(const ApplicationId& owner) { applications_.erase(owner); }

    struct Match {
        std::string appId;  // empty: the assistant's own
        std::string word;
        std::string rest;  // what was said after it
    };
    std::optional<Match> Find(const std::string& spoken) const;

    std::string Describe() const;  // id=word,word each, for people and tests

 private:
    using Ids = std::map<std::string, std::vector<std::string>>;

    std::map<ApplicationId, Ids> applications_;
};

}  // namespace orvi_sim

#endif
