// The one table of directions: what can be said, on standard input, with orvi-room and in scenarios.
#ifndef ORVI_SIM_DIRECTIONS_VOCABULARY_H
#define ORVI_SIM_DIRECTIONS_VOCABULARY_H

#include <optional>
#include <string>
#include <vector>

#include "directions/direction.h"

namespace orvi_sim {

const std::vector<Row>& Vocabulary();

// The row that these words begin with, null when there is none; `count` words are its name.
const Row* FindRow(const std::vector<std::string>& words, size_t& count);

// Those of two words that begin with this one: "await clients" and its like of "await".
std::vector<const Row*> RowsBehind(const std::string& first);

// "say TEXT"
std::string Usage(const Row& row);

// Usage, meaning and what the words may be, in several lines.
std::string Explain(const Row& row);

// A line for each row.
std::string ExplainAll();

// The words behind the name. The reason when they do not fit.
std::optional<std::string> ReadArguments(const Row& row, const std::vector<std::string>& words, size_t count,
                                         Arguments& arguments);

// What to say about words that no row begins with.
std::string NoSuchDirection(const std::vector<std::string>& words);

}  // namespace orvi_sim

#endif
