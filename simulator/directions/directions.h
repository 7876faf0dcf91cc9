// The vocabulary with its handlers: finds the row of a line, checks its words, performs it.
#ifndef ORVI_SIM_DIRECTIONS_DIRECTIONS_H
#define ORVI_SIM_DIRECTIONS_DIRECTIONS_H

#include <map>
#include <string>
#include <vector>

#include "directions/direction.h"
#include "service/stage.h"

namespace orvi_sim {

class Directions {
 public:
    explicit Directions(Stage& stage);  // outlives the object
    Directions(const Directions&) = delete;
    Directions& operator=(const Directions&) = delete;

    // Those of features are performed on the stage; those of the service enter it where they need it, as some wait.
    void AddOnStage(std::vector<Direction> directions);
    void Add(std::vector<Direction> directions);

    // Ends the program unless each row of the vocabulary has its one handler.
    void Check() const;

    // What a line has come to: "ok", "ok ..." or "error ...", maybe in several lines, and what follows once that has been
    // told; null for nothing.
    struct Answer {
        std::string text;
        void (*then)();
    };

    // Whether a line is one of the room: of the others some wait.
    bool IsOnStage(const std::string& line) const;

    // Carries out one line. Any number of threads may call it;
    // the lines of one caller follow one another.
    Answer Perform(const std::string& line) const;  // throws nothing

 private:
    struct Entry {
        Direction direction;
        bool isOnStage;
    };

    Answer PerformLine(const std::string& line) const;

    Stage& stage_;
    std::map<std::string, Entry> entries_;
};

}  // namespace orvi_sim

#endif
