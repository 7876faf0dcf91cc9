// What is compared: the shapes of the library's traffic, and where the two processes run.
#ifndef ORVI_BENCH_SHAPES_H
#define ORVI_BENCH_SHAPES_H

#include <cstdint>

namespace bench {

enum class Kind { kRequest, kOneWay, kEvents };

struct Shape {
    const char* name;
    Kind kind;
    uint32_t size;       // bytes of the message
    uint32_t replySize;  // of a request
    uint32_t burst;      // one-way messages and events of one measurement, whose time is divided by their number
    uint32_t otherUs;    // the client computes for so long before each call; not part of the time of the call
};

inline constexpr Shape kShapes[] = {
    // name, kind, bytes, reply, burst, other work
    {"36 -> 1", Kind::kRequest, 36, 1, 1, 0},          {"496 -> 1", Kind::kRequest, 496, 1, 1, 0},
    {"8 -> 33164", Kind::kRequest, 8, 33164, 1, 0},    {"36 -> 1, 200 us between", Kind::kRequest, 36, 1, 1, 200},
    {"one-way 20880", Kind::kOneWay, 20880, 0, 16, 0}, {"event 288", Kind::kEvents, 288, 0, 64, 0},
};
constexpr uint32_t kShapeCount = sizeof(kShapes) / sizeof(kShapes[0]);

constexpr int kAnyProcessor = -1;

struct Placement {
    const char* name;
    int client;  // processor, of those that this program may use, or kAnyProcessor
    int service;
};

inline constexpr Placement kPlacements[] = {
    {"one core", 0, 0},
    {"free", kAnyProcessor, kAnyProcessor},
    {"two cores", 0, 1},
};
constexpr uint32_t kPlacementCount = sizeof(kPlacements) / sizeof(kPlacements[0]);

}  // namespace bench

#endif
