#include "directions/journal_directions.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "directions/wanted.h"
#include "directions/words.h"
#include "payload.h"
#include "value.h"

namespace orvi_sim {
namespace {

using orvi_protocol::Decoded;
using orvi_protocol::FindMessage;
using orvi_protocol::Message;
using orvi_protocol::Value;

constexpr size_t WIDTH = 300;     // of a line
constexpr size_t MOST_LINES = 8;  // of what came instead

std::string IdText(uint32_t id) {
    if (const Message* const message = FindMessage(id, true)) {
        return std::string(message->name);
    }
    char number[16];
    std::snprintf(number, sizeof(number), "%#x", id);
    return number;
}

Decoded DecodeEntry(const Traffic::Entry& entry) {
    const Message* const message = FindMessage(entry.id, true);
    return orvi_protocol::Decode(message != nullptr ? message->payload : nullptr, entry.payload.data(),
                                 entry.payload.size());
}

// "12.034 ai_vpp4711 caption.start answered conference="C" ..."
std::string LineOf(const Traffic::Entry& entry, bool isRevealed) {
    char time[32];
    const auto at = static_cast<long long>(entry.at.count());
    std::snprintf(time, sizeof(time), "%lld.%03lld ", at / 1000, at % 1000);
    orvi_protocol::Style style;
    style.reveal = isRevealed;
    const std::string fields = orvi_protocol::ToLine(DecodeEntry(entry), style, WIDTH);
    return time + (entry.application.empty() ? std::string("?") : entry.application) + " " + IdText(entry.id) + ": " +
           entry.ending + (fields.empty() ? "" : " " + fields);
}

// caption.start, caption.*, or an id.
bool IsPattern(const std::string& pattern, uint32_t id) {
    const std::string name = IdText(id);
    if (!pattern.empty() && pattern.back() == '*') {
        return name.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0;
    }
    return name == pattern || ParseNumber(pattern) == id;
}

// A pattern that no message can have would find nothing for ever.
std::optional<std::string> FaultOfPattern(const std::string& pattern) {
    const auto& all = orvi_protocol::AllMessages();
    const bool isKnown = std::any_of(all.begin(), all.end(), [&pattern](const Message* message) {
        return ToService(message->direction) && IsPattern(pattern, message->id);
    });
    if (isKnown || ParseNumber(pattern)) {
        return std::nullopt;
    }
    return "applications send nothing like '" + pattern + "', see messages";
}

bool Is(const Value& value, const std::string& wanted) {
    for (const orvi_protocol::Word& word : value.field->words) {
        if (word.word == wanted) {
            return word.number == value.number;
        }
    }
    if (value.field->type != orvi_protocol::Type::Number && value.field->type != orvi_protocol::Type::Flag) {
        return value.bytes == wanted;
    }
    const bool isNegative = !wanted.empty() && wanted[0] == '-';
    const auto number = ParseNumber(isNegative ? wanted.substr(1) : wanted);
    return number && value.number == (isNegative ? -int64_t{*number} : int64_t{*number});
}

bool HasAll(const Traffic::Entry& entry, const std::vector<Wanted>& wanted) {
    const Decoded decoded = DecodeEntry(entry);
    return std::all_of(wanted.begin(), wanted.end(), [&decoded](const Wanted& one) {
        const Value* const value = orvi_protocol::FindValue(decoded.values, one.path);
        return value != nullptr && Is(*value, one.value);
    });
}

}  // namespace

std::vector<Direction> JournalDirections::OffStage() {
    return {
        {"journal", [this](const Arguments& a) { return Journal(a); }},
        {"mark",
         [this](const Arguments&) {
             mark_ = traffic_.LastNumber();
             return Done();
         }},
        {"expect", [this](const Arguments& a) { return Expect(a, true); }},
        {"expect no", [this](const Arguments& a) { return Expect(a, false); }},
    };
}

Outcome JournalDirections::Journal(const Arguments& arguments) const {
    const Argument* const app = arguments.Option("--app");
    const Argument* const most = arguments.Option("--last");
    if (arguments[0].isGiven) {
        if (const auto reason = FaultOfPattern(arguments[0].text)) {
            return Refused(*reason);
        }
    }
    std::vector<std::string> lines;
    for (const Traffic::Entry& entry : traffic_.Behind(0)) {
        if ((app == nullptr || app->text == entry.application) &&
            (!arguments[0].isGiven || IsPattern(arguments[0].text, entry.id))) {
            lines.push_back(LineOf(entry, arguments.Option("--reveal") != nullptr));
        }
    }
    const size_t first = most != nullptr && most->number < lines.size() ? lines.size() - most->number : 0;
    std::string text;
    for (size_t i = first; i < lines.size(); ++i) {
        text += "\n" + lines[i];
    }
    return Done(text.empty() ? "nothing" : text);
}

Outcome JournalDirections::Expect(const Arguments& arguments, bool isWanted) const {
    const Argument& asked = arguments[0];
    if (asked.isEvent || asked.message == nullptr) {
        return Refused(asked.text + ": applications send no such message, see messages");
    }
    std::vector<Wanted> wanted;
    if (const auto reason = ReadWanted(*asked.message, arguments[1].words, wanted)) {
        return Refused(*reason);
    }
    const Argument* const app = arguments.Option("--app");
    const Argument* const within = arguments.Option("--within");
    const bool isRevealed = arguments.Option("--reveal") != nullptr;
    const auto deadline =
        std::chrono::steady_clock::now() + (within != nullptr ? within->time : std::chrono::milliseconds(0));
    uint64_t seen = mark_;
    std::vector<std::string> others;
    for (;;) {
        for (const Traffic::Entry& entry : traffic_.Behind(seen)) {
            seen = entry.number;
            const bool isIt = entry.id == asked.number && (app == nullptr || app->text == entry.application);
            if (isIt && HasAll(entry, wanted)) {
                const std::string line = LineOf(entry, isRevealed);
                return isWanted ? Done("yes " + line) : Refused("no, it came: " + line);
            }
            others.push_back(LineOf(entry, isRevealed));
        }
        if (!traffic_.AwaitBehind(seen, deadline)) {
            break;
        }
    }
    if (stop_.Raised()) {
        return Refused("the service ends, and the wait with it");
    }
    if (!isWanted) {
        return Done("yes, it did not come");
    }
    std::string text = "no " + std::string(asked.message->name) + (wanted.empty() ? "" : " like this") + " came; ";
    text += others.empty() ? "nothing else did" : "instead:";
    for (size_t i = others.size() - std::min(others.size(), MOST_LINES); i < others.size(); ++i) {
        text += "\n" + others[i];
    }
    return Refused(text);
}

}  // namespace orvi_sim
