// A scenario: what happens in the room, and when, as lines of a file. Each is a JSON object:
//   {"at": "2s", "do": "person enters", "name": "Ada Lovelace"}
//   {"on": "caption.start", "after": "500ms", "do": "caption", "speaker": "Ada", "text": "Good morning"}
// Empty lines and those that begin with # are for the reader.
#ifndef ORVI_SIM_SCENARIO_SCENARIO_H
#define ORVI_SIM_SCENARIO_SCENARIO_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvi_sim {

struct ScenarioLine {
    size_t number = 0;  // in the file, from 1
    // Since the start, in the room's time; of a line with `on` since the first message of that kind.
    std::chrono::milliseconds at{0};
    std::optional<uint32_t> on;  // id of what an application sends
    std::string direction;       // as it would be said on standard input
};

struct Scenario {
    std::string file;
    std::vector<ScenarioLine> lines;
    std::chrono::milliseconds length{0};  // when the last line with `at` is due
};

// Reads and checks the whole file. What is wrong is told with file, line, the word, and what is accepted: a reason a
// line, empty when all is right.
std::vector<std::string> ReadScenario(const std::string& file, Scenario& scenario);

}  // namespace orvi_sim

#endif
