// Requests and one-way messages of many threads while the service is killed and started again: each call ends once,
// with its own answer or an error; nothing arrives twice or out of order.
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <sched.h>
#include <signal.h>
#include <string>
#include <thread>
#include <vector>

#include "bus_sandbox.h"
#include "child_process.h"
#include "event_recorder.h"
#include "load_ledger.h"
#include "orvi_ai_srv_proxy.h"

namespace orvi_test {
namespace {

using OrviAiService::AiSrvServiceProxy;

// What became of the messages of one thread.
struct Sender {
    std::atomic<uint32_t> answered{0};
    std::atomic<uint32_t> last{0};
    std::vector<bool> succeeded = std::vector<bool>(LOAD_NUMBERS);
    uint32_t mixedUp = 0;

    void Run(uint32_t thread, const std::atomic<bool>& stop) {
        AiSrvServiceProxy& proxy = AiSrvServiceProxy::GetInstance();
        while (!stop && last + 1 < LOAD_NUMBERS) {
            const uint32_t number = ++last;
            LoadNumber sent = {thread, number};
            auto* const payload = reinterpret_cast<uint8_t*>(&sent);
            if (number % 4 == 0) {
                succeeded[number] = proxy.SendAsynMsgToVision(0x600001, payload, sizeof(sent)) == 0;
                continue;
            }
            TagMsgBlock* reply = nullptr;
            if (proxy.SendSynMsgToVision(0x600014, payload, sizeof(sent), 3000, &reply) != 0) {
                (void)sched_yield();  // the service is down
                continue;
            }
            const bool own = reply->dataLen == sizeof(sent) && std::memcmp(reply->data, &sent, sizeof(sent)) == 0;
            (void)OsMsgSynRespFree(reply);
            mixedUp += own ? 0 : 1;
            succeeded[number] = true;
            ++answered;
        }
    }
};

class LoadTest : public testing::Test {
 protected:
    void KillService() {
        service_->Signal(SIGKILL);
        ASSERT_EQ(service_->Wait(), -SIGKILL);
    }

    // Restarts the service until the library has told of a start: its subscriptions are in place then.
    void AwaitSubscriptions() {
        static std::atomic<bool> told{false};
        EventRecorder::SetHook([](OrviAiEventId event) { told = told || event == ORVI_AI_EVENT_SERVICE_START; });
        while (!told) {
            KillService();
            StartService();
            ASSERT_FALSE(HasFatalFailure());
            ASSERT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, &EventRecorder::OnEvent), 0);
        }
        // Behind the event the bus takes a hold of the process that it watches, beside the test's own.
        const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
        const auto holds = [] {
            const std::string listing = Resources::Now().listing;
            const size_t first = listing.find("pidfd");
            return first != std::string::npos && listing.find("pidfd", first + 1) != std::string::npos;
        };
        while (!holds()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
            (void)sched_yield();
        }
    }

    void StartService() {
        service_ = std::make_unique<ChildProcess>("load_service", std::vector<std::string>{sandbox_.Path("ledger")},
                                                  sandbox_.Path("service.log"));
        ASSERT_TRUE(service_->ReadUntil("running"));
    }

    BusSandbox sandbox_;
    std::unique_ptr<ChildProcess> service_;
};

TEST_F(LoadTest, EveryMessageEndsOnceAcrossRestarts) {
    // Failed sends are what this is about: their log lines would be many.
    ASSERT_EQ(setenv("ORVI_LOG_LEVEL", "none", 1), 0);
    const char* const wanted = std::getenv("ORVI_TEST_CYCLES");
    const int cycles = wanted != nullptr ? std::atoi(wanted) : 50;
    LoadLedger* const ledger = LoadLedger::Map(sandbox_.Path("ledger").c_str());
    ASSERT_NE(ledger, nullptr);
    StartService();
    ASSERT_EQ(OrviAiSrvApiInit(tagOrviAppInfo{}, &EventRecorder::OnEvent), 0);
    AwaitSubscriptions();
    const Resources baseline = Resources::Now();
    std::atomic<bool> stop{false};
    std::array<Sender, LOAD_THREADS> senders;
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < LOAD_THREADS; ++i) {
        threads.emplace_back([&, i] { senders[i].Run(i, stop); });
    }
    for (int cycle = 0; cycle < cycles; ++cycle) {
        std::array<uint32_t, LOAD_THREADS> before{};
        for (uint32_t i = 0; i < LOAD_THREADS; ++i) {
            before[i] = senders[i].answered;
        }
        if (cycle != 0) {
            StartService();
        }
        // Every thread gets an answer of this incarnation, then it dies under their load.
        for (uint32_t i = 0; i < LOAD_THREADS; ++i) {
            while (senders[i].answered == before[i] && senders[i].last + 1 < LOAD_NUMBERS) {
                (void)sched_yield();
            }
        }
        KillService();
        ASSERT_FALSE(HasFatalFailure());
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(ledger->disorder, 0U);
    for (uint32_t i = 0; i < LOAD_THREADS; ++i) {
        SCOPED_TRACE(i);
        const Sender& sender = senders[i];
        ASSERT_LT(sender.last + 1, LOAD_NUMBERS) << "the load ran out of numbers";
        EXPECT_EQ(sender.mixedUp, 0U);
        EXPECT_GE(sender.answered, static_cast<uint32_t>(cycles));
        for (uint32_t number = 1; number <= sender.last; ++number) {
            const unsigned arrived = ledger->arrived[i][number];
            ASSERT_LE(arrived, 1U) << "message " << number << " arrived twice";
            if (number % 4 != 0 && sender.succeeded[number]) {
                ASSERT_EQ(arrived, 1U) << "request " << number << " was answered without having arrived";
            }
        }
    }
    StartService();  // the library watches a living one
    ExpectBackAt(baseline);
    KillService();
    service_.reset();
    ExpectNothingLeftBut(7, 1);  // as in VisionTest, and this thread's connection
}

}  // namespace
}  // namespace orvi_test
