#include "scenario/player.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "log.h"

namespace orvi_sim {
namespace {

// Where a scenario was that has restarted its service: the room's time in nanoseconds, the count of refused lines, and of
// each line whether it had begun. It travels in the environment, which the next process takes over.
constexpr char PLACE[] = "ORVI_VISION_SIM_PLACE";

}  // namespace

bool Player::GoesOn() {
    return std::getenv(PLACE) != nullptr;
}

Player::Player(Stage& stage, const Directions& directions, const Scenario& scenario, StopSignal* atEnd)
    : stage_(stage),
      directions_(directions),
      scenario_(scenario),
      atEnd_(atEnd),
      states_(scenario.lines.size(), State::Waits) {}

void Player::Prepare() {
    Timer& timer = stage_.GetTimer();
    timer.SetScale(0);
    timer.Set(Timer::Time(0));
    if (const char* const place = std::getenv(PLACE)) {
        std::istringstream words(place);
        int64_t time = 0;
        size_t refused = 0;
        std::string done;
        words >> time >> refused >> done;
        timer.Set(Timer::Time(time));
        refused_ = refused;
        for (size_t i = 0; i < std::min(done.size(), states_.size()); ++i) {
            states_[i] = done[i] == '1' ? State::Done : State::Waits;
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
    for (size_t i = 0; i < scenario_.lines.size(); ++i) {
        if (states_[i] == State::Waits && !scenario_.lines[i].on) {
            stage_.GetTimer().StandingAt(scenario_.lines[i].at, [this, i] { Perform(i); });
        }
    }
}

void Player::OnAsked(const Request& request) {
    for (size_t i = 0; i < scenario_.lines.size(); ++i) {
        const ScenarioLine& line = scenario_.lines[i];
        if (states_[i] == State::Waits && line.on == request.id) {
            states_[i] = State::Due;
            stage_.GetTimer().StandingAt(stage_.GetTimer().Now() + line.at, [this, i] { Perform(i); });
        }
    }
}

void Player::Perform(size_t index) {
    const ScenarioLine& line = scenario_.lines[index];
    const Directions::Answer answer = directions_.Perform(line.direction);
    if (answer.text.compare(0, 2, "ok") != 0) {
        ++refused_;
        Log("%s:%zu: %s: %s", scenario_.file.c_str(), line.number, line.direction.c_str(), answer.text.c_str());
    }
    bool isPlayed = false;
    {
        const Stage::Lock lock = stage_.Enter();
        states_[index] = State::Done;
        isPlayed = IsPlayed();
    }
    if (isPlayed) {
        if (stage_.GetTimer().Pace() == "max") {
            stage_.GetTimer().SetScale(1);  // what goes on in the room is not to race on for ever
        }
        Log("%s has been played, %zu lines answered no", scenario_.file.c_str(), refused_.load());
        if (atEnd_ != nullptr && answer.then == nullptr) {
            atEnd_->Raise(0);
        }
    }
    if (answer.then != nullptr) {
        KeepPlace();
        answer.then();
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
            text += state == State::Done ? '1' : '0';
        }
        return text;
    }();
    const std::string place =
        std::to_string(stage_.GetTimer().Now().count()) + " " + std::to_string(refused_.load()) + " " + begun;
    (void)setenv(PLACE, place.c_str(), 1);
}

}  // namespace orvi_sim
