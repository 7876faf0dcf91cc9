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
ClientName g_msgProcName ORVI_GUARDED_BY(g_namesMutex) = {};
ClientName g_msgTaskName ORVI_GUARDED_BY(g_namesMutex) = {};

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

ClientName MsgProcName() {
    const MutexLock lock(g_namesMutex);
    return g_msgProcName;
}

ClientName MsgTaskName() {
    const MutexLock lock(g_namesMutex);
    return g_msgTaskName;
}

void SetMsgProcName(const ClientName& name) {
    const MutexLock lock(g_namesMutex);
    g_msgProcName = name;
}

void SetMsgTaskName(const ClientName& name) {
    const MutexLock lock(g_namesMutex);
    g_msgTaskName = name;
}

void RenewNamesLock() noexcept {
    g_namesMutex.Renew();
}

}  // namespace OrviAiService
