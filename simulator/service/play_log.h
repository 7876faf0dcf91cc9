// What happened in the room, a line each in the order in which it did, by the room's time: what a person or a scenario
// directed, what applications asked and were told.
#ifndef ORVI_SIM_SERVICE_PLAY_LOG_H
#define ORVI_SIM_SERVICE_PLAY_LOG_H

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "payload.h"
#include "service/onlooker.h"

namespace orvi_sim {

// Two plays of a scenario with the same seed and the same applications give the same log, whatever the machine: it holds
// no number of a process and nothing of the machine's time. An application is app1, app2, ... in the order of their first
// messages. That one comes and goes is not in it: the announcement travels on its own, before or behind the first request
// and the last. Private contents are masked. All functions on the stage.
class PlayLog : public Onlooker {
 public:
    PlayLog() = default;
    ~PlayLog() override;
    PlayLog(const PlayLog&) = delete;
    PlayLog& operator=(const PlayLog&) = delete;

    // A reader that takes nothing for PATIENCE ends the log, with one line in the service's own: nobody waits for it.
    // So does a disk that is full.
    static constexpr std::chrono::milliseconds PATIENCE{1000};

    // Lines go to this file from now on, which is created or, unless `goesOn`, emptied; "-" is standard output. False
    // with errno when it cannot be written.
    bool Open(const std::string& path, bool goesOn);
    bool IsOpen() const { return descriptor_ >= 0; }
    bool IsBroken() const { return isBroken_; }  // it lacks what came last

    void Directed(Time at, const std::string& line) override;
    void Asked(Time at, const Request& request, const std::string& ending, bool hasFault,
               const Payload* reply) override;
    void Told(Time at, const ApplicationId& application, uint32_t id, const SharedPayload& payload,
              const char* ending) override;

 private:
    void Write(Time at, const std::string& text);
    std::string NameOf(const ApplicationId& application);

    int descriptor_ = -1;
    bool isBroken_ = false;
    std::map<ApplicationId, std::string> names_;
};

}  // namespace orvi_sim

#endif
