#include "directions/service_directions.h"

#include <chrono>
#include <sstream>
#include <utility>

#include "directions/pushes.h"
#include "service/events.h"

namespace orvi_sim {
namespace {

using Clock = std::chrono::steady_clock;
using Type = Parameter::Type;

constexpr uint32_t DEFAULT_WAIT_MS = 10000;

uint32_t WaitMs(const Argument& given) {
    return given.isGiven ? given.number : DEFAULT_WAIT_MS;
}

Clock::time_point Deadline(const Argument& given) {
    return Clock::now() + std::chrono::milliseconds(WaitMs(given));
}

Outcome Waited(bool isDone, const Argument& given) {
    return isDone ? Done() : Refused("waited " + std::to_string(WaitMs(given)) + " ms in vain");
}

Outcome ListEvents() {
    size_t count = 0;
    const EventRow* rows = EventTable(count);
    std::ostringstream answer;
    answer << count << std::hex;
    for (size_t i = 0; i < count; ++i) {
        answer << " 0x" << rows[i].id << "=\"" << rows[i].name << '"';
    }
    return Done(answer.str());
}

}  // namespace

// --- The rows ---

std::vector<Direction> ServiceDirections::OnStage() {
    const Parameter id = {"ID", Type::Message};
    const Parameter words = {"WORD", Type::Words, true};
    return {
        {"push",
         {id, words},
         "queue an event for every client",
         [this](const Arguments& a) { return Push(nullptr, a[0], a[1].words); }},
        {"pushto",
         {{"PROCESS", Type::Name}, id, words},
         "queue an event for the client of one process",
         [this](const Arguments& a) { return Push(&a[0].text, a[1], a[2].words); }},
        {"events", {}, "the events that the service knows to send", [](const Arguments&) { return ListEvents(); }},
        {"clients", {}, "the clients with their counts", [this](const Arguments&) { return ListClients(); }},
        {"state", {}, "what the features keep", [this](const Arguments&) { return DescribeAll(); }},
        {"refuse",
         {id, {"not-ready|busy|malformed", Type::Choice}},
         "answer with this verdict",
         [this](const Arguments& a) { return Refuse(a); }},
        {"reply",
         {id, words},
         "answer with this payload",
         [this](const Arguments& a) { return Reply(a, Fault::Reply::Given); }},
        {"empty", {id}, "answer with length 0", [this](const Arguments& a) { return Reply(a, Fault::Reply::Given); }},
        {"nodata", {id}, "answer without data", [this](const Arguments& a) { return Reply(a, Fault::Reply::NoData); }},
        {"silent",
         {id},
         "lose it: not handled, not answered, not sent",
         [this](const Arguments& a) { return Change(a[0], OF_MESSAGES, [](Fault& fault) { fault.isLost = true; }); }},
        {"delay",
         {id, {"MS", Type::Number}},
         "handle or send it later",
         [this](const Arguments& a) { return Delay(a); }},
        {"hold",
         {id},
         "keep it back until it is released",
         [this](const Arguments& a) { return Change(a[0], OF_MESSAGES, [](Fault& fault) { fault.isHeld = true; }); }},
        {"release",
         {id},
         "let what is kept back go, and hold no more",
         [this](const Arguments& a) { return Release(a); }},
        {"reset", {id}, "as usual again", [this](const Arguments& a) { return Reset(a); }},
        {"reset all", {}, "everything as usual again", [this](const Arguments&) { return ResetAll(); }},
    };
}

std::vector<Direction> ServiceDirections::OffStage() {
    const Parameter id = {"ID", Type::Message};
    const Parameter count = {"N", Type::Number};
    const Parameter wait = {"MS", Type::Number, true};
    return {
        {"await clients",
         {count, wait},
         "wait until N clients are known",
         [this](const Arguments& a) { return AwaitClients(a[0].number, a[1]); }},
        {"await request",
         {id, count, wait},
         "wait until N messages with this id have come",
         [this](const Arguments& a) { return AwaitRequest(a[0].number, a[1].number, a[2]); }},
        {"await sent",
         {wait},
         "wait until nothing is queued any more",
         [this](const Arguments& a) { return AwaitSent(a[0]); }},
        {"count", {id}, "how many messages with this id have come", [this](const Arguments& a) { return Count(a); }},
        {"last", {id}, "the payload of the last one", [this](const Arguments& a) { return Count(a); }},
        {"quit",
         {},
         "end; so does the end of the input",
         [this](const Arguments&) {
             stop_.Raise(0);
             return Done();
         }},
    };
}

// --- Events and applications ---

Outcome ServiceDirections::Push(const std::string* process, const Argument& message,
                                const std::vector<std::string>& words) {
    Payload payload;
    if (const auto reason = ReadPush(message.number, words, payload)) {
        return Refused(*reason);
    }
    return Done(std::to_string(stage_.Push(process, message.number, std::move(payload))));
}

Outcome ServiceDirections::ListClients() const {
    Applications& applications = stage_.GetApplications();
    std::string list = std::to_string(applications.AnnouncedCount());
    for (const auto& [application, known] : applications.List()) {
        if (known.isAnnounced) {
            const MailCounts counts = applications.GetMail().Counts(application);
            list += " " + application.process + "/" + known.task + " sent=" + std::to_string(counts.sent) +
                    " failed=" + std::to_string(counts.failed) + " overflowed=" + std::to_string(counts.overflowed) +
                    " queued=" + std::to_string(counts.queued);
        }
    }
    return Done(list);
}

Outcome ServiceDirections::DescribeAll() const {
    std::string all;
    for (const Feature* feature : features_) {
        const std::string one = feature->Describe();
        all += (all.empty() || one.empty() ? "" : " ") + one;
    }
    return Done(all);
}

Outcome ServiceDirections::AwaitClients(uint32_t count, const Argument& waitMs) {
    Stage::Lock lock = stage_.Enter();
    return Waited(stage_.AwaitAnnounced(lock, count, Deadline(waitMs)), waitMs);
}

Outcome ServiceDirections::AwaitRequest(uint32_t id, uint32_t count, const Argument& waitMs) {
    return Waited(service_.GetTraffic().AwaitCount(id, count, Deadline(waitMs)), waitMs);
}

Outcome ServiceDirections::AwaitSent(const Argument& waitMs) {
    return Waited(stage_.GetApplications().GetMail().AwaitSent(Deadline(waitMs)), waitMs);
}

Outcome ServiceDirections::Count(const Arguments& arguments) {
    const Traffic& traffic = service_.GetTraffic();
    const uint32_t id = arguments[0].number;
    return Done(arguments.name == "count" ? std::to_string(traffic.Count(id)) : ToHex(traffic.Last(id)));
}

// --- Faults ---

// Changes the fault of a message. Refused when the message cannot have one of that kind.
Outcome ServiceDirections::Change(const Argument& message, FaultKind kind, const std::function<void(Fault&)>& change) {
    if (message.isEvent) {
        if (FindEvent(message.number) == nullptr) {
            return Refused(message.text + ": the service sends no such message, see events");
        }
        if (kind == OF_REPLIES) {
            return Refused(message.text + ": an event has no reply");
        }
    } else {
        const RequestRow* const row = service_.FindRequest(message.number);
        if (row == nullptr) {
            const bool isEvent = FindEvent(message.number) != nullptr;
            return Refused(message.text + ": applications send no such message" +
                           (isEvent ? "; what the service sends is event:" + message.text : ""));
        }
        if (kind == OF_REPLIES && row->reply == ONE_WAY) {
            return Refused(std::string(row->name) + " is one-way and has no reply");
        }
    }
    change(FaultsOf(message.isEvent).Of(message.number));
    return Done();
}

Outcome ServiceDirections::Reply(const Arguments& arguments, Fault::Reply reply) {
    Payload given;
    if (arguments.values.size() > 1) {
        if (const auto reason = ReadPayload(arguments[1].words, given)) {
            return Refused(*reason);
        }
    }
    return Change(arguments[0], OF_REPLIES, [&](Fault& fault) {
        fault.isLost = false;
        fault.reply = reply;
        fault.given = given;
    });
}

Outcome ServiceDirections::Refuse(const Arguments& arguments) {
    const std::string& word = arguments[1].text;
    return Change(arguments[0], OF_REPLIES, [&](Fault& fault) {
        fault.isLost = false;
        fault.reply = Fault::Reply::Refusal;
        fault.verdict = word == "busy" ? ORVI_SIM_BUSY : word == "not-ready" ? ORVI_SIM_NOT_READY : ORVI_SIM_MALFORMED;
    });
}

Outcome ServiceDirections::Delay(const Arguments& arguments) {
    return Change(arguments[0], OF_MESSAGES,
                  [&](Fault& fault) { fault.delay = std::chrono::milliseconds(arguments[1].number); });
}

// What is held back goes with the fault that it was held back under.
size_t ServiceDirections::LetGo(bool isEvent, uint32_t id) {
    const size_t count = isEvent ? stage_.ReleaseEvents(id) : service_.Release(id);
    FaultsOf(isEvent).Reset(id);
    return count;
}

Faults& ServiceDirections::FaultsOf(bool isEvent) {
    return isEvent ? stage_.EventFaults() : service_.RequestFaults();
}

Outcome ServiceDirections::Release(const Arguments& arguments) {
    const Argument& message = arguments[0];
    if (!FaultsOf(message.isEvent).Find(message.number).isHeld) {
        return Refused(message.text + " is not held back");
    }
    return Done(std::to_string(LetGo(message.isEvent, message.number)));
}

Outcome ServiceDirections::Reset(const Arguments& arguments) {
    const Argument& message = arguments[0];
    if (!FaultsOf(message.isEvent).Has(message.number)) {
        return Refused(message.text + " is as usual already");
    }
    (void)LetGo(message.isEvent, message.number);
    return Done();
}

Outcome ServiceDirections::ResetAll() {
    for (const bool isEvent : {false, true}) {
        for (const uint32_t id : FaultsOf(isEvent).Ids()) {
            (void)LetGo(isEvent, id);
        }
    }
    return Done();
}

}  // namespace orvi_sim
