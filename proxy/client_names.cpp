#include "client_names.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "annotated_mutex.h"

namespace OrviAiService {
namespace {

// A failed first initialisation may be repeated and then find another name, while requests are being made: a lock
// rather than a publish-once pointer, and fixed storage, so that nothing has to be released at exit.
Mutex g_namesMutex;
ClientNames g_names ORVI_GUARDED_BY(g_namesMutex) = {};

}  // namespace

ClientName NumberedName(const char* prefix, uint32_t number) {
    ClientName name = NameFromField(prefix, strnlen(prefix, ClientName::MAX_LENGTH));
    char* const end = std::to_chars(name.text + name.length, name.text + ClientName::MAX_LENGTH, number).ptr;
    *end = '\0';
    name.length = static_cast<uint32_t>(end - name.text);
    return name;
}

ClientName NameFromField(const char* field, size_t size) {
    ClientName name = {};
    name.length = static_cast<uint32_t>(strnlen(field, std::min(size, ClientName::MAX_LENGTH)));
    std::memcpy(name.text, field, name.length);
    return name;
}

ClientNames MsgNames() {
    const MutexLock lock(g_namesMutex);
    return g_names;
}

ClientName MsgProcName() {
    const MutexLock lock(g_namesMutex);
    return g_names.proc;
}

ClientName MsgTaskName() {
    const MutexLock lock(g_namesMutex);
    return g_names.task;
}

void SetMsgProcName(const ClientName& name) {
    const MutexLock lock(g_namesMutex);
    g_names.proc = name;
}

void SetMsgTaskName(const ClientName& name) {
    const MutexLock lock(g_namesMutex);
    g_names.task = name;
}

void RenewNamesLock() noexcept {
    g_namesMutex.Renew();
}

}  // namespace OrviAiService
