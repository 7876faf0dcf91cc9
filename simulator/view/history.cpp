#include "view/history.h"

#include <algorithm>
#include <cstdio>

#include "message.h"
#include "value.h"

namespace orvi_sim {
namespace {

// The room is made up, and so is what is said in it: nothing is masked.
constexpr orvi_protocol::Style SHOWN = {true, 2000, 32, 64};

std::string IdText(uint32_t id) {
    char text[16];
    std::snprintf(text, sizeof(text), "%#x", id);
    return text;
}

SharedPayload Kept(const uint8_t* bytes, size_t length) {
    return std::make_shared<const Payload>(bytes, bytes + std::min(length, History::LONGEST_KEPT));
}

}  // namespace

std::string ToJson(const Happening& happening) {
    using orvi_protocol::JsonString;
    using orvi_protocol::ToJson;
    std::string json = "{\"n\":" + std::to_string(happening.number) + ",\"at\":" + std::to_string(happening.at.count());
    if (happening.kind == Happening::Kind::Directed) {
        return json + ",\"kind\":\"directed\",\"line\":" + JsonString(happening.text) + "}";
    }
    const bool isAsked = happening.kind == Happening::Kind::Asked;
    const orvi_protocol::Message* const message = orvi_protocol::FindMessage(happening.id, isAsked);
    json += std::string(",\"kind\":") + (isAsked ? "\"asked\"" : "\"told\"") +
            ",\"name\":" + JsonString(message != nullptr ? std::string(message->name) : IdText(happening.id)) +
            ",\"app\":" + JsonString(happening.application) + ",\"bytes\":" + std::to_string(happening.length) +
            ",\"ending\":" + JsonString(happening.text) + (happening.hasFault ? ",\"fault\":true" : "");
    if (message != nullptr && happening.payload != nullptr) {
        json += ",\"fields\":" +
                ToJson(orvi_protocol::Decode(message->payload, happening.payload->data(), happening.payload->size()),
                       SHOWN);
    }
    if (happening.reply != nullptr) {
        json += ",\"replyBytes\":" + std::to_string(happening.replyLength);
        if (message != nullptr) {
            json +=
                ",\"reply\":" +
                ToJson(orvi_protocol::DecodeReply(*message, happening.reply->data(), happening.reply->size()), SHOWN);
        }
    }
    return json + "}";
}

void History::Directed(Time at, const std::string& line) {
    Add({0,
         Happening::Kind::Directed,
         false,
         0,
         at,
         {},
         line.substr(0, LONGEST_KEPT),
         nullptr,
         line.size(),
         nullptr,
         0});
}

void History::Asked(Time at, const Request& request, const std::string& ending, bool hasFault, const Payload* reply) {
    const bool hasReply = reply != nullptr;
    Add({0, Happening::Kind::Asked, hasFault, request.id, at, request.sender.process, ending,
         request.length != 0 ? Kept(request.data, request.length) : nullptr, request.length,
         hasReply ? Kept(reply->data(), reply->size()) : nullptr, hasReply ? reply->size() : 0});
}

void History::Told(Time at, const ApplicationId& application, uint32_t id, const SharedPayload& payload,
                   const char* ending) {
    const bool isLost = *ending != '\0';
    const SharedPayload kept = payload->size() <= LONGEST_KEPT ? payload : Kept(payload->data(), payload->size());
    Add({0, Happening::Kind::Told, isLost, id, at, application.process, ending, kept, payload->size(), nullptr, 0});
}

void History::Add(Happening happening) {
    const bool isAsked = happening.kind == Happening::Kind::Asked;
    const bool isKnown = orvi_protocol::FindMessage(happening.id, isAsked) != nullptr;
    const auto bytes = [](const Happening& one) {
        return sizeof(one) + one.text.size() + (one.payload != nullptr ? one.payload->size() : 0) +
               (one.reply != nullptr ? one.reply->size() : 0);
    };
    const std::lock_guard<std::mutex> lock(mutex_);
    happening.number = last_ + 1;
    OfAKind& kind = kinds_[{happening.kind, isKnown ? happening.id : 0}];
    kind.bytes += bytes(happening);
    kind.happenings.push_back(std::move(happening));
    ++last_;
    while (kind.happenings.size() > MOST_OF_A_KIND || kind.bytes > MOST_BYTES_OF_A_KIND) {
        kind.bytes -= bytes(kind.happenings.front());
        kind.happenings.pop_front();
    }
}

uint64_t History::Last() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return last_;
}

std::vector<Happening> History::Behind(uint64_t number, size_t most) const {
    std::vector<Happening> found;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& entry : kinds_) {
            const auto& happenings = entry.second.happenings;
            for (auto one = happenings.rbegin(); one != happenings.rend() && one->number > number; ++one) {
                found.push_back(*one);
            }
        }
    }
    std::sort(found.begin(), found.end(), [](const Happening& a, const Happening& b) { return a.number < b.number; });
    if (found.size() > most) {
        found.erase(found.begin(), found.end() - static_cast<std::ptrdiff_t>(most));
    }
    return found;
}

}  // namespace orvi_sim
