// What orvi-ai does without a function of its own in the library: watch, wait, lists.
#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "calls.h"
#include "typed_words.h"

namespace orvi_ai {
namespace {

using orvi_protocol::AllMessages;
using orvi_protocol::Field;
using orvi_protocol::FindMessage;
using orvi_protocol::JsonString;
using orvi_protocol::Message;

bool IsEvent(const Message& message) {
    return !orvi_protocol::ToService(message.direction);
}

// Names of events, or the beginning of some and '*'. False, with the reason, when one stands for none.
bool CheckEventNames(const std::vector<std::string>& names, std::string& reason) {
    for (const std::string& name : names) {
        const auto& all = AllMessages();
        const bool isKnown = std::any_of(all.begin(), all.end(), [&name](const Message* message) {
            return IsEvent(*message) && EventFilter{{name}, {}}.Matches({message, {}});
        });
        if (!isKnown) {
            reason = "there is no event '" + orvi_protocol::Printable(name) + "': see orvi-ai messages";
            return false;
        }
    }
    return true;
}

// FIELD=VALUE words to settings. False, with the reason, when an event that is meant has no such field or the field no
// such value.
bool ReadSettings(const std::vector<std::string>& words, EventFilter& filter, std::string& reason) {
    for (const std::string& word : words) {
        const size_t equals = word.find('=');
        if (equals == std::string::npos) {
            reason = "'" + orvi_protocol::Printable(word) + "' is no FIELD=VALUE";
            return false;
        }
        filter.values.push_back({word.substr(0, equals), word.substr(equals + 1)});
        bool isKnown = false;
        for (const Message* message : AllMessages()) {
            std::string bytes;
            isKnown = isKnown ||
                      (IsEvent(*message) && EventFilter{filter.names, {}}.Matches({message, {}}) &&
                       Encode(message->payload, {filter.values.back()}, bytes, reason, orvi_protocol::Check::Width));
        }
        if (!isKnown) {
            return false;
        }
    }
    return true;
}

// Whatever the values of their fields.
bool WantsAny(const EventFilter& filter, std::initializer_list<const char*> names) {
    return std::any_of(names.begin(), names.end(), [&filter](const char* name) {
        return EventFilter{filter.names, {}}.Matches({FindMessage(name), {}});
    });
}

// Makes the service send what the filter wants. A service that has restarted has forgotten all of it.
int Subscribe(Session& session, const EventFilter& filter, uint32_t rate) {
    if (WantsAny(filter, {"caption.line", "caption.switch", "caption.speaker"}) &&
        OrviAiSrvCaptionInit(&Events::OnCaption) != 0) {
        return -1;
    }
    if (!WantsAny(filter, {"face.event"})) {
        return 0;
    }
    session.DestroyDetectors();
    void* detector = nullptr;
    if (OrviAiSrvCreateFaceDetector(&detector, 0, static_cast<int>(rate), 1, &Events::OnFace) != 0) {
        return -1;
    }
    session.Keep("", detector);
    return OrviAiSrvStartFaceDetector(detector);
}

std::string BoundsOf(const Field& field) {
    std::string text;
    for (const orvi_protocol::Word& word : field.words) {
        text += (text.empty() ? "" : "|") + std::string(word.word);
    }
    const bool isBounded = field.most - field.least != UINT32_MAX && field.most - field.least != UINT8_MAX;
    if (text.empty() && field.type == orvi_protocol::Type::Number && isBounded) {
        text = std::to_string(field.least) + ".." + std::to_string(field.most);
    }
    return text;
}

const char* KindOf(const Field& field) {
    switch (field.type) {
        case orvi_protocol::Type::Number:
            return "number";
        case orvi_protocol::Type::Flag:
            return "flag";
        case orvi_protocol::Type::Text:
            return "text";
        case orvi_protocol::Type::Record:
            return "record";
        default:
            return "bytes";
    }
}

// A line a field, those of records below with an indentation.
void AddFields(const orvi_protocol::Record& record, const std::string& indent, std::string& text) {
    for (const Field& field : record.fields) {
        if (field.type == orvi_protocol::Type::Reserved) {
            continue;
        }
        if (field.name.empty()) {
            AddFields(*field.record, indent, text);
            continue;
        }
        const std::string name = indent + std::string(field.name) + (field.isList ? "[]" : "");
        std::string notes(field.meaning);
        notes += field.unit.empty() ? "" : ", " + std::string(field.unit);
        notes += BoundsOf(field).empty() ? "" : ", " + BoundsOf(field);
        notes += field.isPrivate ? ", private" : "";
        char line[400];
        std::snprintf(line, sizeof(line), "%-18s %-7s %s\n", name.c_str(), KindOf(field), notes.c_str());
        text += line;
        if (field.record != nullptr) {
            AddFields(*field.record, indent + "  ", text);
        }
    }
}

void DescribeMessage(const Message& message) {
    std::string text = std::string(message.name) + ": " + std::string(message.meaning) + "\n";
    char line[200];
    std::snprintf(line, sizeof(line), "  %s 0x%06X %s %s\n", std::string(DirectionWord(message.direction)).c_str(),
                  message.id, std::string(message.task).c_str(), std::string(message.function).c_str());
    text += line;
    for (const orvi_protocol::Record* record : {message.payload, message.reply}) {
        if (record != nullptr) {
            text += record == message.payload ? "payload:\n" : "reply:\n";
            AddFields(*record, "  ", text);
        }
    }
    std::fputs(text.c_str(), stdout);
}

}  // namespace

Outcome Watch(Session& session, const Call& call) {
    Outcome outcome;
    if (!CheckEventNames(call.words, outcome.reason)) {
        outcome.result = USAGE;
        return outcome;
    }
    const EventFilter filter{call.words, {}};
    EventFilter restarts = filter;
    if (!restarts.names.empty()) {
        restarts.names.emplace_back("bus.start");
    }
    Events::PrintTo(&session.Out(), filter);
    if (Subscribe(session, filter, call.rate.value_or(1)) != 0) {
        outcome.result = FAILED;
        outcome.reason = "the service does not send captions or faces";
        return outcome;
    }
    std::optional<Clock::time_point> deadline;
    if (call.duration) {
        deadline = Clock::now() + *call.duration;
    }
    for (uint32_t seen = 0; !call.count || seen < *call.count;) {
        Event event{};
        const WaitEnd end = Events::Next(restarts, deadline, &event);
        if (end == WaitEnd::OutOfTime && call.count) {
            outcome.result = FAILED;
            outcome.reason = "out of time: " + std::to_string(seen) + " of " + std::to_string(*call.count) + " events";
        }
        if (end == WaitEnd::OutOfTime || end == WaitEnd::Interrupted) {
            break;
        }
        if (end == WaitEnd::Arrived) {
            seen += filter.Matches(event) ? 1 : 0;
            if (event.message->name == "bus.start" &&
                (!session.Announce() || Subscribe(session, filter, call.rate.value_or(1)) != 0)) {
                session.Out().Error("the service has started again and does not answer");
            }
        }
    }
    return outcome;
}

Outcome Wait(Session& session, const Call& call) {
    Outcome outcome;
    EventFilter filter{{call.words[0]}, {}};
    if (!CheckEventNames(filter.names, outcome.reason) ||
        !ReadSettings({call.words.begin() + 1, call.words.end()}, filter, outcome.reason)) {
        outcome.result = USAGE;
        return outcome;
    }
    outcome.reason.clear();
    if (!session.IsScript()) {
        Events::PrintTo(&session.Out(), filter);
        if (Subscribe(session, filter, 1) != 0) {
            outcome.result = FAILED;
            outcome.reason = "the service does not send captions or faces";
            return outcome;
        }
    }
    std::optional<Clock::time_point> deadline;
    if (call.within) {
        deadline = Clock::now() + *call.within;
    }
    switch (Events::Next(filter, deadline)) {
        case WaitEnd::Arrived:
            return outcome;
        case WaitEnd::ServiceGone:
            outcome.result = NOBODY_THERE;
            outcome.reason = "the service has ended";
            return outcome;
        case WaitEnd::OutOfTime:
        case WaitEnd::Interrupted:
            break;
    }
    outcome.result = FAILED;
    outcome.reason = "no " + call.words[0] + " came";
    return outcome;
}

Outcome Sleep(Session&, const Call& call) {
    Outcome outcome;
    const std::optional<std::chrono::milliseconds> time = ParseTime(call.words[0]);
    if (!time) {
        outcome.result = USAGE;
        outcome.reason = "'" + call.words[0] + "' is no time: 500ms, 2s, 1m";
        return outcome;
    }
    outcome.result = Events::Pause(Clock::now() + *time) == WaitEnd::Interrupted ? FAILED : DONE;
    return outcome;
}

Outcome ListCommands(Session& session, const Call&) {
    for (const Command& command : Commands()) {
        if (session.Out().isJson) {
            std::printf("{\"command\":%s,\"functions\":%s}\n", JsonString(command.name).c_str(),
                        JsonString(command.functions).c_str());
        } else {
            std::printf("%-22s %s\n", command.name, *command.functions != '\0' ? command.functions : "-");
        }
    }
    return {};
}

Outcome ListMessages(Session& session, const Call& call) {
    Outcome outcome;
    const std::string wanted = call.words.empty() ? "" : call.words[0];
    if (const Message* const message = orvi_protocol::FindMessageByWord(wanted); message != nullptr) {
        DescribeMessage(*message);
        return outcome;
    }
    bool isFound = false;
    for (const Message* message : AllMessages()) {
        if (!wanted.empty() && message->name.substr(0, message->name.find('.')) != wanted) {
            continue;
        }
        isFound = true;
        const std::string name(message->name);
        const std::string direction(DirectionWord(message->direction));
        const std::string meaning(message->meaning);
        if (session.Out().isJson) {
            std::printf("{\"message\":%s,\"id\":%u,\"direction\":%s,\"meaning\":%s}\n", JsonString(name).c_str(),
                        message->id, JsonString(direction).c_str(), JsonString(meaning).c_str());
        } else {
            std::printf("%-22s 0x%06X  %-9s  %s\n", name.c_str(), message->id, direction.c_str(), meaning.c_str());
        }
    }
    if (!isFound) {
        outcome.result = USAGE;
        outcome.reason = "there is no message '" + orvi_protocol::Printable(wanted) + "': see orvi-ai messages";
    }
    return outcome;
}

}  // namespace orvi_ai
