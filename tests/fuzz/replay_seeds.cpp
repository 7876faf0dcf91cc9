// Gives a target each file of a directory, in the order of their names, and the empty input; then the same once more,
// cut in the middle.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

#include "target.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    std::set<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        files.insert(entry.path());
    }
    (void)LLVMFuzzerTestOneInput(nullptr, 0);
    for (const auto& file : files) {
        std::printf("%s\n", file.filename().c_str());
        (void)std::fflush(stdout);  // the last line tells which one failed
        std::ifstream stream(file, std::ios::binary);
        const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
        (void)LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        (void)LLVMFuzzerTestOneInput(bytes.data(), bytes.size() / 2);
    }
    std::printf("%zu seeds\n", files.size());
    return files.empty() ? 1 : 0;
}
