#include "exchange.h"

#include <cstdio>
#include <utility>

#include "orvi_host_bus.h"
#include "value.h"

namespace orvi_bus_tool {
namespace {

constexpr size_t MOST_SHOWN = 10000;  // requests that nobody answers

}  // namespace

std::string ResultWord(int32_t result) {
    switch (result) {
        case 0:
            return "ok";
        case ORVI_BUS_E_TIMEOUT:
            return "timeout";
        case ORVI_BUS_E_GONE:
            return "gone";
        case ORVI_BUS_E_ABSENT:
            return "absent";
        default:
            return "error " + std::to_string(result);
    }
}

bool IsToService(const TrafficRecord& record) {
    return (record.kind == TraceKind::kReply ? record.from : record.to) == orvi_protocol::SERVICE_PROCESS;
}

const orvi_protocol::Message* MessageOf(const TrafficRecord& record) {
    return orvi_protocol::FindMessage(record.msgId, IsToService(record));
}

std::string NameOf(const TrafficRecord& record) {
    if (const orvi_protocol::Message* const message = MessageOf(record)) {
        return std::string(message->name);
    }
    char id[16];
    std::snprintf(id, sizeof(id), "%#x", record.msgId);
    return id;
}

const orvi_protocol::Record* LayoutOf(const TrafficRecord& record) {
    const orvi_protocol::Message* const message = MessageOf(record);
    if (message == nullptr) {
        return nullptr;
    }
    return record.kind == TraceKind::kReply ? orvi_protocol::ReplyRecord(*message, record.size) : message->payload;
}

std::string Exchange::Verdict() const {
    if (!IsRequest() || message.result != 0) {
        return ResultWord(message.result);
    }
    if (!answered) {
        return reply ? "answered" : "unanswered";
    }
    const orvi_protocol::Message* const kind = MessageOf(message);
    const bool isRefused = answered->result == 0 && kind != nullptr &&
                           kind->rule == orvi_protocol::ReplyRule::Verdict && reply && reply->payload &&
                           (reply->payload->empty() || reply->payload->front() != 0);
    return isRefused ? "refused" : ResultWord(answered->result);
}

double Exchange::RoundTripMs() const {
    return answered ? static_cast<double>(answered->durationNs) / 1e6 : -1;
}

void Exchanges::Add(TrafficRecord record) {
    switch (record.kind) {
        case TraceKind::kOneWay:
            open_.push_back({{std::move(record), {}, {}, false}, true});
            break;
        case TraceKind::kRequest: {
            const bool isSent = record.result == 0;
            if (isSent) {
                asked_[{record.from, record.to, record.stream, record.sequence}] = first_ + open_.size();
            }
            open_.push_back({{std::move(record), {}, {}, false}, !isSent});
            break;
        }
        case TraceKind::kReply: {
            const auto found = asked_.find({record.to, record.from, record.stream, record.sequence});
            if (found != asked_.end()) {
                open_[static_cast<size_t>(found->second - first_)].exchange.reply = std::move(record);
            }
            break;
        }
        case TraceKind::kAnswered: {
            const Key key{record.from, record.to, record.stream, record.sequence};
            if (const auto found = asked_.find(key); found != asked_.end()) {
                Entry& entry = open_[static_cast<size_t>(found->second - first_)];
                entry.exchange.answered = std::move(record);
                entry.isComplete = true;
                asked_.erase(found);
            } else if (const auto late = shown_.find(key); late != shown_.end()) {
                late->second.answered = std::move(record);
                late->second.isLate = true;
                open_.push_back({std::move(late->second), true});
                shown_.erase(late);
            }
            break;
        }
        case TraceKind::kHandled:
            // Of messages their senders tell; what the bus itself tells has none.
            if (orvi_protocol::FindMessage(record.msgId, false) != nullptr &&
                orvi_protocol::FindMessage(record.msgId, false)->direction == orvi_protocol::Direction::BusEvent) {
                open_.push_back({{std::move(record), {}, {}, false}, true});
            }
            break;
    }
    while (!open_.empty() && open_.front().isComplete) {
        ShowFront();
    }
}

void Exchanges::ShowFront() {
    Entry& entry = open_.front();
    show_(entry.exchange);
    if (!entry.isComplete) {
        const TrafficRecord& request = entry.exchange.message;
        const Key key{request.from, request.to, request.stream, request.sequence};
        asked_.erase(key);
        if (shown_.size() < MOST_SHOWN) {
            shown_[key] = std::move(entry.exchange);
        }
    }
    open_.pop_front();
    ++first_;
}

void Exchanges::Advance(int64_t nowNs) {
    while (!open_.empty() &&
           (open_.front().isComplete || nowNs - open_.front().exchange.message.timeNs > PATIENCE_NS)) {
        ShowFront();
    }
}

void Exchanges::Finish() {
    while (!open_.empty()) {
        ShowFront();
    }
}

}  // namespace orvi_bus_tool
