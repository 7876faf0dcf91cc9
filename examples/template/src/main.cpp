// caption-board CONFERENCE LINES: prints so many lines of what is said.
#include <cstdio>
#include <cstdlib>

#include "caption_board.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: caption-board CONFERENCE LINES\n");
        return 2;
    }
    CaptionBoard board(argv[1]);
    if (!board.Open()) {
        return 1;
    }
    board.AwaitLines(std::strtoul(argv[2], nullptr, 10));
    for (const std::string& line : board.Lines()) {
        std::printf("%s\n", line.c_str());
    }
    return board.Close() ? 0 : 1;
}
