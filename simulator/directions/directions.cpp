#include "directions/directions.h"

#include <cstdlib>
#include <exception>
#include <optional>
#include <utility>

#include "directions/vocabulary.h"
#include "directions/words.h"
#include "log.h"

namespace orvi_sim {
namespace {

Outcome Help(const std::vector<std::string>& words) {
    if (words.empty()) {
        return Done("\n" + ExplainAll());
    }
    size_t count = 0;
    const Row* const row = FindRow(words, count);
    return row != nullptr && count == words.size() ? Done(Explain(*row)) : Refused(NoSuchDirection(words));
}

}  // namespace

Directions::Directions(Stage& stage) : stage_(stage) {
    Add({{"help", [](const Arguments& arguments) { return Help(arguments[0].words); }}});
}

void Directions::AddOnStage(std::vector<Direction> directions) {
    for (Direction& direction : directions) {
        const std::string name = direction.name;
        entries_.emplace(name, Entry{std::move(direction), true});
    }
}

void Directions::Add(std::vector<Direction> directions) {
    for (Direction& direction : directions) {
        const std::string name = direction.name;
        entries_.emplace(name, Entry{std::move(direction), false});
    }
}

void Directions::Check() const {
    for (const Row& row : Vocabulary()) {
        if (entries_.count(row.name) == 0) {
            Log("nothing performs the direction \"%s\"", row.name);
            std::abort();
        }
    }
    if (entries_.size() != Vocabulary().size()) {
        Log("%zu directions are performed, and %zu are explained", entries_.size(), Vocabulary().size());
        std::abort();
    }
}

bool Directions::IsOnStage(const std::string& line) const {
    std::vector<std::string> words;
    size_t count = 0;
    const Row* const row = SplitLine(line, words) ? FindRow(words, count) : nullptr;
    return row != nullptr && entries_.at(row->name).isOnStage;
}

Directions::Answer Directions::Perform(const std::string& line) const {
    try {
        return PerformLine(line);
    } catch (const std::exception& exception) {
        Log("a direction is not done: %s", exception.what());
        return {"error no memory", nullptr};
    }
}

Directions::Answer Directions::PerformLine(const std::string& line) const {
    std::vector<std::string> words;
    if (!SplitLine(line, words)) {
        return {"error a quote has no end", nullptr};
    }
    size_t count = 0;
    const Row* const row = FindRow(words, count);
    if (row == nullptr) {
        return {"error " + NoSuchDirection(words), nullptr};
    }
    Arguments arguments;
    if (const auto reason = ReadArguments(*row, words, count, arguments)) {
        return {"error " + *reason, nullptr};
    }
    const Entry& entry = entries_.at(row->name);
    Stage::Lock lock = stage_.Enter();
    if (entry.isOnStage) {
        stage_.Show(&Onlooker::Directed, line);
    } else {
        lock.unlock();
    }
    Outcome outcome = Refused("");
    try {
        outcome = entry.direction.perform(arguments);
    } catch (const std::exception& exception) {
        outcome = Refused(std::string("not done: ") + exception.what());
    }
    if (!outcome.isDone) {
        if (!lock.owns_lock()) {
            lock.lock();
        }
        stage_.Show(&Onlooker::Directed, line + ": not done");
    }
    while (!outcome.text.empty() && outcome.text.back() == '\n') {
        outcome.text.pop_back();
    }
    const bool hasBlank = outcome.text.empty() || outcome.text.front() == '\n';
    return {std::string(outcome.isDone ? "ok" : "error") + (hasBlank ? "" : " ") + outcome.text, outcome.then};
}

}  // namespace orvi_sim
