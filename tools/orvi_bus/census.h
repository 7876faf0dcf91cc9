// Who is on a bus, as its directory and the kernel tell.
#ifndef ORVI_BUS_TOOL_CENSUS_H
#define ORVI_BUS_TOOL_CENSUS_H

#include <cstdint>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

#include "membership/directory.h"

namespace orvi_bus_tool {

struct Member {
    enum class State { Alive, Dead, Unknown };

    std::string name;
    State state = State::Unknown;
    pid_t pid = 0;  // 0: not visible from here
    uid_t uid = 0;
    uint64_t sinceNs = 0;                 // CLOCK_BOOTTIME
    ino_t inode = 0;                      // of its record
    std::map<std::string, size_t> tasks;  // with their connections; of a dead one, what it has left
};

struct Census {
    std::vector<Member> members;       // by name
    std::vector<std::string> strange;  // files that belong to nobody
    std::vector<std::string> watchers;

    const Member* Find(const std::string& name) const;  // null when there is none
};

Census TakeCensus(const orvi_bus::Directory& directory);

// A file below /proc, whole; empty when it cannot be read.
std::string ReadProc(pid_t pid, const char* file);

// The state of a process as the kernel tells it, 'T' when it is stopped; 0 when it cannot be seen.
char StateOf(pid_t pid);

// NAME=VALUE of its environment, those that begin with `prefix`.
std::map<std::string, std::string> EnvironmentOf(pid_t pid, const std::string& prefix);

}  // namespace orvi_bus_tool

#endif
