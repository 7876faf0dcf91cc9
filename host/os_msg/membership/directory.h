// The bus directory and the names in it.
//
//   <process>.lock         the record of a process, which it holds as long as it lives, see presence.h
//   <process>:<task>       the listening socket of a task; appears by renaming, so it is complete or absent
//   .lock                  serialises joining, see join_lock.h
//   ...~...                a file that is being made
//   monitor.N, monitor.N+  the sockets of programs that watch the traffic, see wire/trace.h
#ifndef ORVI_HOST_OS_MSG_DIRECTORY_H
#define ORVI_HOST_OS_MSG_DIRECTORY_H

#include <string>
#include <sys/types.h>

namespace orvi_bus {

constexpr char kPresenceSuffix[] = ".lock";
constexpr char kTaskSeparator = ':';
constexpr char kUnfinishedMark = '~';

struct Directory {
    std::string path;
    mode_t fileMode =
        0600;         // of sockets and the join lock, whatever the umask: who may use the directory writes to them
    gid_t group = 0;  // of the directory: theirs as well
    bool shared = false;
    mode_t RecordMode() const { return fileMode & ~static_cast<mode_t>(0020); }  // only their owner writes to records
};

// Finds and checks the directory that the environment names; makes the private one. On failure `why` is one clear
// sentence.
bool FindDirectory(Directory* directory, std::string* why);
// The same for a directory that was found before and may have been removed since.
bool FindAgain(Directory* directory, std::string* why);

std::string PresencePath(const Directory& directory, const char* procName);
std::string EndpointPath(const Directory& directory, const char* procName, const char* taskName);
std::string JoinLockPath(const Directory& directory);

// The name of a process as PresencePath ends it, from the name of a file; empty when the file is no presence.
std::string PresenceStem(const std::string& fileName);

// Gives a new socket the directory's mode and group.
bool AdoptSocket(const Directory& directory, const std::string& path);

}  // namespace orvi_bus

#endif
