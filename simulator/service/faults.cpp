#include "service/faults.h"

#include <algorithm>
#include <set>
#include <utility>

namespace orvi_sim {

void Fault::Resize(Payload& payload) const {
    const int64_t size = static_cast<int64_t>(payload.size()) + lengthen;
    payload.resize(static_cast<size_t>(std::max<int64_t>(size, 0)));
}

void Faults::Arm(ArmedFault fault) {
    if (fault.when == ArmedFault::When::Always) {
        armed_.erase(std::remove_if(armed_.begin(), armed_.end(),
                                    [&](const ArmedFault& old) {
                                        return old.id == fault.id && old.part == fault.part &&
                                               old.when == ArmedFault::When::Always &&
                                               old.application == fault.application;
                                    }),
                     armed_.end());
    }
    armed_.push_back(std::move(fault));
}

bool Faults::Happens(ArmedFault& armed) {
    ++armed.seen;
    switch (armed.when) {
        case ArmedFault::When::Always:
        case ArmedFault::When::Once:
            return true;
        case ArmedFault::When::Nth:
            return armed.seen == armed.n;
        case ArmedFault::When::Every:
            return armed.seen % armed.n == 0;
        case ArmedFault::When::Chance:
            return chance_() % 100 < armed.n;  // the standard's distributions differ from library to library
    }
    return false;
}

void Faults::Apply(const ArmedFault& armed, Fault& fault) {
    const Fault& change = armed.fault;
    switch (armed.part) {
        case FaultPart::Way:
            fault.isLost = change.isLost;
            fault.isHeld = change.isHeld;
            break;
        case FaultPart::Time:
            fault.delay = change.delay;
            break;
        case FaultPart::Answer:
            fault.reply = change.reply;
            fault.verdict = change.verdict;
            fault.given = change.given;
            break;
        case FaultPart::Length:
            fault.lengthen = change.lengthen;
            break;
        case FaultPart::Number:
            fault.isDouble = change.isDouble;
            break;
        case FaultPart::Process:
            fault.crash = change.crash;
            break;
    }
}

// Those for some messages go before those for always; of several for the next message the first one takes it.
Fault Faults::Take(uint32_t id, const std::string& application) {
    Fault fault;
    std::set<FaultPart> taken;
    for (const bool isForAlways : {false, true}) {
        for (ArmedFault& armed : armed_) {
            const bool concerns = armed.id == id && (armed.application.empty() || armed.application == application) &&
                                  (armed.when == ArmedFault::When::Always) == isForAlways;
            const bool waits = armed.when == ArmedFault::When::Once && taken.count(armed.part) != 0;
            if (concerns && !waits && Happens(armed) && taken.insert(armed.part).second) {
                ++armed.done;
                Apply(armed, fault);
            }
        }
    }
    armed_.erase(std::remove_if(armed_.begin(), armed_.end(),
                                [](const ArmedFault& armed) {
                                    return (armed.when == ArmedFault::When::Once && armed.seen != 0) ||
                                           (armed.when == ArmedFault::When::Nth && armed.seen >= armed.n);
                                }),
                 armed_.end());
    return fault;
}

bool Faults::Has(uint32_t id) const {
    return std::any_of(armed_.begin(), armed_.end(), [id](const ArmedFault& armed) { return armed.id == id; });
}

void Faults::Reset(uint32_t id) {
    armed_.erase(std::remove_if(armed_.begin(), armed_.end(), [id](const ArmedFault& armed) { return armed.id == id; }),
                 armed_.end());
}

bool Faults::StopHolding(uint32_t id) {
    const auto firstOut = std::remove_if(armed_.begin(), armed_.end(), [id](const ArmedFault& armed) {
        return armed.id == id && armed.part == FaultPart::Way && armed.fault.isHeld;
    });
    const bool hasHeld = firstOut != armed_.end();
    armed_.erase(firstOut, armed_.end());
    return hasHeld;
}

}  // namespace orvi_sim
