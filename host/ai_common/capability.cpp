// The capability record: which AI features the device has, read from an XML file that a workstation's user may write.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <rapidxml/rapidxml.hpp>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "orvi_ai_common.h"
#include "orvi_host_api.h"
#include "orvi_om_log_client.h"

namespace {

constexpr size_t kRecordSize = 356;
constexpr size_t kMaxFileSize = size_t{1024} * 1024;
constexpr size_t kFirstRead = 4096;  // an honest file is shorter

// The parser goes one call deeper for each tag that is open. An honest file has about a dozen tags, a bound on all of
// them bounds the stack.
constexpr size_t kMaxTags = 512;

// A flag's name in the file and its 32-bit value's offset in the record.
struct Flag {
    const char* name;
    size_t offset;
};

constexpr Flag kFlags[] = {
    {"minutes-signature", 184}, {"sign", 188},         {"caption", 192},       {"nameplate", 196},
    {"face-detector", 200},     {"director", 204},     {"fast-director", 208}, {"auto-frame", 220},
    {"speak-track", 224},       {"split-screen", 228}, {"large-model-b", 348}, {"large-model-a", 352},
};
constexpr size_t kFlagCount = sizeof(kFlags) / sizeof(kFlags[0]);

struct Record {
    alignas(8) unsigned char bytes[kRecordSize] = {};

    void Set(const Flag& flag, int32_t value) { std::memcpy(bytes + flag.offset, &value, sizeof(value)); }
};

// What is wrong with the file, in words for its author.
class FileError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

std::string ErrnoText(int error) {
    char reason[128];
    return strerror_r(error, reason, sizeof(reason));
}

// The file's bytes and a NUL. Regular files only: a pipe would keep the caller waiting.
std::vector<char> ReadFile(const char* path) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        throw FileError(ErrnoText(errno));
    }
    std::vector<char> text;
    const auto readAll = [&]() -> const char* {
        struct stat status {};
        if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
            return "not a regular file";
        }
        size_t used = 0;
        for (;;) {
            if (used == text.size()) {
                if (used > kMaxFileSize) {
                    return "longer than 1 MiB";
                }
                // One more than may be there, for the NUL or to see that it is too long.
                text.resize(std::min(std::max(2 * used, kFirstRead), kMaxFileSize + 1));
            }
            const ssize_t n = read(fd, text.data() + used, text.size() - used);
            if (n == 0) {
                break;
            }
            if (n > 0) {
                used += static_cast<size_t>(n);
            } else if (errno != EINTR) {
                return "read error";
            }
        }
        text.resize(used);
        return nullptr;
    };
    const char* const fault = readAll();
    (void)close(fd);
    if (fault != nullptr) {
        throw FileError(fault);
    }
    text.push_back('\0');
    return text;
}

std::string Quoted(const char* text) {
    return "\"" + std::string(text) + "\"";
}

const Flag& FlagNamed(const char* name) {
    for (const Flag& flag : kFlags) {
        if (std::strcmp(flag.name, name) == 0) {
            return flag;
        }
    }
    std::string known;
    for (const Flag& flag : kFlags) {
        known += known.empty() ? "" : ", ";
        known += flag.name;
    }
    throw FileError("flag " + Quoted(name) + " is unknown; expected one of " + known);
}

// A decimal 32-bit number and nothing around it.
int32_t NumberOf(const Flag& flag, const char* text) {
    const char* const digits = *text == '-' ? text + 1 : text;
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text, &end, 10);
    if (*digits < '0' || *digits > '9' || *end != '\0' || errno != 0 || value < INT32_MIN || value > INT32_MAX) {
        throw FileError("flag " + Quoted(flag.name) + " has the value " + Quoted(text) +
                        "; expected a 32-bit whole number, 1 = supported, 0 = not");
    }
    return static_cast<int32_t>(value);
}

