// Several applications at once: what each gets, what it owns, and what becomes of that when it goes.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <signal.h>
#include <thread>

#include "child_process.h"
#include "orvi_vision_sim_payloads.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

// tests/e2e/application.cpp as a process.
class Application {
 public:
    explicit Application(const BusSandbox& sandbox) : process_("application", {}, sandbox.Path("application.log")) {}

    // Carries out a command, which must succeed.
    void Do(const std::string& command) {
        process_.WriteLine(command);
        EXPECT_TRUE(ReadUntil("= 0")) << command;
    }

    // Lines until one begins with `text`; those that are passed over can still be read.
    bool ReadUntil(const std::string& text) {
        for (auto line = unread_.begin(); line != unread_.end(); ++line) {
            if (line->rfind(text, 0) == 0) {
                unread_.erase(line);
                return true;
            }
        }
        for (std::string line; process_.ReadLine(line); unread_.push_back(line)) {
            if (line.rfind(text, 0) == 0) {
                return true;
            }
        }
        return false;
    }

    ChildProcess& Process() { return process_; }

 private:
    ChildProcess process_;
    std::vector<std::string> unread_;
};

class ApplicationsTest : public VisionTest {
 protected:
    // The other one is announced as the last of so many clients.
    void Announced(Application& other, int clients) {
        other.Do("init");
        simulator_.Await("clients " + std::to_string(clients));
    }

    std::string State() { return simulator_.Command("state"); }
    void ExpectState(const std::string& part) {
        const std::string state = State();
        EXPECT_NE((" " + state + " ").find(" " + part + " "), std::string::npos) << part << " in " << state;
    }

    // One of the simulator's numbers in /proc.
    size_t Threads() {
        const std::string tasks = "/proc/" + std::to_string(simulator_.Child().Pid()) + "/task";
        return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(tasks), {}));
    }
};

// Everything that an application can own: the command that takes it, and what the service's state then holds.
const struct {
    const char* command;
    const char* state;
} OWNED[] = {
    {"detector", "detectors=1"},
    {"captions weekly", "captions=on"},
    {"nameplates", "nameplate=on"},
    {"minutes weekly", "minutes=weekly"},
    {"checkin weekly", "check-in=reporting"},
    {"model", "models=1"},
    {"ask 1", "answers=1"},
    {"intent lights", "intents=lights"},
    {"hotword lights", "lights=lights"},
    {"announce", "assistant=awake"},
};

TEST_F(ApplicationsTest, WhatOneOwnedIsGivenUpWhenItGoes) {
    Connect({"--arrival", "0"});
    const std::string before = State();
    enum { LEAVES, ENDS, IS_KILLED };
    for (const int way : {LEAVES, ENDS, IS_KILLED}) {
        Application other(sandbox_);
        Announced(other, 2);
        for (const auto& owned : OWNED) {
            other.Do(owned.command);
        }
        for (const char* oneWay : {"assistant.intents", "hotword.replace", "assistant.wake"}) {
            simulator_.Await("request " + std::string(oneWay) + " " + std::to_string(way + 1));
        }
        for (const auto& owned : OWNED) {
            ExpectState(owned.state);
        }
        if (way == LEAVES) {
            other.Do("deinit");
        } else if (way == ENDS) {
            other.Process().CloseInput();
        } else {
            other.Process().Signal(SIGKILL);
        }
        simulator_.Await("clients 1");
        EXPECT_EQ(State(), before);
    }
    // The next one, with another conference, is not refused for one that has gone.
    Application next(sandbox_);
    Announced(next, 2);
    for (const char* command : {"captions monthly", "checkin monthly", "minutes monthly"}) {
        next.Do(command);
    }
}

// A message may reach the service when its sender has ended: it is done, and leaves the sender nothing.
TEST_F(ApplicationsTest, WhatWasSaidIsDoneAlsoWhenItsSenderHasEnded) {
    Connect({"--arrival", "0"});
    const std::string before = State();
    Application other(sandbox_);
    Announced(other, 2);
    const char* const said[][2] = {{"assistant.set-page", "page 3"}, {"assistant.intents", "intent lights"}};
    for (const auto& one : said) {
        simulator_.Command(std::string("hold ") + one[0]);
        other.Do(one[1]);
        simulator_.Await(std::string("request ") + one[0] + " 1");
    }
    other.Process().Signal(SIGKILL);
    simulator_.Await("clients 1");
    for (const auto& one : said) {
        EXPECT_EQ(simulator_.Command(std::string("release ") + one[0]), "1");
    }
    OrviAiAssistantPageInfo info{};
    ASSERT_EQ(OrviAiAssistantGetPageInfo(&info), 0);
    EXPECT_EQ(info.content[0], 3);
    EXPECT_EQ(State(), before);
    EXPECT_EQ(simulator_.Command("clients").substr(0, 2), "1 ");
}

