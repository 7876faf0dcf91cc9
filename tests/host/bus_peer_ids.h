// What the handler of the test peer does with a message.
#ifndef ORVI_TESTS_HOST_BUS_PEER_IDS_H
#define ORVI_TESTS_HOST_BUS_PEER_IDS_H

enum BusPeerMessage {
    kNote = 1,         // only told
    kEcho = 2,         // answered with its own payload
    kEchoQuietly = 3,  // the same, not told
    kAnswerNoData = 4,
    kAnswerTwice = 5,
    kAnswerLarge = 6,  // 16 MiB
    kAnswerLater = 7,  // kept for the command "answer"
    kBlock = 8,        // the handler waits for the command "release"
    kBlockThenEcho = 9,
    kCallInside = 10,  // calls where the command "nested" said
    kThrow = 11,
    kEndThread = 12,
    kStopInside = 13,
    kUnregisterInside = 14,
    kExitInside = 15,
    kForkInside = 16,
    kSlow = 17,  // takes 30 ms, or a millisecond for each byte of its payload
    kTellSender = 18
};

// An id of a test's own that is answered like kEcho.
constexpr unsigned kEchoBit = 0x40000000;

#endif
