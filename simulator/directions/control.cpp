#include "directions/control.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <iterator>
#include <poll.h>
#include <string>
#include <unistd.h>

#include "log.h"

namespace orvi_sim {
namespace {

constexpr size_t LONGEST_LINE = 64U << 20;

// Writes to standard output as its reader takes it: one that reads no more does not keep the program from its end.
void WriteText(const StopSignal& stop, const std::string& text) {
    pollfd watched[] = {{STDOUT_FILENO, POLLOUT, 0}, {stop.Descriptor(), POLLIN, 0}};
    for (size_t written = 0; written < text.size();) {
        if (poll(watched, std::size(watched), -1) < 0 && errno == EINTR) {
            continue;
        }
        if (watched[0].revents == 0) {
            return;  // the end has come first
        }
        // So much a pipe with room takes at once.
        const size_t size = std::min<size_t>(text.size() - written, PIPE_BUF);
        const ssize_t count = write(STDOUT_FILENO, text.data() + written, size);
        if (count < 0 && errno != EINTR && errno != EAGAIN) {
            return;  // a reader that has gone shows as the end of the input
        }
        written += static_cast<size_t>(std::max<ssize_t>(count, 0));
    }
}

void WriteAnswer(const StopSignal& stop, const std::string& answer) {
    WriteText(stop, answer + "\n");
}

// Takes the complete lines out of `input` and carries them out.
void PerformLines(const Directions& directions, const StopSignal& stop, std::string& input) {
    size_t begin = 0;
    for (size_t end = input.find('\n'); end != std::string::npos && !stop.Raised(); end = input.find('\n', begin)) {
        const std::string line = input.substr(begin, end - begin);
        begin = end + 1;
        if (line.find('\0') != std::string::npos) {
            WriteAnswer(stop, "error the line has a NUL");
        } else if (line.find_first_not_of(" \t\r") != std::string::npos) {
            WriteAnswer(stop, directions.Perform(line));
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
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (!input.empty()) {  // the last line may lack its end
                PerformLines(directions, stop, input += '\n');
            }
            stop.Raise(0);
            return;
        }
        input.append(buffer, static_cast<size_t>(count));
        PerformLines(directions, stop, input);
        if (input.size() > LONGEST_LINE) {
            WriteAnswer(stop, "error the line is too long");
            stop.Raise(1);
        }
    }
}

}  // namespace orvi_sim
