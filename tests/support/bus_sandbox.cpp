#include "bus_sandbox.h"

#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <stdlib.h>
#include <unistd.h>
#include <utility>

namespace orvi_test {
namespace {

// Of a test that ends its process before its fixture ends.
std::string g_atExit;
pid_t g_owner = 0;

void Remove(const std::string& directory) {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

void RemoveAtExit() {
    if (getpid() == g_owner) {
        Remove(g_atExit);
    }
}

}  // namespace

BusSandbox::BusSandbox() {
    char path[] = "/tmp/orvi-test-XXXXXX";  // short: a socket's path has little room
    if (mkdtemp(path) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    directory_ = path;
    g_atExit = directory_;
    if (std::exchange(g_owner, getpid()) == 0) {
        (void)std::atexit(RemoveAtExit);
    }
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
    Remove(directory_);
}

size_t BusSandbox::SocketCount() const {
    size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(BusDirectory())) {
        count += entry.is_socket() ? 1 : 0;
    }
    return count;
}

}  // namespace orvi_test
