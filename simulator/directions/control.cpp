#include "directions/control.h"

#include <cerrno>
#include <cstdio>
#include <iterator>
#include <poll.h>
#include <string>
#include <unistd.h>

#include "log.h"

namespace orvi_sim {
namespace {

constexpr size_t LONGEST_LINE = 64U << 20;

void WriteAnswer(const std::string& answer) {
    // A reader that has gone shows as the end of the input.
    std::fputs((answer + "\n").c_str(), stdout);
    std::fflush(stdout);
}

// Takes the complete lines out of `input` and carries them out.
void PerformLines(const Directions& directions, const StopSignal& stop, std::string& input) {
    size_t begin = 0;
    for (size_t end = input.find('\n'); end != std::string::npos && !stop.Raised(); end = input.find('\n', begin)) {
        const std::string line = input.substr(begin, end - begin);
        begin = end + 1;
        if (line.find_first_not_of(" \t\r") != std::string::npos) {
            WriteAnswer(directions.Perform(line));
        }
    }
    input.erase(0, begin);
}

}  // namespace

void ServeControl(const Directions& directions, StopSignal& stop) {
    std::string input;
    pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {stop.Descriptor(), POLLIN, 0}};
    while (!stop.Raised()) {
        if (poll(watched, std::size(watched), -1) < 0 && errno != EINTR) {
            Log("cannot wait for commands, errno %d", errno);
            stop.Raise(1);
            return;
        }
        if (watched[1].revents != 0 || watched[0].revents == 0) {
            continue;
        }
        char buffer[4096];
        const ssize_t count = read(STDIN_FILENO, buffer, sizeof(buffer));
        if (count <= 0) {
            if (count == 0 || errno != EINTR) {
                stop.Raise(0);
            }
            continue;
        }
        input.append(buffer, static_cast<size_t>(count));
        PerformLines(directions, stop, input);
        if (input.size() > LONGEST_LINE) {
            WriteAnswer("error the line is too long");
            stop.Raise(1);
        }
    }
}

}  // namespace orvi_sim
