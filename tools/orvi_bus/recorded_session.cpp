#include "recorded_session.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "capture_file.h"
#include "differences.h"
#include "message.h"
#include "value.h"

namespace orvi_bus_tool {
namespace {

constexpr size_t MOST_THREADS = 256;

Contents ContentsOf(TrafficRecord& record) {
    if (record.hasNoData || (record.size == 0 && record.kind != TraceKind::kReply)) {
        return std::nullopt;
    }
    return record.payload ? std::move(*record.payload) : std::vector<uint8_t>();
}

// What keeps a record from being replayed; empty when nothing does.
std::string WhatIsMissing(const TrafficRecord& record) {
    const std::string name = NameOf(record);
    if (record.lost != 0) {
        return std::to_string(record.lost) + " records before " + name + " were lost";
    }
    const bool isMessage =
        record.kind == TraceKind::kOneWay || record.kind == TraceKind::kRequest || record.kind == TraceKind::kReply;
    if (isMessage && record.size != 0 && (!record.payload || record.payload->size() != record.size)) {
        return "what " + name + " holds is not in it: capture with --payloads --reveal";
    }
    if (isMessage && record.isMasked) {
        return "private contents of " + name + " are overwritten: capture with --reveal, too";
    }
    return "";
}

// Of the two ends of a record the one that is not the service; empty when neither is, or both are.
std::string ApplicationOf(const TrafficRecord& record) {
    if ((record.from == orvi_protocol::SERVICE_PROCESS) == (record.to == orvi_protocol::SERVICE_PROCESS)) {
        return "";
    }
    return record.from == orvi_protocol::SERVICE_PROCESS ? record.to : record.from;
}

// Applications are who says what the table knows: others on the bus direct the room.
bool IsOfApplication(const TrafficRecord& record) {
    return (record.kind == TraceKind::kOneWay || record.kind == TraceKind::kRequest) &&
           record.to == orvi_protocol::SERVICE_PROCESS && MessageOf(record) != nullptr;
}

bool Choose(const std::set<std::string>& applications, const std::string& wanted, std::string& chosen,
            std::string& why) {
    std::string names;
    for (const std::string& name : applications) {
        names += (names.empty() ? "" : ", ") + name;
    }
    if (applications.empty()) {
        why = "no application says anything to " + std::string(orvi_protocol::SERVICE_PROCESS);
    } else if (wanted.empty() && applications.size() > 1) {
        why = "there are several applications, choose with --app: " + names;
    } else if (!wanted.empty() && applications.count(wanted) == 0) {
        why = "there is no application '" + wanted + "', but " + names;
    } else {
        chosen = wanted.empty() ? *applications.begin() : wanted;
        return true;
    }
    return false;
}

Step StepOf(Exchange exchange) {
    Step step;
    step.isToService = IsToService(exchange.message);
    step.isRequest = exchange.IsRequest();
    step.message = MessageOf(exchange.message);
    step.id = exchange.message.msgId;
    step.name = exchange.Name();
    step.task = exchange.message.task;
    step.stream = exchange.message.stream;
    step.startNs = exchange.message.timeNs;
    step.endNs = exchange.answered ? exchange.answered->timeNs : step.startNs;
    step.result = exchange.message.result != 0 ? exchange.message.result
                  : exchange.answered          ? exchange.answered->result
                                               : 0;
    step.contents = ContentsOf(exchange.message);
    step.isAnswered = exchange.reply.has_value();
    if (exchange.reply) {
        step.replyNs = exchange.reply->timeNs;
        step.reply = ContentsOf(*exchange.reply);
    }
    return step;
}

// Where its sender receives, as a message says; empty when it does not.
std::string SaidTask(const Step& step) {
    if (step.message == nullptr || !step.contents) {
        return "";
    }
    const orvi_protocol::Decoded said =
        orvi_protocol::Decode(step.message->payload, step.contents->data(), step.contents->size());
    const orvi_protocol::Value* const task = orvi_protocol::FindValue(said.values, "client.task");
    return task != nullptr ? task->bytes : "";
}

// What a session cannot be played with although each of its records is whole.
std::string WhatIsWrong(const Session& session, const std::set<int32_t>& services,
                        const std::set<int32_t>& applications) {
    if (services.size() > 1) {
        return "the service restarts in it";
    }
    if (applications.size() > 1) {
        return std::to_string(applications.size()) + " processes are called " + session.application + " in it";
    }
    std::set<uint64_t> streams;
    bool hasTask = false;
    for (const Step& step : session.steps) {
        streams.insert(step.stream);
        const orvi_protocol::Record* const layout = step.message != nullptr ? step.message->payload : nullptr;
        hasTask =
            hasTask || (step.isToService && !StandsFor(session.task, layout, step.contents, step.contents).empty());
        if (!step.isToService && !hasTask) {
            return step.name + " comes before " + session.application +
                   " says where it receives: start the capture before it";
        }
        if (step.isToService && step.isRequest && step.result == 0 && !step.isAnswered) {
            return "the reply to " + step.name +
                   " is not in it: start the capture before the service, or the service with ORVI_BUS_TRACE=1";
        }
        if (!step.isToService && step.task != session.task) {
            return session.application + " receives at two tasks, " + session.task + " and " + step.task;
        }
    }
    return streams.size() > MOST_THREADS ? "more than " + std::to_string(MOST_THREADS) + " threads ask in it" : "";
}

}  // namespace

bool ReadSession(const std::string& file, const std::string& application, Session& session, std::string& why) {
    CaptureReader reader;
    if (!reader.Open(file, why)) {
        return false;
    }
    std::vector<TrafficRecord> records;
    std::set<std::string> applications;
    for (TrafficRecord record; reader.Read(record, why);) {
        if (IsOfApplication(record)) {
            applications.insert(record.from);
        }
        records.push_back(std::move(record));
    }
    const auto refuse = [&](const std::string& reason) {
        why = file + ": " + reason;
        return false;
    };
    if (!why.empty()) {
        return false;
    }
    std::string reason;
    if (!Choose(applications, application, session.application, reason)) {
        return refuse(reason);
    }
    std::set<int32_t> services;
    std::set<int32_t> processes;  // of the application's name
    Exchanges exchanges([&](const Exchange& exchange) {
        if (exchange.message.kind != TraceKind::kHandled) {
            session.steps.push_back(StepOf(exchange));
        }
    });
    std::stable_sort(records.begin(), records.end(),
                     [](const TrafficRecord& left, const TrafficRecord& right) { return left.timeNs < right.timeNs; });
    for (TrafficRecord& record : records) {
        if (ApplicationOf(record) != session.application) {
            continue;
        }
        if (reason = WhatIsMissing(record); !reason.empty()) {
            return refuse(reason);
        }
        if (record.pid != 0) {
            (record.teller == orvi_protocol::SERVICE_PROCESS ? services : processes).insert(record.pid);
        }
        exchanges.Add(std::move(record));
    }
    exchanges.Finish();
    std::stable_sort(session.steps.begin(), session.steps.end(),
                     [](const Step& left, const Step& right) { return left.startNs < right.startNs; });
    for (const Step& step : session.steps) {
        session.task = session.task.empty() && !step.isToService ? step.task : session.task;
    }
    for (const Step& step : session.steps) {  // one that was told nothing has said all the same where it receives
        session.task = session.task.empty() && step.isToService ? SaidTask(step) : session.task;
    }
    reason = WhatIsWrong(session, services, processes);
    return reason.empty() || refuse(reason);
}

}  // namespace orvi_bus_tool
