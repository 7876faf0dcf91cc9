// The board with the real library, in a simulated room.
#include <cstdio>

#include "caption_board.h"
#include "check.h"
#include "orvi/test/room.hpp"

using namespace std::chrono_literals;

namespace {

// The restarted service has a conversation of its own until it is told otherwise.
void AwaitLine(CaptionBoard& board, const std::string& line) {
    size_t known = 0;
    do {
        board.AwaitLines(++known);
    } while (board.Lines()[known - 1] != line);
}

void TestBoard() {
    orvi::test::Room room;
    room.direct("conversation off");
    CaptionBoard board("Monday");
    CHECK(board.Open());
    room.expect("caption.start").with("conference", "Monday").with("report", 1).within(10s);

    room.caption("Ada Lovelace", "Is there tea?");
    board.AwaitLines(1);
    CHECK(board.Lines().back() == "Ada Lovelace: Is there tea?");

    // The board comes back by itself.
    room.restart();
    room.expect("caption.start").within(10s);
    room.caption("Grace Hopper", "There is.");
    AwaitLine(board, "Grace Hopper: There is.");

    CHECK(board.Close());
    room.expect("caption.stop").within(10s);
}

}  // namespace

int main() {
    try {
        TestBoard();
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
