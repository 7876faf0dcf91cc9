// A member of the bus that fails at a named point: who asked it gets the right answer or learns that there is none, nothing
// is done twice, others are told of its lives, and its name is free again afterwards.
#include <cstdlib>
#include <random>
#include <regex>
#include <set>

#include "bus_peer.h"
#include "bus_peer_ids.h"
#include "fault_points.h"

namespace {

const std::string kUid = std::to_string(geteuid());
const std::string kGone = "error 8";
const std::string kTimeout = "error 7";
const std::string kAbsent = "error 6";
const std::string kRight = "reply 4 uid " + kUid;
const std::string kHalf = "reply 2 damaged uid " + kUid;
const std::string kWrong = "reply 4 damaged uid " + kUid;

const struct Row {
    const char* point;
    const char* action;
    const std::string& outcome;  // of a request of 4 bytes to a member that fails there
    int executed;                // how often its handler was called for it
} kRows[] = {
    // point, action, outcome, executed
    {"accept.before", "kill", kGone, 0},     {"accept.before", "stop", kTimeout, 0},
    {"accept.before", "delay", kRight, 1},   {"accept.after", "kill", kGone, 0},
    {"accept.after", "stop", kTimeout, 0},   {"accept.after", "delay", kRight, 1},
    {"accept.after", "drop", kGone, 0},      {"receive.after", "kill", kGone, 0},
    {"receive.after", "stop", kTimeout, 0},  {"receive.after", "delay", kRight, 1},
    {"receive.after", "drop", kTimeout, 0},  {"receive.after", "truncate", kHalf, 1},
    {"receive.after", "corrupt", kWrong, 1}, {"reply.before", "kill", kGone, 1},
    {"reply.before", "stop", kTimeout, 1},   {"reply.before", "delay", kRight, 1},
    {"reply.before", "drop", kTimeout, 1},   {"reply.before", "truncate", kHalf, 1},
    {"reply.before", "corrupt", kGone, 1},   {"reply.inside", "kill", kGone, 1},
    {"reply.inside", "stop", kTimeout, 1},   {"reply.inside", "delay", kRight, 1},
    {"reply.inside", "truncate", kGone, 1},  {"reply.after", "kill", kRight, 1},
    {"reply.after", "stop", kRight, 1},      {"reply.after", "delay", kRight, 1},
    {"join.locked", "kill", kAbsent, 0},     {"join.locked", "stop", kAbsent, 0},
    {"join.locked", "delay", kRight, 1},     {"join.recorded", "kill", kAbsent, 0},
    {"join.recorded", "stop", kAbsent, 0},   {"join.recorded", "delay", kRight, 1},
    {"unlink.before", "kill", kRight, 1},    {"unlink.before", "stop", kRight, 1},
    {"unlink.before", "delay", kRight, 1},   {"unlink.before", "drop", kRight, 1},
};

class BusFaultPoints : public BusTest {
 protected:
    void SetUp() override {
        BusTest::SetUp();
        client_ = &StartTask("client", "c");
        ASSERT_EQ(client_->Ask("watch c server"), "0");
    }

    std::unique_ptr<Peer> StartFailing(const Row& row, uint32_t passage) {
        return StartAlone(
            {{"ORVI_TEST_FAULT", std::string(row.point) + ' ' + row.action + ' ' + std::to_string(passage)}});
    }

    std::string AskServer(uint32_t length, uint32_t waitMs) {
        return client_->Ask("call server t " + std::to_string(kEcho) + ' ' + std::to_string(length) + ' ' +
                            std::to_string(waitMs));
    }

    // What a member that has ended was told of requests, by their length.
    static std::multiset<std::string> Executed(Peer* server) {
        static const std::regex request("message t 2 ([0-9]+) .*");
        std::multiset<std::string> lengths;
        std::smatch found;
        for (std::string line = server->Next(); line != "(ended)"; line = server->Next()) {
            if (std::regex_match(line, found, request)) {
                lengths.insert(found[1]);
            }
        }
        return lengths;
    }

