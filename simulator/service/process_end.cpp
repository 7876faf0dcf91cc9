#include "service/process_end.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <unistd.h>
#include <vector>

#include "log.h"

namespace orvi_sim {

namespace {

// Kept beside the environment: no thread can change that while another may be reading it.
std::mutex g_leftLock;
std::map<std::string, std::string> g_left;

// NAME=WORDS of each.
std::vector<std::string> Left() {
    const std::lock_guard<std::mutex> lock(g_leftLock);
    std::vector<std::string> variables;
    variables.reserve(g_left.size());
    for (const auto& [name, words] : g_left) {
        std::string& variable = variables.emplace_back(name);
        variable += '=';
        variable += words;
    }
    return variables;
}

}  // namespace

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
    std::vector<std::string> variables = Left();
    std::vector<char*> environment(variables.size());
    std::transform(variables.begin(), variables.end(), environment.begin(),
                   [](std::string& variable) { return variable.data(); });
    for (char** inherited = environ; *inherited != nullptr; ++inherited) {
        environment.push_back(*inherited);  // behind what is left: the first of a name is found
    }
    environment.push_back(nullptr);
    // Every descriptor of the bus is closed on the way, and every other thread ends.
    (void)execve("/proc/self/exe", arguments.data(), environment.data());
    Log("cannot start again, errno %d", errno);
    Die();
}

// A process that starts again keeps its id.
void LeaveForNext(const char* name, const std::string& words) {
    const std::lock_guard<std::mutex> lock(g_leftLock);
    g_left[name] = std::to_string(getpid()) + " " + words;
}

std::string LeftByLast(const char* name) {
    const char* const value = std::getenv(name);
    const std::string left = value != nullptr ? value : "";
    const std::string own = std::to_string(getpid()) + " ";
    return left.rfind(own, 0) == 0 ? left.substr(own.size()) : "";
}

}  // namespace orvi_sim
