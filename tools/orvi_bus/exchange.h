// Records joined to what a person sees: a message with its answer, how long that took and how it ended.
#ifndef ORVI_BUS_TOOL_EXCHANGE_H
#define ORVI_BUS_TOOL_EXCHANGE_H

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "message.h"
#include "traffic_record.h"

namespace orvi_bus_tool {

// Whether it belongs to what applications ask; a reply and the end of a wait belong to their request.
bool IsToService(const TrafficRecord& record);
const orvi_protocol::Message* MessageOf(const TrafficRecord& record);  // null for what the table does not know
std::string NameOf(const TrafficRecord& record);                       // caption.start, or the id
// The layout of its payload: that of the message, or of a reply to it. Null when there is none.
const orvi_protocol::Record* LayoutOf(const TrafficRecord& record);

// What the bus returned: "ok", "timeout", "gone", "absent", "error 10".
std::string ResultWord(int32_t result);

struct Exchange {
    TrafficRecord message;                  // a one-way message or event, a request, or what the bus tells its handler
    std::optional<TrafficRecord> reply;     // as its sender told it
    std::optional<TrafficRecord> answered;  // as the asker told it: the end of its wait
    bool isLate = false;                    // only the end of a wait whose request has been shown as unanswered

    bool IsRequest() const { return message.kind == TraceKind::kRequest; }
    std::string Name() const { return NameOf(message); }
    // "ok", "refused", "timeout", "gone", "absent", "error 10", or "unanswered" so far. Of what has no reply whether it was
    // taken.
    std::string Verdict() const;
    double RoundTripMs() const;  // negative when it is not known
};

// Shows exchanges in the order in which their messages were sent. A request that has no answer after PATIENCE is shown
// without one, and the end of its wait when that comes, so that a request to a service that hangs holds up nothing.
class Exchanges {
 public:
    static constexpr int64_t PATIENCE_NS = 200 * 1000000LL;

    using Show = std::function<void(const Exchange&)>;
    explicit Exchanges(Show show) : show_(std::move(show)) {}

    void Add(TrafficRecord record);
    void Advance(int64_t nowNs);  // whose patience is over is shown
    void Finish();                // everything

 private:
    using Key = std::tuple<std::string, std::string, uint64_t, uint32_t>;  // asker, asked, thread, number
    struct Entry {
        Exchange exchange;
        bool isComplete;
    };

    void ShowFront();

    const Show show_;
    std::deque<Entry> open_;
    uint64_t first_ = 0;             // number of open_.front()
    std::map<Key, uint64_t> asked_;  // numbers of requests that wait for their answer to be told
    std::map<Key, Exchange> shown_;  // that were shown without one
};

}  // namespace orvi_bus_tool

#endif
