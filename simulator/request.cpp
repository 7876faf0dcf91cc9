#include "request.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "log.h"

namespace orvi_sim {
namespace {

constexpr uint32_t NAME_SIZE = 16;

// The bounds were the row's business, so this is a fault of the program and not of the message.
const uint8_t* Field(const Request& request, uint32_t offset, uint32_t size) {
    if (offset > request.length || size > request.length - offset) {
        Log("handler of %#x reads %u bytes at %u of a payload of %u", request.id, size, offset, request.length);
        std::abort();
    }
    return request.data + offset;
}

}  // namespace

bool operator==(const ClientAddress& left, const ClientAddress& right) {
    return left.process == right.process && left.task == right.task;
}

uint32_t Request::IntegerAt(uint32_t offset) const {
    const uint8_t* field = Field(*this, offset, 4);
    return static_cast<uint32_t>(field[0]) | static_cast<uint32_t>(field[1]) << 8 |
           static_cast<uint32_t>(field[2]) << 16 | static_cast<uint32_t>(field[3]) << 24;
}

Payload Request::BytesAt(uint32_t offset, uint32_t count) const {
    const uint8_t* field = Field(*this, offset, count);
    return Payload(field, field + count);
}

bool Request::TextAt(uint32_t offset, uint32_t size, std::string& text) const {
    const auto* field = reinterpret_cast<const char*>(Field(*this, offset, size));
    const size_t textLength = strnlen(field, size);
    if (textLength == size) {
        return false;
    }
    text.assign(field, textLength);
    return true;
}

bool Request::AddressAt(uint32_t offset, ClientAddress& address) const {
    return TextAt(offset, NAME_SIZE, address.process) && TextAt(offset + NAME_SIZE, NAME_SIZE, address.task) &&
           !address.process.empty() && !address.task.empty();
}

void Answer::Verdict(uint8_t verdict) {
    Data(Payload{verdict});
}

void Answer::Data(Payload data) {
    hasReply_ = true;
    reply_ = std::move(data);
}

void Answer::Refuse(std::string reason) {
    refusal_ = std::move(reason);
    events_.clear();
    Verdict(1);
}

void Answer::Push(uint32_t id, Payload payload) {
    events_.push_back({id, std::move(payload)});
}

void AcceptWithVerdict(Service&, const Request&, Answer& answer) {
    answer.Verdict(0);
}

void TakeNotice(Service&, const Request&, Answer&) {}

}  // namespace orvi_sim
