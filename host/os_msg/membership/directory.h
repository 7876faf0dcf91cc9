// The bus directory and the names in it.
//
//   <process>.lock         held by the live process of that name, see presence.h
//   <process>:<task>       the listening socket of a task; appears by renaming, so it is complete or absent
//   .lock                  serialises joining
//   monitor                the socket of a program that watches the traffic, if there is one
#ifndef ORVI_HOST_OS_MSG_DIRECTORY_H
#define ORVI_HOST_OS_MSG_DIRECTORY_H

#include <string>
#include <sys/types.h>

#include "wire/descriptor.h"

namespace orvi_bus {

struct Directory {
    std::string path;
    mode_t fileMode = 0600;  // of sockets and locks, whatever the umask
    gid_t group = 0;         // of the directory: theirs as well
    bool shared = false;
};

// Finds and checks the directory that the environment names; makes the private one. On failure `why` is one clear
// sentence.
bool FindDirectory(Directory* directory, std::string* why);

std::string PresencePath(const Directory& directory, const char* procName);
std::string EndpointPath(const Directory& directory, const char* procName, const char* taskName);
std::string JoinLockPath(const Directory& directory);
std::string MonitorPath(const Directory& directory);

// The name of a process as PresencePath ends it, from the name of a file; empty when the file is no presence.
std::string PresenceStem(const std::string& fileName);
// Removes the endpoints that a process left. Its presence is to be held by the caller.
void RemoveEndpoints(const Directory& directory, const std::string& encodedProcName);

// Opens a lock file for reading and writing, making it if needed. Empty with errno set on failure.
Fd OpenLockFile(const Directory& directory, const std::string& path);

// Gives a new socket the directory's mode and group.
bool AdoptSocket(const Directory& directory, const std::string& path);

}  // namespace orvi_bus

#endif
