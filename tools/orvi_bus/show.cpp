#include "show.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "value.h"

namespace orvi_bus_tool {
namespace {

constexpr size_t WIDTH = 240;  // of the fields of one message

bool Fits(const std::string& pattern, const TrafficRecord& record) {
    const std::string name = NameOf(record);
    if (!pattern.empty() && pattern.back() == '*') {
        return name.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0;
    }
    return name == pattern || std::strtoul(pattern.c_str(), nullptr, 0) == record.msgId;
}

std::string Fields(const TrafficRecord& record, const Display& display) {
    const orvi_protocol::Record* const layout = LayoutOf(record);
    if (layout == nullptr || !record.payload || record.payload->empty()) {
        return "";
    }
    orvi_protocol::Style style;
    style.reveal = display.reveal;
    const orvi_protocol::Decoded decoded =
        orvi_protocol::Decode(layout, record.payload->data(), record.payload->size());
    return display.json ? orvi_protocol::ToJson(decoded, style) : orvi_protocol::ToLine(decoded, style, WIDTH);
}

std::string Pad(std::string text, size_t width) {
    text.resize(std::max(text.size() + 1, width), ' ');
    return text;
}

std::string Json(const Exchange& exchange, const Display& display, double seconds) {
    using orvi_protocol::JsonString;
    const TrafficRecord& message = exchange.message;
    char number[64];
    std::snprintf(number, sizeof(number), "%.6f", seconds);
    std::string line = std::string("{\"seconds\":") + number;
    const char* const kind = message.kind == TraceKind::kHandled ? "bus-event"
                             : exchange.IsRequest()              ? "request"
                                                                 : "one-way";
    line += std::string(",\"kind\":\"") + kind + "\",\"from\":" + JsonString(message.from) +
            ",\"to\":" + JsonString(message.to) + ",\"task\":" + JsonString(message.task) +
            ",\"name\":" + JsonString(exchange.Name()) + ",\"id\":" + std::to_string(message.msgId) +
            ",\"size\":" + std::to_string(message.size) + ",\"verdict\":" + JsonString(exchange.Verdict());
    if (exchange.answered) {
        std::snprintf(number, sizeof(number), ",\"ms\":%.6f", exchange.RoundTripMs());
        line += number;
    }
    if (exchange.isLate) {
        line += ",\"late\":true";
    }
    if (message.payload) {
        const std::string fields = Fields(message, display);
        line += fields.empty() ? "" : ",\"values\":" + fields;
    }
    if (exchange.reply) {
        line += ",\"replySize\":" + std::to_string(exchange.reply->size);
        const std::string fields = Fields(*exchange.reply, display);
        line += fields.empty() ? "" : ",\"reply\":" + fields;
    }
    const uint64_t lost = uint64_t{message.lost} + (exchange.reply ? exchange.reply->lost : 0) +
                          (exchange.answered ? exchange.answered->lost : 0);
    return line + (lost != 0 ? ",\"lost\":" + std::to_string(lost) : "") + "}";
}

}  // namespace

// A pattern that no message can have would show nothing for ever.
std::string WhatIsWrongWith(const std::string& pattern) {
    if (pattern.empty()) {
        return "a message is empty";
    }
    const auto& all = orvi_protocol::AllMessages();
    const bool isName = std::any_of(all.begin(), all.end(), [&pattern](const orvi_protocol::Message* message) {
        const std::string name(message->name);
        return pattern.back() == '*' ? name.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0
                                     : name == pattern;
    });
    char* end = nullptr;
    const bool isId = std::strtoul(pattern.c_str(), &end, 0) != 0 && *end == '\0';
    return isName || isId ? "" : "there is no message '" + pattern + "'; orvi-ai messages lists them";
}

bool Filter::WantsRecord(const TrafficRecord& record) const {
    return (process.empty() || record.from == process || record.to == process) &&
           (messages.empty() || std::any_of(messages.begin(), messages.end(),
                                            [&](const std::string& pattern) { return Fits(pattern, record); }));
}

bool Filter::Wants(const Exchange& exchange) const {
    const bool isSlow =
        slowMs == 0 || (exchange.IsRequest() && (!exchange.answered || exchange.RoundTripMs() >= slowMs));
    return isSlow && (task.empty() || exchange.message.task == task) && WantsRecord(exchange.message);
}

// "    0.001234  ai_vpp12 > AI_VISION/ai_v_task_i  caption.start  496 B  0.31 ms  ok  conference="C"  =>  verdict=done"
std::string LineOf(const Exchange& exchange, const Display& display, int64_t startNs) {
    const TrafficRecord& message = exchange.message;
    const double seconds = static_cast<double>(std::max<int64_t>(message.timeNs - startNs, 0)) / 1e9;
    if (display.json) {
        return Json(exchange, display, seconds);
    }
    char text[64];
    std::snprintf(text, sizeof(text), "%12.6f  ", seconds);
    std::string line = text;
    line += Pad(message.from + " > " + message.to + "/" + message.task, 36) + Pad(exchange.Name(), 22);
    line += Pad(std::to_string(message.size) + " B" +
                    (exchange.reply ? " => " + std::to_string(exchange.reply->size) + " B" : ""),
                18);
    if (exchange.answered) {
        std::snprintf(text, sizeof(text), "%.3f ms", exchange.RoundTripMs());
        line += Pad(text, 12);
    } else {
        line += Pad("", 12);
    }
    line += exchange.Verdict() + (exchange.isLate ? " (asked above)" : "");
    if (!exchange.isLate) {
        const std::string fields = Fields(message, display);
        line += fields.empty() ? "" : "  " + fields;
    }
    const std::string reply = exchange.reply ? Fields(*exchange.reply, display) : "";
    line += reply.empty() ? "" : "  =>  " + reply;
    if (message.lost != 0) {
        line += "  (" + std::to_string(message.lost) + " records lost before)";
    }
    return line;
}

}  // namespace orvi_bus_tool
