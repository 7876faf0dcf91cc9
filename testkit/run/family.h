// The processes that descend from this one, those included whose parents have ended.
#ifndef ORVI_TEST_RUN_FAMILY_H
#define ORVI_TEST_RUN_FAMILY_H

#include <string>
#include <sys/types.h>

namespace orvi_test_run {

// From now on a descendant whose parent ends becomes a child of this process.
void AdoptOrphans();

// Kills and reaps all descendants, however often they fork meanwhile, but not `spared` (0: nobody) and those who descend
// from it: how it ends is its own affair, and a sanitizer ends it through a process of its own.
void KillDescendants(pid_t spared);

// Kills all processes of a session, whose number is the process id of its first one.
void KillSession(pid_t session);

// Runs `words` as a child with its output in these descriptors (-1: those of this process) and the signal mask empty. It
// leads a process group of its own and dies with this process. -1 and errno when there is no process for it; a program
// that cannot be executed ends with NOT_FOUND or NOT_EXECUTABLE after a line.
pid_t StartChild(char* const* words, int input, int output, int errors);

}  // namespace orvi_test_run

#endif
