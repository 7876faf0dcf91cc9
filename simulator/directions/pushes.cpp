#include "directions/pushes.h"

#include <algorithm>
#include <sstream>

#include "service/events.h"

namespace orvi_sim {
namespace {

constexpr char RAW[] = "--raw";

}  // namespace

std::optional<std::string> ReadPayload(const std::vector<std::string>& words, Payload& payload) {
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

std::optional<std::string> ReadPush(uint32_t id, const std::vector<std::string>& words, Payload& payload) {
    std::vector<std::string> rest = words;
    rest.erase(std::remove(rest.begin(), rest.end(), RAW), rest.end());
    const bool isRaw = rest.size() != words.size();
    const EventRow* const row = FindEvent(id);
    if (row == nullptr && !isRaw) {
        return "the service sends no such message, see events; with --raw it is sent all the same";
    }
    if (rest.empty()) {
        payload = row != nullptr ? PlainEvent(*row) : Payload();
        return std::nullopt;
    }
    if (auto reason = ReadPayload(rest, payload)) {
        return reason;
    }
    std::string reason;
    if (!isRaw && !IsTrustworthy(*row, payload, reason)) {
        return std::string(row->name) + ": " + reason + "; with --raw it is sent all the same";
    }
    return std::nullopt;
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
    const std::optional<uint32_t> id = ParseNumber(body.substr(0, colon));
    if (!id) {
        error = "a message id is missing or no number";
        return std::nullopt;
    }
    ScheduledPush push{*id, {}, std::chrono::milliseconds(delayMs)};
    if (const auto reason = ReadPush(*id, words, push.payload)) {
        error = *reason;
        return std::nullopt;
    }
    return push;
}

}  // namespace orvi_sim
