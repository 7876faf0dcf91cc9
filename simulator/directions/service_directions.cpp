#include "directions/service_directions.h"

#include <chrono>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>

#include "directions/pushes.h"
#include "directions/words.h"
#include "service/events.h"

namespace orvi_sim {
namespace {

using orvi_protocol::AllMessages;
using orvi_protocol::Message;

constexpr std::chrono::milliseconds DEFAULT_WAIT{10000};

std::chrono::milliseconds WaitOf(const Argument& given) {
    return given.isGiven ? given.time : DEFAULT_WAIT;
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

Outcome ListMessages(const Argument& pattern) {
    const std::string& text = pattern.text;
    const bool isPrefix = !text.empty() && text.back() == '*';
    std::string list;
    for (const Message* message : AllMessages()) {
        const std::string name(message->name);
        const bool fits = isPrefix ? name.compare(0, text.size() - 1, text, 0, text.size() - 1) == 0
                                   : !pattern.isGiven || name == text;
        if (fits) {
            std::string line = "\n" + name;
            line.resize(28, ' ');
            list += line + std::string(DirectionWord(message->direction)) + ": " + std::string(message->meaning);
        }
    }
    return list.empty() ? Refused("there is nothing like '" + text + "'; caption.* tells those of captions")
                        : Done(list);
}

}  // namespace

std::vector<Direction> ServiceDirections::OnStage() {
    return {
        {"clock", [this](const Arguments&) { return TellClock(); }},
        {"clock scale", [this](const Arguments& a) { return SetPace(a[0]); }},
        {"time", [this](const Arguments& a) { return SetTime(a[0].number); }},
        {"push", [this](const Arguments& a) { return Push(a); }},
        {"clients", [this](const Arguments&) { return ListClients(); }},
        {"state", [this](const Arguments&) { return DescribeAll(); }},
        {"service status",
         [this](const Arguments& a) {
             constexpr uint32_t SERVICE_STATUS = 0x600012;
             return Done(std::to_string(stage_.Push(nullptr, SERVICE_STATUS, IntegerPayload(a[0].number))));
         }},
    };
}

std::vector<Direction> ServiceDirections::OffStage() {
    return {
        {"clock step", [this](const Arguments& a) { return Step(a[0].time); }},
        {"events", [](const Arguments&) { return ListEvents(); }},
        {"messages", [](const Arguments& a) { return ListMessages(a[0]); }},
        {"await clients", [this](const Arguments& a) { return AwaitClients(a); }},
        {"await request", [this](const Arguments& a) { return AwaitRequest(a); }},
        {"await sent", [this](const Arguments& a) { return AwaitSent(a); }},
        {"count", [this](const Arguments& a) { return Count(a); }},
        {"last", [this](const Arguments& a) { return Count(a); }},
        {"view",
         [this](const Arguments&) {
             return viewAddress_.empty() ? Refused("nobody is shown the room: start orvi-vision-sim with --view")
                                         : Done(viewAddress_);
         }},
        {"quit",
         [this](const Arguments&) {
             stop_.Raise(0);
             return Done();
         }},
    };
}

Outcome ServiceDirections::Push(const Arguments& arguments) {
    const Argument& message = arguments[0];
    Payload payload;
    if (const auto reason = ReadPush(message, arguments[1].words, arguments.Option("--raw") != nullptr, payload)) {
        return Refused(*reason);
    }
    const Argument* const app = arguments.Option("--app");
    return Done(std::to_string(stage_.Push(app != nullptr ? &app->text : nullptr, message.number, std::move(payload))));
}

Outcome ServiceDirections::TellClock() const {
    const std::string pace = stage_.GetTimer().Pace();
    return Done(TimeText(stage_.SinceStart()) + (pace == "stands" ? ", stands" : ", pace " + pace));
}

Outcome ServiceDirections::SetPace(const Argument& pace) {
    if (pace.text == "max") {
        stage_.GetTimer().SetJumping();
    } else {
        stage_.GetTimer().SetScale(pace.number);
    }
    return Done();
}

Outcome ServiceDirections::Step(std::chrono::milliseconds time) {
    if (stage_.GetTimer().IsOwnThread()) {
        return Refused("a scenario is what happens in its time, and cannot step it");
    }
    return stage_.GetTimer().Step(time) ? TellClock() : Refused("the clock was told otherwise meanwhile");
}

// Today's, in universal time.
Outcome ServiceDirections::SetTime(uint32_t second) {
    constexpr uint32_t DAY = 24 * 3600;
    stage_.SetTimeOfDay(stage_.TimeOfDay() / DAY * DAY + second);
    return Done();
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

Outcome ServiceDirections::Waited(bool isDone, const Argument& given) const {
    if (!isDone && stop_.Raised()) {
        return Refused("the service ends, and the wait with it");
    }
    return isDone ? Done() : Refused("waited " + TimeText(WaitOf(given)) + " in vain");
}

Outcome ServiceDirections::AwaitClients(const Arguments& arguments) {
    Stage::Lock lock = stage_.Enter();
    return Waited(
        stage_.AwaitAnnounced(lock, arguments[0].number, std::chrono::steady_clock::now() + WaitOf(arguments[1])),
        arguments[1]);
}

Outcome ServiceDirections::AwaitRequest(const Arguments& arguments) {
    const auto deadline = std::chrono::steady_clock::now() + WaitOf(arguments[2]);
    return Waited(service_.GetTraffic().AwaitCount(arguments[0].number, arguments[1].number, deadline), arguments[2]);
}

Outcome ServiceDirections::AwaitSent(const Arguments& arguments) {
    return Waited(stage_.GetApplications().GetMail().AwaitSent(std::chrono::steady_clock::now() + WaitOf(arguments[0])),
                  arguments[0]);
}

Outcome ServiceDirections::Count(const Arguments& arguments) {
    const Traffic& traffic = service_.GetTraffic();
    const uint32_t id = arguments[0].number;
    return Done(arguments.name == "count" ? std::to_string(traffic.Count(id)) : ToHex(traffic.Last(id)));
}

}  // namespace orvi_sim