void ReadFlag(const rapidxml::xml_node<>& node, Record* record, bool (*seen)[kFlagCount]) {
    const char* name = nullptr;
    const char* value = nullptr;
    for (auto* attribute = node.first_attribute(); attribute != nullptr; attribute = attribute->next_attribute()) {
        if (std::strcmp(attribute->name(), "name") == 0 && name == nullptr) {
            name = attribute->value();
        } else if (std::strcmp(attribute->name(), "value") == 0 && value == nullptr) {
            value = attribute->value();
        } else {
            throw FileError("a flag has the attribute " + Quoted(attribute->name()) +
                            " too many; expected name and value, once each");
        }
    }
    if (name == nullptr) {
        throw FileError(R"(a flag has no name; expected <flag name="..." value="..."/>)");
    }
    const Flag& flag = FlagNamed(name);
    if (value == nullptr) {
        throw FileError("flag " + Quoted(name) + " has no value; expected value=\"1\" or value=\"0\"");
    }
    if (node.first_node() != nullptr) {
        throw FileError("flag " + Quoted(name) + R"( has contents; expected <flag name="..." value="..."/>)");
    }
    bool& seenThis = (*seen)[&flag - kFlags];
    if (seenThis) {
        throw FileError("flag " + Quoted(name) + " stands there twice");
    }
    seenThis = true;
    record->Set(flag, NumberOf(flag, value));
}

// Fills the record from the file's text, which the parser changes. Flags that the file leaves out are 0.
void Parse(std::vector<char>* text, Record* record) {
    size_t tags = 0;
    for (size_t i = 0; i + 1 < text->size(); ++i) {
        if ((*text)[i] == '\0') {
            throw FileError("holds a NUL byte, so it is not XML text in UTF-8");
        }
        tags += (*text)[i] == '<' ? 1 : 0;
    }
    if (tags > kMaxTags) {
        throw FileError("has more than " + std::to_string(kMaxTags) + " tags");
    }
    const auto document = std::make_unique<rapidxml::xml_document<>>();  // too large for a stack
    try {
        document->parse<rapidxml::parse_validate_closing_tags>(text->data());
    } catch (const rapidxml::parse_error& error) {
        const auto line = 1 + std::count(text->data(), error.where<char>(), '\n');
        throw FileError("line " + std::to_string(line) + ": " + error.what());
    }
    const auto* const root = document->first_node();
    if (root == nullptr || std::strcmp(root->name(), "capability") != 0) {
        throw FileError("the outermost element is " + Quoted(root == nullptr ? "" : root->name()) +
                        "; expected <capability>");
    }
    if (root->next_sibling() != nullptr) {
        throw FileError("there is something after </capability>");
    }
    bool seen[kFlagCount] = {};
    for (const auto* node = root->first_node(); node != nullptr; node = node->next_sibling()) {
        if (node->type() != rapidxml::node_element || std::strcmp(node->name(), "flag") != 0) {
            throw FileError("<capability> holds " +
                            (node->type() == rapidxml::node_element ? "<" + std::string(node->name()) + ">"
                                                                    : Quoted(node->value())) +
                            R"(; expected <flag name="..." value="..."/>)");
        }
        ReadFlag(*node, record, &seen);
    }
}

void Complain(const char* path, const char* reason) {
    static const char kSource[] = "capability.cpp";
    OrviOmLogModuleLogRecord(1, OrviAiGetAiLogFileId("AiLog.log") & 0xFFFFU, kSource, sizeof(kSource) - 1, __LINE__,
                             "ORVI_AI_CAPABILITY: cannot use %s: %s", path, reason);
}

// The record of this workstation, or null after one line that tells why not.
std::unique_ptr<Record> Load() {
    const char* const path = std::getenv("ORVI_AI_CAPABILITY");
    auto record = std::make_unique<Record>();
    if (path == nullptr || *path == '\0') {
        for (const Flag& flag : kFlags) {
            record->Set(flag, 1);  // a workstation's simulated device can do everything
        }
        return record;
    }
    try {
        std::vector<char> text = ReadFile(path);
        Parse(&text, record.get());
        return record;
    } catch (const FileError& error) {
        Complain(path, error.what());
    }
    return nullptr;
}

std::atomic<Record*> gRecord{nullptr};  // set once, under gLoading; lives as long as the process
std::mutex gLoading;

}  // namespace

// A record that was read stays: callers look into it without a lock. After a failure the next call tries again, so
// that a file can be mended without a restart of the application.
ORVI_HOST_API void* OrviAiGetXmlData(void) {
    if (Record* const known = gRecord.load(std::memory_order_acquire)) {
        return known->bytes;
    }
    try {
        const std::lock_guard<std::mutex> lock(gLoading);
        if (gRecord.load(std::memory_order_acquire) == nullptr) {
            gRecord.store(Load().release(), std::memory_order_release);
        }
    } catch (const std::bad_alloc&) {
        Complain("the capability record", "out of memory");
    }
    Record* const record = gRecord.load(std::memory_order_acquire);
    return record != nullptr ? record->bytes : nullptr;
}
