#include "service/request.h"

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

uint32_t Request::IntegerAt(uint32_t offset) const {
    return ReadInteger(Field(*this, offset, 4));
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

bool Request::Address(ClientAddress& address) const {
    return TextAt(0, NAME_SIZE, address.process) && TextAt(NAME_SIZE, NAME_SIZE, address.task) &&
           !address.process.empty() && !address.task.empty();
}

void Answer::Data(Payload data) {
    verdict_ = ORVI_SIM_DONE;
    reply_ = std::move(data);
}

void Answer::NoData() {
    verdict_ = ORVI_SIM_DONE;
    hasNoData_ = true;
}

void Answer::Refuse(uint8_t verdict, std::string reason) {
    verdict_ = verdict;
    reason_ = std::move(reason);
}

Payload RefusalOf(const RequestRow& row, const Request& request, uint8_t verdict) {
    if (row.reply <= VERDICT) {
        return Payload{verdict};
    }
    // A record that the sender sent is sent back.
    Payload reply;
    if (request.length == row.reply) {
        reply.assign(request.data, request.data + request.length);
    }
    reply.resize(row.reply);
    AppendInteger(reply, verdict);
    return reply;
}

}  // namespace orvi_sim
