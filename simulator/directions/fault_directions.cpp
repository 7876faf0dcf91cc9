#include "directions/fault_directions.h"

#include <algorithm>

#include "directions/pushes.h"
#include "directions/words.h"
#include "log.h"
#include "service/events.h"
#include "service/process_end.h"

namespace orvi_sim {
namespace {

const char* const SELECTORS[] = {"--once", "--nth", "--every", "--chance"};

std::string MessageName(const Argument& message) {
    return message.message != nullptr ? std::string(message.message->name) : message.text;
}

bool IsOneWay(const Argument& message) {
    return message.message != nullptr && message.message->direction == orvi_protocol::Direction::OneWay;
}

// When it happens. The reason when the options contradict one another.
std::optional<std::string> ReadWhen(const Arguments& arguments, ArmedFault& armed) {
    std::string given;
    for (const char* selector : SELECTORS) {
        if (arguments.Option(selector) == nullptr) {
            continue;
        }
        if (!given.empty()) {
            return given + " and " + selector + " do not go together";
        }
        given = selector;
    }
    if (given == "--once") {
        armed.when = ArmedFault::When::Once;
    } else if (!given.empty()) {
        armed.when = given == "--nth"     ? ArmedFault::When::Nth
                     : given == "--every" ? ArmedFault::When::Every
                                          : ArmedFault::When::Chance;
        armed.n = arguments.Option(given)->number;
    }
    if (const Argument* const app = arguments.Option("--app")) {
        armed.application = app->text;
    }
    return std::nullopt;
}

// The direction as it could be written again.
std::string WordsOf(const Arguments& arguments) {
    std::vector<std::string> words{arguments.name};
    for (const Argument& argument : arguments.values) {
        if (argument.message != nullptr) {
            words.emplace_back(argument.message->name);
        } else if (!argument.words.empty()) {
            words.insert(words.end(), argument.words.begin(), argument.words.end());
        } else if (argument.isGiven) {
            words.push_back(argument.text);
        }
    }
    for (const auto& [name, argument] : arguments.options) {
        words.push_back(name);
        if (!argument.text.empty()) {
            words.push_back(argument.text);
        }
    }
    return JoinWords(words);
}

}  // namespace

std::vector<Direction> FaultDirections::OnStage() {
    return {
        {"refuse", [this](const Arguments& a) { return Refuse(a); }},
        {"reply", [this](const Arguments& a) { return Reply(a); }},
        {"empty",
         [this](const Arguments& a) {
             return Arm(a, FaultPart::Answer, [](Fault& fault) { fault.reply = Fault::Reply::Given; });
         }},
        {"nodata",
         [this](const Arguments& a) {
             return Arm(a, FaultPart::Answer, [](Fault& fault) { fault.reply = Fault::Reply::NoData; });
         }},
        {"long", [this](const Arguments& a) { return Lengthen(a); }},
        {"short", [this](const Arguments& a) { return Lengthen(a); }},
        {"silent", [this](const Arguments& a) { return Lose(a); }},
        {"drop", [this](const Arguments& a) { return Lose(a); }},
        {"double",
         [this](const Arguments& a) { return Arm(a, FaultPart::Number, [](Fault& fault) { fault.isDouble = true; }); }},
        {"delay",
         [this](const Arguments& a) {
             return Arm(a, FaultPart::Time, [&a](Fault& fault) { fault.delay = a[1].time; });
         }},
        {"hold",
         [this](const Arguments& a) { return Arm(a, FaultPart::Way, [](Fault& fault) { fault.isHeld = true; }); }},
        {"release", [this](const Arguments& a) { return Release(a); }},
        {"crash", [this](const Arguments& a) { return Crash(a); }},
        {"restart",
         [](const Arguments&) {
             return Outcome{true, "", [] {
                                Log("restart, as told");
                                StartAgain();
                            }};
         }},
        {"faults", [this](const Arguments&) { return List(); }},
        {"reset", [this](const Arguments& a) { return Reset(a); }},
        {"reset all", [this](const Arguments&) { return ResetAll(); }},
    };
}

// Why a message cannot have a fault of that kind.
std::optional<std::string> FaultDirections::FaultOfMessage(const Argument& message, FaultPart part) const {
    const std::string name = MessageName(message);
    if (message.isEvent) {
        if (FindEvent(message.number) == nullptr) {
            return name + ": the service sends no such message, see events";
        }
        if (part == FaultPart::Answer) {
            return name + ": an event has no reply";
        }
        if (part == FaultPart::Process) {
            return name + ": a crash comes at what an application asks";
        }
        return std::nullopt;
    }
    const RequestRow* const row = service_.FindRequest(message.number);
    if (row == nullptr) {
        return name + ": applications send no such message";
    }
    if (row->reply == ONE_WAY && (part == FaultPart::Answer || part == FaultPart::Length)) {
        return name + " is one-way and has no reply";
    }
    if (row->reply != ONE_WAY && part == FaultPart::Number) {
        return name + " has one reply: one-way messages and events can come twice";
    }
    return std::nullopt;
}

Outcome FaultDirections::Arm(const Arguments& arguments, FaultPart part, const Change& change) {
    const Argument& message = arguments[0];
    if (const auto reason = FaultOfMessage(message, part)) {
        return Refused(*reason);
    }
    ArmedFault armed;
    if (const auto reason = ReadWhen(arguments, armed)) {
        return Refused(*reason);
    }
    armed.id = message.number;
    armed.part = part;
    armed.words = WordsOf(arguments);
    change(armed.fault);
    FaultsOf(message.isEvent).Arm(std::move(armed));
    return Done();
}

Outcome FaultDirections::Refuse(const Arguments& arguments) {
    const std::string& word = arguments[1].text;
    return Arm(arguments, FaultPart::Answer, [&word](Fault& fault) {
        fault.reply = Fault::Reply::Refusal;
        fault.verdict = word == "busy" ? ORVI_SIM_BUSY : word == "not-ready" ? ORVI_SIM_NOT_READY : ORVI_SIM_MALFORMED;
    });
}

Outcome FaultDirections::Reply(const Arguments& arguments) {
    Payload given;
    if (const auto reason = ReadReply(arguments[0], arguments[1].words, given)) {
        return Refused(*reason);
    }
    return Arm(arguments, FaultPart::Answer, [&given](Fault& fault) {
        fault.reply = Fault::Reply::Given;
        fault.given = given;
    });
}

Outcome FaultDirections::Lengthen(const Arguments& arguments) {
    const int64_t bytes = arguments[1].isGiven ? arguments[1].number : 1;
    return Arm(arguments, FaultPart::Length,
               [&](Fault& fault) { fault.lengthen = arguments.name == "long" ? bytes : -bytes; });
}

Outcome FaultDirections::Lose(const Arguments& arguments) {
    const Argument& message = arguments[0];
    if (const auto reason = FaultOfMessage(message, FaultPart::Way)) {
        return Refused(*reason);
    }
    const bool hasReply = !message.isEvent && !IsOneWay(message);
    if (hasReply != (arguments.name == "silent")) {
        return Refused(MessageName(message) + (hasReply ? " has a reply: silent keeps it from being answered"
                                                        : " has no reply: drop loses it"));
    }
    return Arm(arguments, FaultPart::Way, [](Fault& fault) { fault.isLost = true; });
}

Outcome FaultDirections::Crash(const Arguments& arguments) {
    if (arguments[0].isGiven) {
        const bool isAfter = arguments[1].text == "after";
        return Arm(arguments, FaultPart::Process,
                   [isAfter](Fault& fault) { fault.crash = isAfter ? Fault::Crash::After : Fault::Crash::Before; });
    }
    if (!arguments.options.empty()) {
        return Refused(arguments.options.begin()->first + " needs a MESSAGE");
    }
    return {true, "", [] {
                Log("crash, as told");
                Die();
            }};
}

Outcome FaultDirections::List() {
    std::string list;
    for (const bool isEvent : {false, true}) {
        for (const ArmedFault& armed : FaultsOf(isEvent).All()) {
            list += "\n" + armed.words + ": " + std::to_string(armed.done) + " of " + std::to_string(armed.seen);
        }
    }
    return Done(list.empty() ? "none" : list);
}

Faults& FaultDirections::FaultsOf(bool isEvent) {
    return isEvent ? stage_.EventFaults() : service_.RequestFaults();
}

size_t FaultDirections::LetGo(bool isEvent, uint32_t id) {
    return isEvent ? stage_.ReleaseEvents(id) : service_.Release(id);
}

Outcome FaultDirections::Release(const Arguments& arguments) {
    const Argument& message = arguments[0];
    const bool isEvent = message.isEvent;
    const bool heldNow = FaultsOf(isEvent).StopHolding(message.number);
    const bool holds = isEvent ? stage_.HoldsBackEvents(message.number) : service_.HoldsBack(message.number);
    if (!heldNow && !holds) {
        return Refused(MessageName(message) + " is not held back");
    }
    return Done(std::to_string(LetGo(isEvent, message.number)));
}

// What is held back goes with the fault that it was held back under.
Outcome FaultDirections::Reset(const Arguments& arguments) {
    const Argument& message = arguments[0];
    const bool isEvent = message.isEvent;
    if (!FaultsOf(isEvent).Has(message.number) && LetGo(isEvent, message.number) == 0) {
        return Refused(MessageName(message) + " is as usual already");
    }
    (void)LetGo(isEvent, message.number);
    FaultsOf(isEvent).Reset(message.number);
    return Done();
}

Outcome FaultDirections::ResetAll() {
    for (const bool isEvent : {false, true}) {
        while (!FaultsOf(isEvent).All().empty()) {
            const uint32_t id = FaultsOf(isEvent).All().front().id;
            FaultsOf(isEvent).Reset(id);
        }
    }
    (void)stage_.ReleaseAllEvents();
    (void)service_.ReleaseAll();
    return Done();
}

}  // namespace orvi_sim
