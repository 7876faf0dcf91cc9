// The table of all directions: finds the row of a line, checks its words against the parameters, performs it.
#ifndef ORVI_SIM_DIRECTIONS_DIRECTIONS_H
#define ORVI_SIM_DIRECTIONS_DIRECTIONS_H

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
    void AddOnStage(std::vector<Direction> rows);
    void Add(std::vector<Direction> rows);

    // Carries out one line: "ok", "ok ..." or "error ...". The lines of one caller follow one another.
    std::string Perform(const std::string& line) const;

    std::string Help() const;  // a line each

 private:
    struct Row {
        Direction direction;
        bool isOnStage;
    };

    const Row* Find(const std::string& line, size_t& at) const;
    Outcome HelpOn(const std::string& name) const;

    Stage& stage_;
    std::vector<Row> rows_;
};

}  // namespace orvi_sim

#endif