TEST_F(ApplicationsTest, WhatSeveralHoldStaysUntilTheLastGoes) {
    Connect();
    Application first(sandbox_);
    Announced(first, 2);
    Application second(sandbox_);
    Announced(second, 3);
    for (const char* command : {"captions weekly", "nameplates", "minutes weekly", "checkin weekly"}) {
        first.Do(command);
        second.Do(command);
    }
    first.Process().Signal(SIGKILL);
    simulator_.Await("clients 2");
    for (const char* state : {"captions=on", "nameplate=on", "minutes=weekly", "check-in=reporting"}) {
        ExpectState(state);
    }
    second.Process().Signal(SIGKILL);
    simulator_.Await("clients 1");
    for (const char* state : {"captions=off", "nameplate=off", "minutes=none", "check-in=off"}) {
        ExpectState(state);
    }
}

// Both use the same number for their requests.
TEST_F(ApplicationsTest, EachGetsItsOwnAnswers) {
    EventRecorder::CopyRecords();
    Connect();
    Application other(sandbox_);
    Announced(other, 2);
    other.Do("model");
    other.Do("ask 7");
    OrviSimModelRequest request = {};
    request.requestId = 7;
    request.type = ORVI_SIM_MODEL_REPEAT;
    std::strcpy(request.text, "mine");
    OrviAiModelParams params;
    std::memcpy(&params, &request, sizeof(params));
    const auto ask = [&](OrviSimModelResult result) {
        ASSERT_EQ(OrviAiSrvLargeModelRequest(params), 0);
        Event event = EventRecorder::Next();
        while (event.id == ORVI_AI_EVENT_LARGE_MODEL_3F || event.id == ORVI_AI_EVENT_LARGE_MODEL_3E) {
            event = EventRecorder::Next();
        }
        const auto end = As<OrviSimModelEnd>(event.record);
        EXPECT_EQ(end.requestId, 7U);
        EXPECT_EQ(end.result, uint32_t{result});
        EXPECT_EQ(end.textLength, result == ORVI_SIM_MODEL_COMPLETE ? 4U : 0U);
    };
    ask(ORVI_SIM_MODEL_NOT_READY);  // the other's model is its own
    ASSERT_EQ(OrviAiSrvLargeModelInit(OrviAiLLMInitParams{}), 0);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_LARGE_MODEL, 1);
    ask(ORVI_SIM_MODEL_COMPLETE);
    ASSERT_EQ(OrviAiSrvLargeModelDeInit(OrviAiLLMInitParams{}), 0);
    ExpectState("answers=1");  // the other's goes on
    EventRecorder::ExpectNoMore();
}

TEST_F(ApplicationsTest, AnIntentIsNotifiedToItsApplication) {
    Connect();
    simulator_.Command("patience 1000s");
    Application other(sandbox_);
    Announced(other, 2);
    other.Do("intent blinds");
    OrviAiAssistantIntentName mine{};
    std::strcpy(mine.name, "lights");
    ASSERT_EQ(OrviAiAssistantInitIntent(&mine, 1), 0);
    simulator_.Await("request assistant.intents 2");
    ExpectState("intents=blinds,lights");
    EXPECT_EQ(simulator_.Command("say hello assistant blinds"), "woken up");
    EventRecorder::ExpectIds({100, 102, 105, 103});  // wake up, listen, asr text, no listen
    EXPECT_TRUE(other.ReadUntil("event 104"));
    ASSERT_EQ(OrviAiAssistantNotifyIntentResult(1, OrviAiAssistantIntentResult{}), 0);  // not for this one to answer
    EventRecorder::ExpectIds({109});
    other.Process().Signal(SIGKILL);
    EventRecorder::ExpectIds({111, 101});  // nobody is left to answer: reset, sleep
}

TEST_F(ApplicationsTest, ADetectorIsItsOwners) {
    Connect();
    Application other(sandbox_);
    Announced(other, 2);
    other.Do("detector");
    EXPECT_TRUE(other.ReadUntil("picture"));
    ASSERT_EQ(OrviAiSrvApiDeinit(), 0);  // the other's pictures go on
    EXPECT_TRUE(other.ReadUntil("picture"));
    ASSERT_EQ(Init(), 0);
    // Another process's address in a request changes nobody's place.
    Bytes strangers = Address();
    std::memcpy(strangers.data(), ProcessName(other.Process().Pid()).c_str(), 16);
    EXPECT_EQ(RequestFromTask("ai_v_task_i", 0x600014, strangers, LONG_WAIT_MS).data, Bytes{ORVI_SIM_MALFORMED});
    ExpectLogged("refused caption init from " + ProcessName() + ": the address in it is that of ai_vpp");
}

