// orvi-bus list: who is on the bus.
#include <cstdio>
#include <ctime>

#include "census.h"
#include "commands.h"
#include "value.h"

namespace orvi_bus_tool {
namespace {

std::string SinceText(uint64_t sinceNs) {
    timespec now{};
    (void)clock_gettime(CLOCK_BOOTTIME, &now);
    const uint64_t nowNs = static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
    const std::time_t since =
        std::time(nullptr) - static_cast<std::time_t>((nowNs > sinceNs ? nowNs - sinceNs : 0) / 1000000000);
    char text[32];
    std::tm local{};
    (void)localtime_r(&since, &local);
    (void)std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", &local);
    return text;
}

const char* StateWord(const Member& member) {
    switch (member.state) {
        case Member::State::Alive:
            return StateOf(member.pid) == 'T' ? "stopped" : "alive";
        case Member::State::Dead:
            return "ended";
        default:
            return "unknown";
    }
}

std::string JsonOf(const Member& member) {
    std::string tasks;
    for (const auto& [task, connections] : member.tasks) {
        tasks += (tasks.empty() ? "" : ",") + std::string("{\"task\":") + orvi_protocol::JsonString(task) +
                 ",\"connections\":" + std::to_string(connections) + "}";
    }
    return "{\"process\":" + orvi_protocol::JsonString(member.name) + ",\"state\":\"" + StateWord(member) +
           "\",\"pid\":" + std::to_string(member.pid) + ",\"uid\":" + std::to_string(member.uid) + ",\"since\":\"" +
           SinceText(member.sinceNs) + "\",\"tasks\":[" + tasks + "]}";
}

}  // namespace

int List(const ListOptions& options) {
    orvi_bus::Directory directory;
    std::string why;
    if (!orvi_bus::FindDirectory(&directory, &why)) {
        return Fail(why + "; orvi-bus doctor tells what to do");
    }
    size_t shown = 0;
    for (const Member& member : TakeCensus(directory).members) {
        if (member.state == Member::State::Dead && !options.all) {
            continue;
        }
        if (options.json) {
            std::printf("%s\n", JsonOf(member).c_str());
            continue;
        }
        if (shown++ == 0) {
            std::printf("%-16s %-8s %8s %6s  %-20s %s\n", "process", "state", "pid", "uid", "since",
                        "tasks (connections)");
        }
        std::string tasks;
        for (const auto& [task, connections] : member.tasks) {
            tasks += (tasks.empty() ? "" : ", ") + task + " (" + std::to_string(connections) + ")";
        }
        std::printf("%-16s %-8s %8d %6u  %-20s %s\n", member.name.c_str(), StateWord(member),
                    static_cast<int>(member.pid), static_cast<unsigned>(member.uid), SinceText(member.sinceNs).c_str(),
                    tasks.c_str());
    }
    if (!options.json && shown == 0) {
        std::printf("nobody is on the bus in %s\n", directory.path.c_str());
    }
    return Flushed(DONE);
}

}  // namespace orvi_bus_tool
