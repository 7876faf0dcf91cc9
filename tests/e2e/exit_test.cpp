// Applications that end while messages arrive.
#include <gtest/gtest.h>
#include <string>

#include "bus_sandbox.h"
#include "child_process.h"
#include "simulator_process.h"

namespace orvi_test {
namespace {

class ExitTest : public testing::TestWithParam<const char*> {
 protected:
    BusSandbox sandbox_;
    SimulatorProcess simulator_{sandbox_};
};

TEST_P(ExitTest, IsCleanWheneverItComes) {
    simulator_.Start({"--queue-size", "4096"});
    for (int round = 0; round < 10; ++round) {
        ChildProcess application("exit_app", {GetParam(), ORVI_TEST_LIBRARY}, sandbox_.Path("exit_app.log"));
        ASSERT_TRUE(application.ReadUntil("connected"));
        simulator_.Await("clients 1");
        // Far more than it waits for: the rest arrives during its end or after it.
        for (int i = 0; i < 100; ++i) {
            (void)simulator_.Ask("push checkin.count " + std::to_string(i));
        }
        ASSERT_EQ(application.Wait(), 7) << "round " << round;
        simulator_.Await("clients 0");
    }
}

INSTANTIATE_TEST_SUITE_P(From, ExitTest, testing::Values("return", "main", "thread", "callback", "unload"),
                         [](const auto& how) { return std::string(how.param); });

}  // namespace
}  // namespace orvi_test
