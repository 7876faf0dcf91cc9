#include "differences.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "value.h"

namespace orvi_bus_tool {
namespace {

using orvi_protocol::Decoded;
using orvi_protocol::JsonString;
using orvi_protocol::Record;

Decoded Decode(const Record* layout, const Contents& contents) {
    return contents ? orvi_protocol::Decode(layout, contents->data(), contents->size()) : Decoded{};
}

std::map<std::string, std::string> Fields(const Decoded& decoded) {
    std::map<std::string, std::string> fields;
    for (const orvi_protocol::Setting& setting : orvi_protocol::ToSettings(decoded.values)) {
        fields[setting.path] = setting.value;
    }
    return fields;
}

std::string SizeText(const Contents& contents) {
    return contents ? std::to_string(contents->size()) + " bytes" : "no data";
}

// faces[12].score: faces[].score
std::string WithoutIndices(const std::string& path) {
    std::string text;
    bool isInside = false;
    for (const char character : path) {
        isInside = isInside && character != ']';
        if (!isInside) {
            text += character;
        }
        isInside = isInside || character == '[';
    }
    return text;
}

}  // namespace

const Record* LayoutOfReply(const Step& step, const Contents& reply) {
    return step.message != nullptr && reply ? orvi_protocol::ReplyRecord(*step.message, reply->size()) : nullptr;
}

bool IsField(const std::string& path) {
    const auto& all = orvi_protocol::AllMessages();
    return std::any_of(all.begin(), all.end(), [&path](const orvi_protocol::Message* message) {
        for (const Record* const record : {message->payload, message->reply, message->refusal}) {
            const std::vector<std::string> paths = orvi_protocol::PathsOf(record);
            if (std::find(paths.begin(), paths.end(), path) != paths.end()) {
                return true;
            }
        }
        return false;
    });
}

std::string StandsFor(const std::string& text, const Record* layout, const Contents& recorded, const Contents& seen) {
    if (layout == nullptr || text.empty()) {
        return "";
    }
    const std::map<std::string, std::string> now = Fields(Decode(layout, seen));
    for (const auto& [path, value] : Fields(Decode(layout, recorded))) {
        if (const auto found = now.find(path); value == text && found != now.end()) {
            return found->second;
        }
    }
    return "";
}

bool Differences::IsAllowed(const std::string& path) const {
    return std::find(allowed_.begin(), allowed_.end(), WithoutIndices(path)) != allowed_.end();
}

void Differences::Compare(const std::string& which, const Record* layout, const Contents& recorded,
                          const Contents& seen) {
    if (recorded == seen) {
        return;
    }
    const Decoded before = Decode(layout, recorded);
    const Decoded after = Decode(layout, seen);
    if (layout == nullptr || recorded.has_value() != seen.has_value() || before.faults != after.faults) {
        Add(which, "recorded " + SizeText(recorded) + ", seen " + SizeText(seen) +
                       (recorded && seen && recorded->size() == seen->size() ? " of others" : ""));
        return;
    }
    const size_t countBefore = count_;
    bool isAllowed = false;
    const auto differ = [&](const std::string& path, const std::string& was, const std::string& is) {
        const auto name = names_.find(was);
        if (IsAllowed(path)) {
            isAllowed = true;
            given_[WithoutIndices(path)][was] = is;
        } else if (was != is && (name == names_.end() || name->second != is)) {
            const orvi_protocol::Value* value = orvi_protocol::FindValue(before.values, path);
            value = value != nullptr ? value : orvi_protocol::FindValue(after.values, path);
            const bool isHidden = !display_.reveal && (value == nullptr || value->field->isPrivate);
            const auto shown = [isHidden](const std::string& text) {
                return text.empty() ? "nothing"
                       : isHidden   ? "(private, " + std::to_string(text.size()) + " bytes)"
                                    : orvi_protocol::Printable(text.substr(0, 200));
            };
            AddField(which, path, shown(was), shown(is));
        }
    };
    const std::map<std::string, std::string> now = Fields(after);
    const std::map<std::string, std::string> then = Fields(before);
    for (const auto& [path, was] : then) {
        const auto found = now.find(path);
        differ(path, was, found != now.end() ? found->second : "");
    }
    for (const auto& [path, is] : now) {
        if (then.count(path) == 0) {
            differ(path, "", is);
        }
    }
    if (count_ == countBefore && !isAllowed && recorded->size() != seen->size()) {
        Add(which, "recorded " + SizeText(recorded) + ", seen " + SizeText(seen));
    }
}

Contents Differences::Today(const Record* layout, const Contents& recorded) const {
    if (layout == nullptr || !recorded || given_.empty()) {
        return recorded;
    }
    bool isOther = false;
    std::vector<orvi_protocol::Setting> settings = orvi_protocol::ToSettings(Decode(layout, recorded).values);
    for (orvi_protocol::Setting& setting : settings) {
        const auto field = given_.find(WithoutIndices(setting.path));
        if (field == given_.end()) {
            continue;
        }
        if (const auto found = field->second.find(setting.value); found != field->second.end()) {
            setting.value = found->second;
            isOther = true;
        }
    }
    std::string bytes;
    std::string error;
    if (!isOther || !orvi_protocol::Encode(layout, settings, bytes, error, orvi_protocol::Check::Width)) {
        return recorded;
    }
    return std::vector<uint8_t>(bytes.begin(), bytes.end());
}

bool Differences::IsTold() {
    if (++count_ == MOST_TOLD + 1) {
        std::fprintf(stderr, "orvi-bus: further differences are only counted\n");
    }
    return count_ <= MOST_TOLD;
}

void Differences::Add(const std::string& which, const std::string& what) {
    if (IsTold()) {
        lines_ += display_.json ? "{\"of\":" + JsonString(which) + ",\"difference\":" + JsonString(what) + "}\n"
                                : which + ": " + what + "\n";
    }
}

void Differences::AddField(const std::string& which, const std::string& path, const std::string& recorded,
                           const std::string& seen) {
    if (!display_.json) {
        Add(which, path + " recorded " + recorded + ", seen " + seen);
    } else if (IsTold()) {
        lines_ += "{\"of\":" + JsonString(which) + ",\"difference\":\"field\",\"field\":" + JsonString(path) +
                  ",\"recorded\":" + JsonString(recorded) + ",\"seen\":" + JsonString(seen) + "}\n";
    }
}

std::string Differences::Take() {
    return std::exchange(lines_, "");
}

}  // namespace orvi_bus_tool
