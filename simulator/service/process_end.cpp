#include "service/process_end.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include "log.h"

namespace orvi_sim {

void Die() {
    (void)kill(getpid(), SIGKILL);
    for (;;) {
        (void)pause();  // until it arrives
    }
}

void StartAgain() {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    std::string line((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::vector<char*> arguments;
    for (size_t at = 0; at < line.size(); at = line.find('\0', at) + 1) {
        arguments.push_back(line.data() + at);
    }
    arguments.push_back(nullptr);
    // Every descriptor of the bus is closed on the way, and every other thread ends.
    (void)execv("/proc/self/exe", arguments.data());
    Log("cannot start again, errno %d", errno);
    Die();
}

// A process that starts again keeps its id.
void LeaveForNext(const char* name, const std::string& words) {
    (void)setenv(name, (std::to_string(getpid()) + " " + words).c_str(), 1);
}

std::string LeftByLast(const char* name) {
    const char* const value = std::getenv(name);
    const std::string left = value != nullptr ? value : "";
    const std::string own = std::to_string(getpid()) + " ";
    return left.rfind(own, 0) == 0 ? left.substr(own.size()) : "";
}

}  // namespace orvi_sim
