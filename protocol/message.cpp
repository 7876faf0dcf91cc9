#include "message.h"

#include <charconv>

namespace orvi_protocol {

const std::vector<const Message*>& AllMessages() {
    static const std::vector<const Message*>& all = *[] {
        auto* const list = new std::vector<const Message*>;  // never destroyed: threads may look things up to the end
        for (const Rows<Message>& rows : {ConnectionMessages(), FaceMessages(), MeetingMessages(), CheckinMessages(),
                                          ModelMessages(), AssistantMessages()}) {
            for (const Message& row : rows) {
                list->push_back(&row);
            }
        }
        return list;
    }();
    return all;
}

const Message* FindMessage(std::string_view name) {
    for (const Message* message : AllMessages()) {
        if (message->name == name) {
            return message;
        }
    }
    return nullptr;
}

const Message* FindMessage(uint32_t id, bool toService) {
    for (const Message* message : AllMessages()) {
        if (message->id == id && ToService(message->direction) == toService) {
            return message;
        }
    }
    return nullptr;
}

const Message* FindMessageByWord(std::string_view word) {
    if (const Message* const named = FindMessage(word)) {
        return named;
    }
    const bool isHex = word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
    const std::string_view digits = isHex ? word.substr(2) : word;
    uint32_t id = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), id, isHex ? 16 : 10);
    if (error != std::errc() || digits.empty() || end != digits.data() + digits.size()) {
        return nullptr;
    }
    const Message* const request = FindMessage(id, true);
    return request != nullptr ? request : FindMessage(id, false);
}

std::string_view DirectionWord(Direction direction) {
    switch (direction) {
        case Direction::Request:
            return "request";
        case Direction::OneWay:
            return "one-way";
        case Direction::Event:
            return "event";
        case Direction::BusEvent:
            break;
    }
    return "bus event";
}

}  // namespace orvi_protocol
