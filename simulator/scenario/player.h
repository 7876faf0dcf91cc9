// Plays a scenario: its lines become directions when they are due.
#ifndef ORVI_SIM_SCENARIO_PLAYER_H
#define ORVI_SIM_SCENARIO_PLAYER_H

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

#include "directions/directions.h"
#include "scenario/scenario.h"
#include "service/service.h"
#include "service/stage.h"

namespace orvi_sim {

// The room's time stands while a line is performed: one that waits, as `await request` does, is where the scenario and
// the applications meet. A line that is answered no is told in the log, counts, and the next one follows. One that the
// service's end cuts short is told, and does not count.
class Player : public RequestListener {
 public:
    // All outlive the object's last line, which the stage's end comes before. A scenario that `isEnd` raises `stop` with 0
    // when it has been played, but for what waits for messages that have not come.
    Player(Stage& stage, const Directions& directions, const Scenario& scenario, StopSignal& stop, bool isEnd);

    // What the scenario begins with, up to the first line that is due later or waits for something. The room's time
    // stands, so that this comes before anything that an application asks. Before the service starts.
    void Prepare();

    // The rest at its times; the caller lets the time go. After a restart that the scenario itself has directed it goes
    // on where it was.
    void Start();
    static bool GoesOn();  // such a restart has brought this process about

    void OnAsked(const Request& request) override;

    size_t RefusedCount() const { return refused_.load(); }

 private:
    void Perform(size_t index);
    void EndWhenPlayed();
    bool IsPlayed() const;
    void KeepPlace() const;

    Stage& stage_;
    const Directions& directions_;
    const Scenario& scenario_;
    StopSignal& stop_;
    const bool isEnd_;
    enum class State : char { Waits = '0', Due = 'd', Done = '1' };
    std::vector<State> states_;       // of the lines. On the stage
    std::vector<Timer::Time> dueAt_;  // of the lines that are State::Due. On the stage
    bool hasStarted_ = false;         // on the stage; what Prepare performs ends nothing
    bool hasEnded_ = false;           // on the stage
    std::atomic<size_t> refused_{0};
};

}  // namespace orvi_sim

#endif
