// The names under which this process is known on the bus: empty until the first initialisation.
#ifndef ORVI_PROXY_CLIENT_NAMES_H
#define ORVI_PROXY_CLIENT_NAMES_H

#include <cstddef>
#include <cstdint>

namespace OrviAiService {

// A name may be longer than the 15 characters that a name field takes: each copy into a field tests that.
struct ClientName {
    static constexpr size_t MAX_LENGTH = 23;

    char text[MAX_LENGTH + 1];  // NUL-terminated
    uint32_t length;            // without the NUL
};

// A name of a short prefix and a number in decimal digits.
ClientName NumberedName(const char* prefix, uint32_t number);
// A name from a field of `size` bytes, which may lack its NUL.
ClientName NameFromField(const char* field, size_t size);

struct ClientNames {
    ClientName proc;
    ClientName task;
};

// Each returns a copy; any thread.
ClientNames MsgNames();
ClientName MsgProcName();
ClientName MsgTaskName();

void SetMsgProcName(const ClientName& name);
void SetMsgTaskName(const ClientName& name);

// For a forked child, which has one thread: nobody holds the names' lock any more. A name that was being set when the
// process forked may be half set; it is still a text that ends.
void RenewNamesLock() noexcept;

}  // namespace OrviAiService

#endif
