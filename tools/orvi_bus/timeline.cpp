// orvi-bus timeline: the traffic as a picture, in the Trace Event format that browsers and Perfetto show.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "capture_file.h"
#include "commands.h"
#include "statistics.h"
#include "value.h"

namespace orvi_bus_tool {
namespace {

using orvi_protocol::JsonString;

// A process is one of the picture's, and in it each asking thread and each task is a row.
class Picture {
 public:
    bool Open(const std::string& path) {
        file_.open(path);
        file_ << "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n";
        return static_cast<bool>(file_);
    }

    void Add(const TrafficRecord& record) {
        const std::string name = JsonString(NameOf(record));
        const std::string place = Place(record);
        const std::string id =
            JsonString(record.from + "/" + std::to_string(record.stream) + "/" + std::to_string(record.sequence));
        switch (record.kind) {
            case TraceKind::kAnswered:
                Span(record, name, place,
                     ",\"args\":{\"to\":" + JsonString(record.to + "/" + record.task) +
                         ",\"result\":" + std::to_string(record.result) + "}");
                break;
            case TraceKind::kRequest:
                // The arrow to the handler that takes it. It begins inside the span of the wait.
                Event("s", record.timeNs, name, place + ",\"cat\":\"request\",\"id\":" + id);
                break;
            case TraceKind::kHandled:
                if (const auto* const message = MessageOf(record);
                    message != nullptr && message->direction == orvi_protocol::Direction::BusEvent) {
                    Event("i", record.timeNs, JsonString(NameOf(record) + " " + record.from), place + ",\"s\":\"p\"");
                    break;
                }
                Span(record, name, place, "");
                if (record.sequence != 0) {
                    Event("f", record.timeNs - record.durationNs, name,
                          place + ",\"bp\":\"e\",\"cat\":\"request\",\"id\":" + id);
                }
                break;
            case TraceKind::kReply:
            case TraceKind::kOneWay:
                Event("i", record.timeNs, name, place + ",\"s\":\"t\"");
                break;
        }
    }

    bool IsWhole() const { return !file_.fail(); }

    bool Close() {
        file_ << "\n]}\n";
        file_.close();
        return static_cast<bool>(file_);
    }

 private:
    // ,"pid":1,"tid":2, with names for those that are new.
    std::string Place(const TrafficRecord& record) {
        const std::string process = record.teller + " (" + std::to_string(record.pid) + ")";
        const auto [known, isNew] = processes_.emplace(process, processes_.size() + 1);
        const std::string pid = ",\"pid\":" + std::to_string(known->second);
        if (isNew) {
            Event("M", -1, "\"process_name\"", pid + ",\"tid\":0,\"args\":{\"name\":" + JsonString(process) + "}");
        }
        const bool isTask = record.kind == TraceKind::kHandled;
        const std::string row = isTask               ? record.task
                                : record.stream != 0 ? "thread " + std::to_string(record.stream)
                                                     : "bus";
        const auto [place, isNewRow] = rows_.emplace(process + "/" + row, rows_.size() + 1);
        std::string where = pid + ",\"tid\":" + std::to_string(place->second);
        if (isNewRow) {
            Event("M", -1, "\"thread_name\"", where + ",\"args\":{\"name\":" + JsonString(row) + "}");
        }
        return where;
    }

    void Span(const TrafficRecord& record, const std::string& name, const std::string& place, const std::string& more) {
        char duration[48];
        std::snprintf(duration, sizeof(duration), ",\"dur\":%.3f", static_cast<double>(record.durationNs) / 1000);
        Event("X", record.timeNs - record.durationNs, name, place + duration + more);
    }

    void Event(const char* phase, int64_t timeNs, const std::string& name, const std::string& more) {
        char time[48] = "";
        if (timeNs >= 0) {
            std::snprintf(time, sizeof(time), ",\"ts\":%.3f", static_cast<double>(timeNs) / 1000);
        }
        file_ << (isFirst_ ? "" : ",\n") << "{\"ph\":\"" << phase << "\",\"name\":" << name << time << more << "}";
        isFirst_ = false;
    }

    std::ofstream file_;
    bool isFirst_ = true;
    std::map<std::string, size_t> processes_;
    std::map<std::string, size_t> rows_;
};

}  // namespace

int Timeline(const TimelineOptions& options) {
    CaptureReader reader;
    std::string why;
    if (!options.from.empty() && !reader.Open(options.from, why)) {
        return BadFile(why);
    }
    if (std::error_code none; !options.from.empty() && std::filesystem::equivalent(options.from, options.file, none)) {
        return BadFile(options.file + " is the captured file itself, which the picture would overwrite");
    }
    // Who forgets --from names the captured file first.
    if (CaptureReader old; std::filesystem::is_regular_file(options.file) && old.Open(options.file, why)) {
        return BadFile(options.file + " is a captured file, which the picture would overwrite; it is read with --from");
    }
    why.clear();
    Picture picture;
    if (!picture.Open(options.file)) {
        return Fail(options.file + ": " + std::strerror(errno));
    }
    Statistics statistics;
    Exchanges exchanges([&](const Exchange& exchange) { statistics.Add(exchange); });
    uint64_t count = 0;
    const auto take = [&](TrafficRecord record) {
        picture.Add(record);
        exchanges.Advance(record.timeNs);
        exchanges.Add(std::move(record));
        return picture.IsWhole() && (options.limits.count == 0 || ++count < options.limits.count);
    };
    int result = DONE;
    uint64_t lost = 0;
    if (options.from.empty()) {
        const EndSignal end;
        result = Watch(
            options.limits, true, end, take, [] { return true; }, lost);
    } else {
        for (TrafficRecord record; reader.Read(record, why) && take(std::move(record));) {
        }
    }
    exchanges.Finish();
    if (!picture.Close()) {
        return Fail(options.file + " cannot be written: " + std::strerror(errno));
    }
    if (result != DONE) {
        return result;
    }
    std::printf("%s", statistics.Table().c_str());
    if (lost != 0) {
        std::printf("%llu records were lost\n", static_cast<unsigned long long>(lost));
    }
    return Flushed(!why.empty() ? BadFile(why) : DONE);
}

}  // namespace orvi_bus_tool