    // The name is free and another process answers under it; the client has been told of these lives and no others.
    void ExpectSuccessor(bool hasLived) {
        const std::unique_ptr<Peer> successor = StartAlone();
        Run(successor.get(), "server", "t");
        EXPECT_EQ(AskServer(4, 0), kRight) << successor->Errors();
        successor->Kill();
        for (int life = hasLived ? 0 : 1; life < 2; ++life) {
            EXPECT_EQ(client_->Next(), "start server " + kUid);
            EXPECT_EQ(client_->Next(), "exit server " + kUid);
        }
    }

    Peer* client_ = nullptr;
};

TEST_F(BusFaultPoints, EachWithEachAction) {
    std::set<std::string> tried;
    for (const Row& row : kRows) {
        const std::string point = row.point;
        const std::string action = row.action;
        SCOPED_TRACE(point + ' ' + action);
        tried.insert(point + ' ' + action);
        const bool lives = row.outcome != kAbsent;
        const std::unique_ptr<Peer> server = StartFailing(row, 1);
        if (lives) {
            Run(server.get(), "server", "t");
        } else {
            server->Tell("join server");
        }
        EXPECT_EQ(AskServer(4, action == "stop" || action == "drop" ? 200 : 0), row.outcome);
        if (point == "unlink.before") {
            server->Tell("return");
        }
        if (action == "kill") {
            EXPECT_EQ(server->WaitForExit(), -SIGKILL);
        }
        server->Kill();
        EXPECT_EQ(Executed(server.get()).size(), static_cast<size_t>(row.executed));
        EXPECT_EQ(server->Errors().find("no such point"), std::string::npos) << server->Errors();
        ExpectSuccessor(lives);
    }
    const std::unique_ptr<Peer> wrong = StartAlone({{"ORVI_TEST_FAULT", "elsewhere kill"}});
    Run(wrong.get(), "server", "t");
    EXPECT_EQ(orvi_test::PossibleFaults(wrong->Errors()), tried);
}

// At a random passage among many requests, and what was stopped goes on. ORVI_TEST_CYCLES says how often.
TEST_F(BusFaultPoints, AtRandom) {
    const char* const cycles = std::getenv("ORVI_TEST_CYCLES");
    const char* const given = std::getenv("ORVI_TEST_SEED");
    const auto seed =
        static_cast<uint32_t>(given != nullptr ? std::strtoul(given, nullptr, 10) : std::random_device()());
    std::mt19937 random(seed);
    for (int left = cycles != nullptr ? std::atoi(cycles) : 30; left > 0 && !HasFailure(); --left) {
        const Row& row = kRows[random() % std::size(kRows)];
        const auto passage = static_cast<uint32_t>(1 + random() % 6);
        SCOPED_TRACE("ORVI_TEST_SEED=" + std::to_string(seed) + ' ' + row.point + ' ' + row.action + ' ' +
                     std::to_string(passage));
        if (row.outcome == kAbsent) {
            continue;
        }
        const std::string action = row.action;
        const std::unique_ptr<Peer> server = StartFailing(row, passage);
        Run(server.get(), "server", "t");
        int altered = 0;
        for (uint32_t length = 16; length < 24; ++length) {
            const std::string answer = AskServer(length, 100);
            const bool isRight = answer == "reply " + std::to_string(length) + " uid " + kUid;
            EXPECT_TRUE(isRight || answer.find("damaged") != std::string::npos || answer.rfind("error ", 0) == 0)
                << answer;
            altered += answer.find("damaged") != std::string::npos ? 1 : 0;
            if (answer == kTimeout) {
                server->Signal(SIGCONT);
            }
        }
        EXPECT_LE(altered, action == "truncate" || action == "corrupt" ? 1 : 0);
        server->Kill();
        const std::multiset<std::string> executed = Executed(server.get());
        for (const std::string& length : executed) {
            EXPECT_EQ(executed.count(length), 1U) << length << " bytes";
        }
        ExpectSuccessor(true);
    }
}

}  // namespace
