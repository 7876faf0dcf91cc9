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

namespace orvi_test_run {
namespace {

constexpr size_t LONGEST_BUS_DIRECTORY = 74;  // bytes; docs/host-settings.md tells why
constexpr std::streamoff MOST_SHOWN = 1 << 20;

[[noreturn]] void Throw(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Scratch::Scratch() {
    const char* const wished = std::getenv("TMPDIR");
    std::string name = wished != nullptr && *wished == '/' ? wished : "/tmp";
    constexpr char TEMPLATE[] = "/orvi-run-XXXXXX";
    if (name.size() + sizeof(TEMPLATE) - 1 + sizeof("/bus") - 1 > LONGEST_BUS_DIRECTORY) {
        name = "/tmp";
    }
    name += TEMPLATE;
    if (mkdtemp(name.data()) == nullptr) {  // 0700
        Throw(name);
    }
    directory_ = name;
    if (mkdir(BusDirectory().c_str(), 0700) != 0) {
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
        std::error_code ignored;  // of what the command left unreadable the rest still goes
        std::filesystem::remove_all(directory_, ignored);
        directory_.clear();
    }
}

}  // namespace orvi_test_run
