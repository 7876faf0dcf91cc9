// The command line of orvi-vision-sim.
#ifndef ORVI_SIM_OPTIONS_H
#define ORVI_SIM_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "directions/pushes.h"
#include "scenario/scenario.h"

namespace orvi_sim {

struct Options {
    bool verbose = false;
    bool control = false;
    uint32_t exitAfterMs = 0;
    uint32_t queueSize = 256;
    uint32_t participants = 12;
    uint32_t arrivalMs = 500;
    std::vector<std::string> pushes;
    std::vector<ScheduledPush> scheduled;  // those pushes, read
    std::string scenarioFile;
    Scenario scenario;  // that file, read
    bool check = false;
    bool exitAtEnd = false;
    std::string speed = "1";
    uint32_t seed = 1;
    std::string playLog;
    std::optional<uint16_t> viewPort;  // of the page that shows the room; 0: any that is free
};

// Reads and checks everything that can be checked before the service starts. The exit code when the program ends here,
// for help or for a mistake, which has been told; -1 when it goes on.
int ReadOptions(int argc, char** argv, Options& options);

}  // namespace orvi_sim

#endif
