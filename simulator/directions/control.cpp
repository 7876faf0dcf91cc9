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
    // One line each: of what is told in several the lines have "; " between and begin without blanks. A reader that has
    // gone shows as the end of the input.
    std::string line;
    for (const char c : answer) {
        if (c == '\n') {
            line += line == "ok" || line.back() == ':' ? " " : "; ";
        } else if (c != ' ' || line.size() < 2 || line.compare(line.size() - 2, 2, "; ") != 0) {
            line += c;
        }
    }
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

void PerformLine(const Directions& directions, const std::string& line) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) {
        return;
    }
    const Directions::Answer answer = directions.Perform(line);
    WriteAnswer(answer.text);
    if (answer.then != nullptr) {
        answer.then();
    }
}

}  // namespace

// Byte by byte, so that what follows a restart is there for the next one to read.
void ServeControl(const Directions& directions, StopSignal& stop) {
    std::string line;
    bool isEmpty = true;
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
        char character = '\0';
        const ssize_t count = read(STDIN_FILENO, &character, 1);
        if (count == 0 && isEmpty) {
            return;  // there is nobody who directs from here, as with </dev/null
        }
        isEmpty = false;
        if (count <= 0) {
            if (count == 0 || errno != EINTR) {
                stop.Raise(0);
            }
        } else if (character == '\n') {
            PerformLine(directions, line);
            line.clear();
        } else if (line += character; line.size() > LONGEST_LINE) {
            WriteAnswer("error the line is too long");
            stop.Raise(1);
        }
    }
}

}  // namespace orvi_sim
