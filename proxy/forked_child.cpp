#include "forked_child.h"

#include <pthread.h>

#include "client_names.h"

namespace OrviAiService {
namespace {

std::atomic<bool> g_joining{false};

// Runs in the child, on its only thread, before fork() returns there: asking for the process id at each call would
// cost every call of the parent an operation of the platform.
void AfterForkInChild() {
    RenewNamesLock();
    if (g_joining.load()) {
        g_forkedChild.store(true);
    }
}

// The runtime keeps a handler for the life of the process, and the library is never unloaded. It refuses one only when
// memory has run out while the library is being loaded; forks are not noticed then.
[[maybe_unused]] const int g_registered = pthread_atfork(nullptr, nullptr, AfterForkInChild);

}  // namespace

void NoteJoining() noexcept {
    g_joining.store(true);
}

}  // namespace OrviAiService
