#include "face_registry.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <new>
#include <unordered_map>

#include "annotated_mutex.h"
#include "dispatch_scope.h"
#include "forked_child.h"

namespace OrviAiService {
namespace {

using CallbackMap = std::unordered_map<int, OrviAiSrvFaceCallback>;

// One running callback; lives on the stack of the thread that runs it.
struct Running {
    int sourceId;
    uint64_t ticket;
    Running* next;
};

// Never destroyed, since the message thread may use it while the process exits; emptied then.
struct Registry {
    Mutex mutex;
    std::condition_variable finished;
    CallbackMap callbacks ORVI_GUARDED_BY(mutex);
    Running* running ORVI_GUARDED_BY(mutex) = nullptr;
    uint64_t lastTicket ORVI_GUARDED_BY(mutex) = 0;
    unsigned waiters ORVI_GUARDED_BY(mutex) = 0;
    std::atomic<bool> closed{false};
};

Registry& MakeRegistry() {
    Registry* const registry = new Registry;
    const MutexLock lock(registry->mutex);
    registry->callbacks.max_load_factor(1.0F);
    registry->callbacks.reserve(8);  // the exported functions use one source: no later call grows the table
    return *registry;
}

Registry& g_registry = MakeRegistry();

struct Closing {
    ~Closing() {
        if (ForkedChild()) {
            return;  // nothing is delivered here anyhow
        }
        CallbackMap released;
        const MutexLock lock(g_registry.mutex);
        g_registry.closed.store(true);
        g_registry.callbacks.swap(released);
    }
};

bool RunsUpTo(const Running* entry, int sourceId, uint64_t ticket) {
    for (; entry != nullptr; entry = entry->next) {
        if (entry->sourceId == sourceId && entry->ticket <= ticket) {
            return true;
        }
    }
    return false;
}

// Waits for the callbacks of a source that have begun before now; later ones are another callback's. A thread inside
// a callback does not wait: it would wait for itself, or two such threads for each other.
void WaitUntilFinished(int sourceId) ORVI_REQUIRES(g_registry.mutex) {
    if (DispatchScope::Active()) {
        return;
    }
    const uint64_t ticket = g_registry.lastTicket;
    ++g_registry.waiters;
    while (RunsUpTo(g_registry.running, sourceId, ticket)) {
        g_registry.mutex.Wait(g_registry.finished);
    }
    --g_registry.waiters;
}

// Books a running callback while it lives; made and unmade under the lock, the callback runs without it.
class RunningScope {
 public:
    RunningScope(int sourceId, Running& entry) ORVI_REQUIRES(g_registry.mutex) : entry_(entry) {
        entry_ = {sourceId, ++g_registry.lastTicket, g_registry.running};
        g_registry.running = &entry_;
    }
    ~RunningScope() {
        if (ForkedChild()) {
            return;  // the callback has forked: nobody here waits for its end
        }
        const MutexLock lock(g_registry.mutex);
        Running** link = &g_registry.running;
        while (*link != &entry_) {
            link = &(*link)->next;
        }
        *link = entry_.next;
        if (g_registry.waiters != 0) {
            g_registry.finished.notify_all();
        }
    }
    RunningScope(const RunningScope&) = delete;
    RunningScope& operator=(const RunningScope&) = delete;

 private:
    Running& entry_;
};

}  // namespace

bool StoreFaceCallback(int sourceId, OrviAiSrvFaceCallback callback) {
    if (ForkedChild()) {
        return false;
    }
    const MutexLock lock(g_registry.mutex);
    if (g_registry.closed.load()) {
        return false;
    }
    try {
        const auto [entry, inserted] = g_registry.callbacks.try_emplace(sourceId, callback);
        if (inserted) {
            return true;
        }
        entry->second = callback;
    } catch (const std::bad_alloc&) {
        return false;
    }
    WaitUntilFinished(sourceId);
    return true;
}

void EraseFaceCallback(int sourceId) {
    if (ForkedChild()) {
        return;
    }
    const MutexLock lock(g_registry.mutex);
    g_registry.callbacks.erase(sourceId);
    WaitUntilFinished(sourceId);  // also when another thread has just removed it and still waits
}

bool CallFaceCallback(int sourceId, tagOrviAiSrvFaceDetEvent* event) {
    if (ForkedChild()) {
        return false;
    }
    const DispatchScope dispatching;
    Running entry;
    g_registry.mutex.lock();
    const auto found = g_registry.callbacks.find(sourceId);
    if (found == g_registry.callbacks.end()) {
        g_registry.mutex.unlock();
        return false;
    }
    const OrviAiSrvFaceCallback callback = found->second;
    if (callback == nullptr) {
        g_registry.mutex.unlock();
        return true;
    }
    const RunningScope running(sourceId, entry);
    g_registry.mutex.unlock();
    callback(event);
    return true;
}

void CloseDispatchAtExit() {
    static const Closing closing;
}

bool DispatchClosed() noexcept {
    return ForkedChild() || g_registry.closed.load(std::memory_order_acquire);
}

}  // namespace OrviAiService
