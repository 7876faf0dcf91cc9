#include "directions/pushes.h"

#include <algorithm>
#include <sstream>

#include "service/events.h"
#include "value.h"

namespace orvi_sim {
namespace {

using orvi_protocol::Message;
using orvi_protocol::Setting;

bool IsSetting(const std::string& word) {
    const size_t equals = word.find('=');
    return equals != std::string::npos && equals < word.find(':');
}

std::optional<std::string> ReadBytes(const std::vector<std::string>& words, Payload& payload) {
    if (words.size() == 1 && words[0] == "none") {
        return std::nullopt;
    }
    std::string error;
    for (const std::string& word : words) {
        if (!AppendWord(payload, word, error)) {
            return error;
        }
    }
    return std::nullopt;
}

std::optional<std::string> ReadSettings(const orvi_protocol::Record* record, const std::vector<std::string>& words,
                                        bool isRaw, Payload& payload) {
    std::vector<Setting> settings;
    for (const std::string& word : words) {
        const size_t equals = word.find('=');
        settings.push_back({word.substr(0, equals), word.substr(equals + 1)});
    }
    std::string bytes;
    std::string error;
    const auto check = isRaw ? orvi_protocol::Check::Width : orvi_protocol::Check::Bounds;
    if (!orvi_protocol::Encode(record, settings, bytes, error, check)) {
        return error;
    }
    payload.assign(bytes.begin(), bytes.end());
    return std::nullopt;
}

// A payload from words as payload.h reads them, "none" for no payload; or from FIELD=VALUE words as the record has
// them, within their bounds unless it is raw. The reason when it cannot be read.
std::optional<std::string> ReadPayload(const orvi_protocol::Record* record, const std::vector<std::string>& words,
                                       bool isRaw, Payload& payload) {
    const auto settings = std::count_if(words.begin(), words.end(), IsSetting);
    if (settings == 0) {
        return ReadBytes(words, payload);
    }
    if (static_cast<size_t>(settings) != words.size()) {
        return "fields and words do not go together";
    }
    if (record == nullptr) {
        return "it has no fields to name";
    }
    return ReadSettings(record, words, isRaw, payload);
}

std::optional<std::string> ReadEvent(uint32_t id, const std::vector<std::string>& words, bool isRaw, Payload& payload) {
    const EventRow* const row = FindEvent(id);
    if (row == nullptr && !isRaw) {
        return "the service sends no such message, see events; with --raw it is sent all the same";
    }
    if (words.empty()) {
        payload = row != nullptr ? PlainEvent(*row) : Payload();
        return std::nullopt;
    }
    const Message* const message = orvi_protocol::FindMessage(id, false);
    if (auto reason = ReadPayload(message != nullptr ? message->payload : nullptr, words, isRaw, payload)) {
        return reason;
    }
    std::string reason;
    if (!isRaw && !IsTrustworthy(*row, payload, reason)) {
        return std::string(row->name) + ": " + reason + "; with --raw it is sent all the same";
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> ReadReply(const Argument& message, const std::vector<std::string>& words, Payload& payload) {
    return ReadPayload(message.message != nullptr ? message.message->reply : nullptr, words, true, payload);
}

std::optional<std::string> ReadPush(const Argument& message, const std::vector<std::string>& words, bool isRaw,
                                    Payload& payload) {
    if (message.message != nullptr && !message.isEvent && message.message->name == message.text) {
        return message.text + " is what applications send; see messages for the events";
    }
    return ReadEvent(message.number, words, isRaw, payload);
}

std::optional<ScheduledPush> ParseScheduledPush(const std::string& text, std::string& error) {
    std::string body = text;
    uint32_t delayMs = 0;
    if (const size_t at = body.rfind('@'); at != std::string::npos) {
        const std::optional<uint32_t> number = ParseNumber(std::string_view(body).substr(at + 1));
        if (!number) {
            error = "what follows '@' is no number of milliseconds";
            return std::nullopt;
        }
        delayMs = *number;
        body.erase(at);
    }
    std::vector<std::string> words;
    const size_t colon = body.find(':');
    if (colon != std::string::npos) {
        std::istringstream stream(body.substr(colon + 1));
        for (std::string word; std::getline(stream, word, ',');) {
            words.push_back(word);
        }
    }
    const std::string name = body.substr(0, colon);
    const Message* const message = orvi_protocol::FindMessage(name);
    const std::optional<uint32_t> id = message != nullptr ? message->id : ParseNumber(name);
    if (!id || (message != nullptr && ToService(message->direction))) {
        error = "'" + name + "' is no event, nor the id of one";
        return std::nullopt;
    }
    ScheduledPush push{*id, {}, std::chrono::milliseconds(delayMs)};
    if (const auto reason = ReadEvent(*id, words, false, push.payload)) {
        error = *reason;
        return std::nullopt;
    }
    return push;
}

}  // namespace orvi_sim
