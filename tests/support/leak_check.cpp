#include "leak_check.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <sched.h>
#include <thread>

#include "child_process.h"

// Of the workstation's bus, where the program has it.
extern "C" __attribute__((weak)) uint32_t OrviHostMsgOutstandingReplies(void);

namespace orvi_test {
namespace {

size_t ThreadCount() {
    const std::filesystem::directory_iterator entries("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

uint32_t OutstandingReplies() {
    return OrviHostMsgOutstandingReplies != nullptr ? OrviHostMsgOutstandingReplies() : 0;
}

class LeakCheck : public testing::EmptyTestEventListener {
 public:
    static LeakCheck& Get() {
        static auto* check = new LeakCheck;  // the test framework deletes it
        return *check;
    }
    void Check(size_t keptDescriptors, size_t keptThreads) {
        ExpectBackAt(baseline_, keptDescriptors, keptThreads);
        checked_ = true;
    }

 private:
    void OnTestProgramStart(const testing::UnitTest& /*all*/) override {
        std::thread([] {}).join();  // a sanitizer's own thread comes with a process's first
    }
    void OnTestStart(const testing::TestInfo& /*test*/) override {
        checked_ = false;
        baseline_ = Resources::Now();
    }
    void OnTestEnd(const testing::TestInfo& test) override {
        if (!checked_ && !test.result()->Failed()) {
            Check(0, 0);
        }
    }

    Resources baseline_{};
    bool checked_ = false;
};

[[maybe_unused]] const bool g_checked = [] {
    testing::UnitTest::GetInstance()->listeners().Append(&LeakCheck::Get());
    return true;
}();

}  // namespace

Resources Resources::Now() {
    Resources now{0, ThreadCount(), OutstandingReplies(), ""};
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

void ExpectBackAt(const Resources& baseline, size_t moreDescriptors, size_t moreThreads) {
    const size_t expected = baseline.descriptors + moreDescriptors;
    const size_t threads = baseline.threads + moreThreads;
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    Resources now = Resources::Now();
    while ((now.descriptors > expected || now.threads > threads) && std::chrono::steady_clock::now() < deadline) {
        sched_yield();
        now = Resources::Now();
    }
    EXPECT_LE(now.descriptors, expected) << "now:\n" << now.listing << "before:\n" << baseline.listing;
    EXPECT_LE(now.threads, threads);
    EXPECT_EQ(now.replyBlocks, baseline.replyBlocks);
}

void ExpectNothingLeftBut(size_t descriptors, size_t threads) {
    LeakCheck::Get().Check(descriptors, threads);
}

}  // namespace orvi_test
