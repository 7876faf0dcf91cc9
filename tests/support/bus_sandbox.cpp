#include "bus_sandbox.h"

#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <stdlib.h>

namespace orvi_test {
BusSandbox::BusSandbox() {
    char path[] = "/tmp/orvi-test-XXXXXX";  // short: a socket's path has little room
    if (mkdtemp(path) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    directory_ = path;
    std::filesystem::create_directory(BusDirectory());
    std::filesystem::permissions(BusDirectory(), std::filesystem::perms::owner_all);
    setenv("ORVI_BUS_DIR", BusDirectory().c_str(), 1);
    setenv("ORVI_LOG_FILE", Path("library.log").c_str(), 1);
}

BusSandbox::~BusSandbox() {
    if (testing::Test::HasFailure()) {
        for (const char* log : {"service.log", "library.log"}) {
            std::fprintf(stderr, "---- %s ----\n%s", log, ReadFile(Path(log)).c_str());
        }
    }
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

size_t BusSandbox::SocketCount() const {
    size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(BusDirectory())) {
        count += entry.is_socket() ? 1 : 0;
    }
    return count;
}

}  // namespace orvi_test
