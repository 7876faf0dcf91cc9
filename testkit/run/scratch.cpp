#include "scratch.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdlib.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace orvi_test_run {
namespace {

constexpr size_t LONGEST_BUS_DIRECTORY = 74;  // bytes; docs/host-settings.md tells why
constexpr char TEMPLATE[] = "/orvi-run-XXXXXX";
constexpr std::streamoff MOST_SHOWN = 1 << 20;

[[noreturn]] void Throw(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

bool HasRoom(const std::string& folder) {
    return folder[0] == '/' && folder.size() + sizeof(TEMPLATE) - 1 + sizeof("/bus") - 1 <= LONGEST_BUS_DIRECTORY;
}

// Empty and errno when there is none.
std::string MakeIn(const std::string& folder) {
    std::string name = folder + TEMPLATE;
    return mkdtemp(name.data()) != nullptr ? name : "";  // 0700
}

// A command may leave folders that their owner cannot look into, and so not remove.
void OpenUp(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, error);
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        if (std::error_code none; std::filesystem::is_directory(at->symlink_status(none))) {
            OpenUp(at->path());
        }
    }
}

}  // namespace

Scratch::Scratch() {
    const char* const outer = std::getenv(OUTER);
    const char* const wished = std::getenv("TMPDIR");
    directory_ = outer != nullptr && HasRoom(outer) ? MakeIn(outer) : "";
    if (directory_.empty()) {
        const std::string folder = wished != nullptr && HasRoom(wished) ? wished : "/tmp";
        directory_ = MakeIn(folder);
        if (directory_.empty()) {
            Throw(folder + TEMPLATE);
        }
    }
    if (mkdir(BusDirectory().c_str(), 0700) != 0) {
        const int error = errno;
        (void)rmdir(directory_.c_str());
        errno = error;
        Throw(BusDirectory());
    }
}

int Scratch::Create(const char* name) const {
    const int file = open(Path(name).c_str(), O_RDWR | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600);
    if (file < 0) {
        Throw(Path(name));
    }
    return file;
}

std::string Scratch::Shown(const char* name, const char* heading) const {
    std::ifstream file(Path(name), std::ios::binary | std::ios::ate);
    const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : 0;
    if (size <= 0) {
        return {};
    }
    const std::streamoff left = size > MOST_SHOWN ? size - MOST_SHOWN : 0;
    file.seekg(left);
    std::string text = std::string("---- ") + heading + " ----\n";
    if (left > 0) {
        text += "[" + std::to_string(left) + " bytes before this are left out]\n";
    }
    text.append(std::istreambuf_iterator<char>(file), {});
    if (text.back() != '\n') {
        text += '\n';
    }
    return text;
}

void Scratch::Remove() {
    if (!directory_.empty()) {
        OpenUp(directory_);
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
        directory_.clear();
    }
}

}  // namespace orvi_test_run
