// Faults that a test or a person asks for: what happens to messages of one id instead of the usual.
#ifndef ORVI_SIM_SERVICE_FAULTS_H
#define ORVI_SIM_SERVICE_FAULTS_H

#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "payload.h"

namespace orvi_sim {

// What happens to one message. Decided before a request reaches its feature, and before an event reaches an
// application. A request that is answered in the feature's place or lost leaves no trace there.
struct Fault {
    bool isLost = false;                 // as if it had never come
    bool isHeld = false;                 // until it is released
    bool isDouble = false;               // once more
    std::chrono::milliseconds delay{0};  // before it is handled, or sent

    enum class Reply { AsUsual, Refusal, NoData, Given };
    Reply reply = Reply::AsUsual;
    uint8_t verdict = 0;   // of the refusal
    Payload given;         // may be empty, which is a reply of length 0
    int64_t lengthen = 0;  // bytes more, or fewer, than the reply or event has as usual

    enum class Crash { None, Before, After };
    Crash crash = Crash::None;

    bool IsAny() const {
        return isLost || isHeld || isDouble || delay.count() != 0 || reply != Reply::AsUsual || lengthen != 0 ||
               crash != Crash::None;
    }

    // The payload with `lengthen` bytes more or fewer.
    void Resize(Payload& payload) const;
};

// What a fault changes: two that change the same exclude each other.
enum class FaultPart { Way, Time, Answer, Length, Number, Process };

// A fault as it was asked for.
struct ArmedFault {
    uint32_t id = 0;
    FaultPart part = FaultPart::Way;
    Fault fault;
    enum class When { Always, Once, Nth, Every, Chance };
    When when = When::Always;
    uint32_t n = 1;           // of a chance: in a hundred
    std::string application;  // its name on the bus; empty: of all
    std::string words;        // as it was asked for
    uint64_t seen = 0;        // messages since then
    uint64_t done = 0;        // to which it has happened
};

// Of requests and one-way messages, or of events. On the stage.
class Faults {
 public:
    // In the place of one for always that changes the same for the same application.
    void Arm(ArmedFault fault);

    // What the chances are drawn from: the same seed gives the same course.
    void Seed(uint32_t seed) { chance_.seed(seed); }

    // What happens to a message that has come now. Those that happen once are gone with it.
    Fault Take(uint32_t id, const std::string& application);

    bool Has(uint32_t id) const;
    void Reset(uint32_t id);
    bool StopHolding(uint32_t id);  // false when none held
    const std::vector<ArmedFault>& All() const { return armed_; }

 private:
    bool Happens(ArmedFault& armed);
    static void Apply(const ArmedFault& armed, Fault& fault);

    std::mt19937 chance_;
    std::vector<ArmedFault> armed_;  // in the order of arming
};

}  // namespace orvi_sim

#endif
