#include "library_log.h"

#include <cstdlib>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace orvi_ai {
namespace {

constexpr off_t MOST_SHOWN = 4096;  // bytes of the end

int g_log = -1;    // a file in memory
off_t g_read = 0;  // how much of it was taken

}  // namespace

void CatchLibraryLog() {
    const char* const file = std::getenv("ORVI_LOG_FILE");
    if (file != nullptr && *file != '\0') {
        return;
    }
    g_log = memfd_create("library-log", MFD_CLOEXEC);
    if (g_log >= 0) {
        (void)setenv("ORVI_LOG_FILE", ("/proc/self/fd/" + std::to_string(g_log)).c_str(), 1);
    }
}

std::string TakeLibraryLog() {
    if (g_log < 0) {
        return "";
    }
    const off_t end = lseek(g_log, 0, SEEK_END);
    if (end - g_read > MOST_SHOWN) {
        g_read = end - MOST_SHOWN;
    }
    std::string text(end > g_read ? static_cast<size_t>(end - g_read) : 0, '\0');
    const ssize_t size = pread(g_log, text.data(), text.size(), g_read);
    text.resize(size > 0 ? static_cast<size_t>(size) : 0);
    g_read = end;
    return text;
}

}  // namespace orvi_ai