// The announcement goes to another task than the requests, and may be handled after them.
TEST_F(ApplicationsTest, EventsOfARequestReachWhoHasNotAnnouncedItselfYet) {
    simulator_.Start();
    simulator_.Command("hold app.init");
    ASSERT_EQ(Init(), 0);
    simulator_.Await("request app.init 1");
    // A request that tells where its sender receives is enough; else the event waits.
    ASSERT_EQ(OrviAiSrvLargeModelInit(OrviAiLLMInitParams{}), 0);
    EXPECT_EQ(simulator_.Command("release app.init"), "1");
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_LARGE_MODEL, 1);
    ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
    simulator_.Await("clients 0");

    Application other(sandbox_);
    simulator_.Command("hold app.init");
    other.Do("init");
    other.Do("captions weekly");
    EXPECT_TRUE(other.ReadUntil("event 2 1 1"));
    simulator_.Await("clients 0");
    EXPECT_EQ(simulator_.Command("release app.init"), "1");
    simulator_.Await("clients 1");
}

// ORVI_TEST_STARTS in the environment sets how many.
TEST_F(ApplicationsTest, FirstEventsAreNotLostUnderLoad) {
    simulator_.Start({"--arrival", "0"});
    const char* const wanted = std::getenv("ORVI_TEST_STARTS");
    const int starts = wanted != nullptr ? std::atoi(wanted) : 20;
    std::atomic<bool> stop{false};
    std::vector<std::thread> load;
    for (unsigned i = 0; i < 2 * std::thread::hardware_concurrency(); ++i) {
        load.emplace_back([&] {
            while (!stop) {
            }
        });
    }
    int lost = 0;
    for (int i = 0; i < starts; ++i) {
        ChildProcess application("application", {"first"}, sandbox_.Path("application.log"));
        lost += application.Wait() == 0 ? 0 : 1;
    }
    stop = true;
    for (std::thread& thread : load) {
        thread.join();
    }
    EXPECT_EQ(lost, 0) << "of " << starts;
    simulator_.Await("clients 0");
}

TEST_F(ApplicationsTest, KilledWithItsAnnouncementItIsForgotten) {
    Connect();
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(ChildProcess("application", {"die"}, sandbox_.Path("application.log")).Wait(), -SIGKILL);
    }
    simulator_.Await("clients 1");
    ExpectPushArrives();
    EXPECT_EQ(simulator_.Command("clients").substr(0, 2), "1 ");
}

// Clients that somebody makes up keep nobody out, and however many there are, the service has the same threads.
TEST_F(ApplicationsTest, ManyClientsAndMadeUpOnes) {
    Connect();
    const size_t threads = Threads();
    constexpr int MADE_UP = 400;
    for (int i = 0; i < MADE_UP; ++i) {
        Bytes nobody(36);
        const std::string name = "nobody" + std::to_string(i);
        std::copy(name.begin(), name.end(), nobody.begin());
        nobody[16] = 'y';
        SendToTask("ai_v_task_m", 0x60000F, nobody);
    }
    simulator_.Await("request app.init " + std::to_string(1 + MADE_UP));
    ExpectLogged("refused init from " + ProcessName() + ": the address in it is that of nobody0");
    std::vector<std::unique_ptr<Application>> others;
    for (int i = 0; i < 20; ++i) {
        others.push_back(std::make_unique<Application>(sandbox_));
        Announced(*others.back(), i + 2);
    }
    ExpectPushArrives(21);
    EXPECT_EQ(Threads(), threads);
}

// A request that comes behind the goodbye does not bring its sender back.
TEST_F(ApplicationsTest, GoodbyeIsFinal) {
    Connect();
    ASSERT_EQ(OrviAiSrvApiDeinit(), 0);
    simulator_.Await("clients 0");
    EXPECT_EQ(OrviAiSrvNamePlateStop(), 0);
    EXPECT_EQ(simulator_.Command("push checkin.count 1"), "0");
    EventRecorder::ExpectNoMore();
    ASSERT_EQ(Init(), 0);
    EventRecorder::ExpectStatus(ORVI_AI_STATUS_NAMEPLATE, 0);  // what became of the request
}

}  // namespace
}  // namespace orvi_test
