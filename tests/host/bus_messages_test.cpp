// One-way messages and requests between processes.
#include "bus_peer.h"
#include "bus_peer_ids.h"

namespace {

const std::string kUid = std::to_string(geteuid());

std::string Message(const char* task, int id, uint32_t length) {
    return std::string("message ") + task + " " + std::to_string(id) + " " + std::to_string(length) + " " + kUid;
}

std::string Call(int id, uint32_t length, uint32_t wait = 0) {
    return "call server t " + std::to_string(id) + " " + std::to_string(length) + " " + std::to_string(wait);
}

TEST_F(BusTest, RepliesTellNoDataFromLengthZero) {
    Peer& server = StartTask("server", "t");
    Peer& client = StartTask("client", "c");
    EXPECT_EQ(client.Ask(Call(kEcho, 36)), "reply 36 uid " + kUid);
    EXPECT_EQ(server.Next(), Message("t", kEcho, 36));
    EXPECT_EQ(client.Ask(Call(kEcho, 0)), "reply 0 uid " + kUid);
    EXPECT_EQ(client.Ask(Call(kAnswerNoData, 5)), "reply none uid " + kUid);
    EXPECT_EQ(client.Ask(Call(kEcho, 16 << 20)), "reply 16777216 uid " + kUid);
    EXPECT_EQ(client.Ask(Call(kEcho, (16 << 20) + 1)), "error 1");
    EXPECT_EQ(client.Ask("send server t 1 0"), "0");
    EXPECT_EQ(client.Ask("send nobody t 1 0"), "6");
}

}  // namespace
