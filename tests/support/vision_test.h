// Base of the end-to-end tests: the library in this process, the simulated service in another, a bus of their own.
// Each case runs in a process of its own, because the library's connection lasts as long as its process.
#ifndef ORVI_TEST_VISION_TEST_H
#define ORVI_TEST_VISION_TEST_H

#include <atomic>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "bus_sandbox.h"
#include "event_recorder.h"
#include "simulator_process.h"

namespace orvi_test {

class VisionTest : public testing::Test {
 protected:
    // Starts the simulator and initialises the library, with EventRecorder as its main callback; returns when the
    // service knows this process and the library's subscriptions are proved to be in place.
    void Connect(const std::vector<std::string>& options = {});

    // OrviAiSrvApiInit alone.
    static int Init();

    // The same, and the service knows this process as its only client.
    void Announce();

    // Fails the test unless a message that the service sends now to all of its clients is the next event here.
    void ExpectPushArrives(int clients = 1);

    // Returns when whatever the service has to send within the next so many milliseconds has been sent: its one timer
    // keeps back a reply for as long.
    void AwaitServiceTime(int milliseconds);

    // What the simulator has logged so far contains this text.
    void ExpectLogged(const std::string& text) const {
        EXPECT_NE(simulator_.Log().find(text), std::string::npos) << text;
    }

    // The simulator is ended if it still runs; the process then keeps what the library needs while there is no service, and
    // nothing more.
    void TearDown() override;

    // The simulator is killed and started again; the events 0 and 1 are awaited.
    void RestartSimulator();

    // The bus names of this process, or of an application with that pid.
    static std::string ProcessName(pid_t pid = getpid());
    static std::string TaskName();

    // This process's address as it stands in payloads, 36 bytes.
    static Bytes Address();

    BusSandbox sandbox_;
    SimulatorProcess simulator_{sandbox_};
    size_t connectionsOfOthers_ = 0;  // that a living thread, as the message thread, has made and not looked at since

 private:
    static inline std::atomic<bool> initialised_{false};
};

// Outcome of a synchronous request; the bus's reply block has been released.
struct Outcome {
    int result;
    bool hasData = false;
    Bytes data;
};

// A request straight to a task of the service, past the library.
Outcome RequestFromTask(const char* task, uint32_t id, const Bytes& payload, uint32_t waitMs);

// A one-way message straight to a task of the service.
void SendToTask(const char* task, uint32_t id, Bytes payload);

// A request through the library's interface channel.
Outcome RequestThroughProxy(uint32_t id, Bytes payload, uint32_t waitMs);

// A wait that only a hanging test exhausts.
constexpr uint32_t LONG_WAIT_MS = 100000;

void AppendInteger(Bytes& bytes, uint32_t value);

}  // namespace orvi_test

#endif
