// Forks of the process. In a child only the thread that forked goes on: a lock that another thread held stays locked
// for ever, and the message bus knows the parent alone. So a child asks no lock of the library and sends nothing.
#ifndef ORVI_PROXY_FORKED_CHILD_H
#define ORVI_PROXY_FORKED_CHILD_H

#include <atomic>

namespace OrviAiService {

inline std::atomic<bool> g_forkedChild{false};

// The process is a child that was forked after its parent had begun to join the bus. A child forked earlier is a
// process like any other: it may join the bus under a name of its own.
inline bool ForkedChild() noexcept {
    return g_forkedChild.load(std::memory_order_relaxed);
}

// Called when the process begins to join, before a lock is taken for it.
void NoteJoining() noexcept;

}  // namespace OrviAiService

#endif
