#include "features/director/director.h"

#include <iterator>
#include <utility>

#include "log.h"

namespace orvi_sim {
namespace {

void Set(bool& what, bool value, const char* change) {
    if (std::exchange(what, value) != value) {
        Log("director %s", change);
    }
}

}  // namespace

RequestTable Director::Requests() const {
    // Every director request carries one number, which means nothing here.
    static const RequestRow ROWS[] = {
        // id, name, task, shortest, longest, reply, address, told, handler
        {0x600007, "director create", TASK_DIRECTOR, 4, 4, VERDICT, false, Told::Nobody, HandledBy(&Director::Create)},
        {0x600008, "director remove", TASK_DIRECTOR, 4, 4, VERDICT, false, Told::Nobody, HandledBy(&Director::Remove)},
        {0x600009, "director start", TASK_DIRECTOR, 4, 4, VERDICT, false, Told::Nobody, HandledBy(&Director::Start)},
        {0x60000A, "director stop", TASK_DIRECTOR, 4, 4, VERDICT, false, Told::Nobody, HandledBy(&Director::Stop)},
        {0x60006F, "lock state change", TASK_DIRECTOR, 4, 4, VERDICT, false, Told::Nobody,
         HandledBy(&Director::ChangeLockState)},
    };
    return {ROWS, std::size(ROWS)};
}

void Director::Create(const Request&, Answer& answer) {
    Set(created_, true, "created");
    answer.Done();
}

void Director::Remove(const Request&, Answer& answer) {
    running_ = false;
    Set(created_, false, "removed");
    answer.Done();
}

void Director::Start(const Request&, Answer& answer) {
    created_ = true;
    Set(running_, true, "on");
    answer.Done();
}

void Director::Stop(const Request&, Answer& answer) {
    Set(running_, false, "off");
    answer.Done();
}

void Director::ChangeLockState(const Request& request, Answer& answer) {
    SetLockState(static_cast<int32_t>(request.IntegerAt(0)));
    answer.Done();
}

void Director::SetLockState(int32_t state) {
    Log("lock state %d, was %d", state, std::exchange(lockState_, state));
}

std::vector<Direction> Director::Directions() {
    return {{"lock", [this](const Arguments& a) {
                 SetLockState(static_cast<int32_t>(a[0].number));
                 return Done();
             }}};
}

std::string Director::Describe() const {
    const char* const director = !created_ ? "removed" : running_ ? "on" : "off";
    return std::string("director=") + director + " lock=" + std::to_string(lockState_);
}

}  // namespace orvi_sim
