#include "scenario/player.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "log.h"
#include "service/process_end.h"

namespace orvi_sim {
namespace {

// Where a scenario was that has restarted its service: the room's time in nanoseconds, the count of refused lines, and of
// each line its state; then when each of those that are due is. It travels in the environment, which the next process takes over.
constexpr char PLACE[] = "ORVI_VISION_SIM_PLACE";

}  // namespace

bool Player::GoesOn() {
    return !LeftByLast(PLACE).empty();
}

Player::Player(Stage& stage, const Directions& directions, const Scenario& scenario, StopSignal& stop, bool isEnd)
    : stage_(stage),
      directions_(directions),
      scenario_(scenario),
      stop_(stop),
      isEnd_(isEnd),
      states_(scenario.lines.size(), State::Waits),
      dueAt_(scenario.lines.size()) {}

void Player::Prepare() {
    Timer& timer = stage_.GetTimer();
    timer.SetScale(0);
    timer.Set(Timer::Time(0));
    if (const std::string place = LeftByLast(PLACE); !place.empty()) {
        std::istringstream words(place);
        int64_t time = 0;
        size_t refused = 0;
        std::string done;
        words >> time >> refused >> done;
        timer.Set(Timer::Time(time));
        refused_ = refused;
        for (size_t i = 0; i < std::min(done.size(), states_.size()); ++i) {
            int64_t due = 0;
            if (done[i] == 'd' && words >> due) {
                states_[i] = State::Due;
                dueAt_[i] = Timer::Time(due);
            } else {
                states_[i] = done[i] == '1' ? State::Done : State::Waits;
            }
        }
        (void)unsetenv(PLACE);
        return;
    }
    for (size_t i = 0; i < scenario_.lines.size(); ++i) {
        const ScenarioLine& line = scenario_.lines[i];
        if (!line.on && (line.at.count() != 0 || !directions_.IsOnStage(line.direction))) {
            return;
        }
        if (!line.on) {
            Perform(i);
        }
    }
}

void Player::Start() {
    const Stage::Lock lock = stage_.Enter();
    hasStarted_ = true;
    for (size_t i = 0; i < scenario_.lines.size(); ++i) {
        if (states_[i] == State::Waits && !scenario_.lines[i].on) {
            stage_.GetTimer().StandingAt(scenario_.lines[i].at, [this, i] { Perform(i); });
        } else if (states_[i] == State::Due) {
            stage_.GetTimer().StandingAt(dueAt_[i], [this, i] { Perform(i); });
        }
    }
    // All may be done by now, before the time goes or by the restart that was the last line.
    stage_.GetTimer().StandingAt(stage_.GetTimer().Now(), [this] { EndWhenPlayed(); });
}

void Player::OnAsked(const Request& request) {
    for (size_t i = 0; i < scenario_.lines.size(); ++i) {
        const ScenarioLine& line = scenario_.lines[i];
        if (states_[i] == State::Waits && line.on == request.id) {
            states_[i] = State::Due;
            dueAt_[i] = stage_.GetTimer().Now() + line.at;
            stage_.GetTimer().StandingAt(dueAt_[i], [this, i] { Perform(i); });
        }
    }
}

void Player::Perform(size_t index) {
    const ScenarioLine& line = scenario_.lines[index];
    const Directions::Answer answer = directions_.Perform(line.direction);
    if (answer.text.compare(0, 2, "ok") != 0) {
        Log("%s:%zu: %s: %s", scenario_.file.c_str(), line.number, line.direction.c_str(), answer.text.c_str());
        if (stop_.Raised()) {
            return;
        }
        ++refused_;
    }
    {
        const Stage::Lock lock = stage_.Enter();
        states_[index] = State::Done;
    }
    if (answer.then != nullptr) {  // this process ends here, and the next one may have nothing left to play
        KeepPlace();
        answer.then();
    } else {
        EndWhenPlayed();
    }
}

void Player::EndWhenPlayed() {
    {
        const Stage::Lock lock = stage_.Enter();
        if (!hasStarted_ || hasEnded_ || !IsPlayed()) {
            return;
        }
        hasEnded_ = true;
    }
    if (stage_.GetTimer().Pace() == "max") {
        stage_.GetTimer().SetScale(1);  // what goes on in the room is not to race on for ever
    }
    Log("%s has been played, %zu lines answered no", scenario_.file.c_str(), refused_.load());
    if (isEnd_) {
        stop_.Raise(0);
    }
}

bool Player::IsPlayed() const {
    bool hasTimes = false;
    bool isAllDone = true;
    for (size_t i = 0; i < states_.size(); ++i) {
        const bool isTimed = !scenario_.lines[i].on;
        hasTimes = hasTimes || isTimed;
        if (states_[i] == State::Due || (isTimed && states_[i] != State::Done)) {
            return false;
        }
        isAllDone = isAllDone && states_[i] == State::Done;
    }
    return hasTimes || isAllDone;
}

void Player::KeepPlace() const {
    const std::string begun = [this] {
        const Stage::Lock lock = stage_.Enter();
        std::string text;
        for (const State state : states_) {
            text += static_cast<char>(state);
        }
        for (size_t i = 0; i < states_.size(); ++i) {
            text += states_[i] == State::Due ? " " + std::to_string(dueAt_[i].count()) : "";
        }
        return text;
    }();
    const std::string place =
        std::to_string(stage_.GetTimer().Now().count()) + " " + std::to_string(refused_.load()) + " " + begun;
    LeaveForNext(PLACE, place);
}

}  // namespace orvi_sim
