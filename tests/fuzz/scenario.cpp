// Any file as a scenario.
#include "scenario/scenario.h"

#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const orvi_fuzz::File file(data, size);
    orvi_sim::Scenario scenario;
    const auto reasons = orvi_sim::ReadScenario(file.Path(), scenario);
    orvi_fuzz::Require(!reasons.empty() || !scenario.lines.empty(),
                       "a scenario has a line, or a reason says what is wrong");
    for (const std::string& reason : reasons) {
        orvi_fuzz::Require(reason.find(file.Path()) == 0 && reason.size() < 10000,
                           "a reason names the file, in a few words");
    }
    return 0;
}
