#include "bus_sandbox.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <sched.h>
#include <stdexcept>
#include <stdlib.h>

#include "child_process.h"
#include "orvi_host_bus.h"

namespace orvi_test {
namespace {

size_t ThreadCount() {
    const std::filesystem::directory_iterator entries("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

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

Resources Resources::Now() {
    Resources now{0, ThreadCount(), OrviHostMsgOutstandingReplies(), ""};
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = std::filesystem::read_symlink(entry, error).string();
        if (target.find("library.log") == std::string::npos) {
            ++now.descriptors;
            now.listing += entry.path().filename().string() + " -> " + target + "\n";
        }
    }
    return now;
}

void ExpectBackAt(const Resources& baseline, size_t more) {
    const size_t expected = baseline.descriptors + more;
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    Resources now = Resources::Now();
    while ((now.descriptors != expected || now.threads != baseline.threads) &&
           std::chrono::steady_clock::now() < deadline) {
        sched_yield();
        now = Resources::Now();
    }
    EXPECT_EQ(now.descriptors, expected) << "now:\n" << now.listing << "before:\n" << baseline.listing;
    EXPECT_EQ(now.threads, baseline.threads);
    EXPECT_EQ(now.replyBlocks, baseline.replyBlocks);
}

}  // namespace orvi_test
