#include "directions/control.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "log.h"

namespace orvi_sim {
namespace {

constexpr size_t LONGEST_LINE = 64U << 20;
constexpr int SHORTAGE_PAUSE_MS = 10;
constexpr std::string_view NO_MEMORY = "error no memory\n";

// Writes to standard output as its reader takes it: one that reads no more does not keep the program from its end.
void WriteText(const StopSignal& stop, std::string_view text) {
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

void WriteAnswer(const StopSignal& stop, const std::string& answer) try {
    // One line each: of what is told in several the lines have "; " between and begin without blanks.
    std::string line;
    for (const char c : answer) {
        if (c == '\n') {
            line += line == "ok" || line.back() == ':' ? " " : "; ";
        } else if (c != ' ' || line.size() < 2 || line.compare(line.size() - 2, 2, "; ") != 0) {
            line += c;
        }
    }
    line += '\n';
    WriteText(stop, line);
} catch (const std::bad_alloc&) {  // of making the line; writing it takes none
    WriteText(stop, NO_MEMORY);
}

// False when there is no memory for them.
bool Append(std::string& line, const char* bytes, size_t count) {
    try {
        line.append(bytes, count);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// Of what is there up to the end of a line and no byte more, so that what follows a restart is there for the next one to
// read. As read().
ssize_t ReadLinePart(char* bytes, size_t room) {
    ssize_t count = recv(STDIN_FILENO, bytes, room, MSG_PEEK);
    if (count > 0) {
        const void* const end = memchr(bytes, '\n', static_cast<size_t>(count));
        return recv(STDIN_FILENO, bytes,
                    end != nullptr ? static_cast<size_t>(static_cast<const char*>(end) - bytes) + 1
                                   : static_cast<size_t>(count),
                    0);
    }
    if (count == 0 || errno != ENOTSOCK) {
        return count;
    }
    int there = 0;  // what shows no byte that it does not give is read byte by byte
    (void)ioctl(STDIN_FILENO, FIONREAD, &there);
    const ssize_t most = std::min<ssize_t>(std::max(there, 1), static_cast<ssize_t>(room));
    for (count = 0; count < most && (count == 0 || bytes[count - 1] != '\n'); ++count) {
        const ssize_t one = read(STDIN_FILENO, bytes + count, 1);
        if (one <= 0) {
            return count == 0 ? one : count;
        }
    }
    return count;
}

void PerformLine(const Directions& directions, const StopSignal& stop, const std::string& line) {
    if (line.find('\0') != std::string::npos) {
        WriteAnswer(stop, "error the line has a NUL");
        return;
    }
    if (line.find_first_not_of(" \t\r") == std::string::npos) {
        return;
    }
    const Directions::Answer answer = directions.Perform(line);
    WriteAnswer(stop, answer.text);
    if (answer.then != nullptr) {
        answer.then();
    }
}

}  // namespace

void ServeControl(const Directions& directions, StopSignal& stop) {
    std::string line;
    bool isEmpty = true;
    bool isSpoilt = false;
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
        char bytes[4096];
        const ssize_t count = ReadLinePart(bytes, sizeof(bytes));
        if (count < 0 && (errno == ENOMEM || errno == ENOBUFS)) {
            (void)poll(nullptr, 0, SHORTAGE_PAUSE_MS);  // that is no end of the input
            continue;
        }
        if (count == 0 && isEmpty) {
            return;  // there is nobody who directs from here, as with </dev/null
        }
        isEmpty = false;
        if (count <= 0) {
            if (count < 0 && errno == EINTR) {
                continue;
            }
            PerformLine(directions, stop, line);  // the last one may lack its end
            stop.Raise(0);
            continue;
        }
        const bool isWhole = bytes[count - 1] == '\n';
        if (!Append(line, bytes, static_cast<size_t>(isWhole ? count - 1 : count))) {
            isSpoilt = true;  // the rest of it is read, and it is answered no
        }
        if (line.size() > LONGEST_LINE) {
            WriteAnswer(stop, "error the line is too long");
            stop.Raise(1);
        } else if (isWhole) {
            if (isSpoilt) {
                WriteText(stop, NO_MEMORY);
            } else {
                PerformLine(directions, stop, line);
            }
            isSpoilt = false;
            line.clear();
        }
    }
}

}  // namespace orvi_sim
