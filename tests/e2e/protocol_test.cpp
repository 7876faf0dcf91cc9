// The table of messages against the simulated service as it runs: it takes each message at the table's task with the
// table's lengths and nothing else, answers with the table's records, and knows the table's events.
#include <regex>
#include <set>

#include "protocol/sample.h"
#include "vision_test.h"

namespace orvi_test {
namespace {

using namespace orvi_protocol;

class ProtocolTest : public VisionTest {
 protected:
    // A request whatever the message is: the answer comes when the service is through with it.
    static Outcome Send(const Message& message, std::string_view task, const std::string& payload) {
        return RequestFromTask(std::string(task).c_str(), message.id, Bytes(payload.begin(), payload.end()),
                               LONG_WAIT_MS);
    }

    static std::string PayloadFor(const Message& message) {
        std::vector<Setting> settings = Sample(message.payload);
        for (Setting& setting : settings) {
            if (setting.path == "client.process") {
                setting.value = ProcessName();
            } else if (setting.path == "client.task") {
                setting.value = TaskName();
            } else if (setting.path == "key" && message.task == "ai_hotword_task") {
                setting.value = message.name == "hotword.register" ? "param_hot_word_x" : "param_hot_word_x:word";
            } else if (setting.path == "mode" || setting.path == "server") {
                setting.value = "0";
            }
        }
        std::string payload;
        std::string error;
        EXPECT_TRUE(Encode(message.payload, settings, payload, error)) << message.name << ": " << error;
        return payload;
    }

    // The reasons for which the service has refused this message, as its log tells.
    std::string Refusals(const Message& message) const {
        char id[32];
        snprintf(id, sizeof(id), "refused 0x%x ", message.id);
        std::string reasons;
        std::istringstream log(simulator_.Log());
        for (std::string line; std::getline(log, line);) {
            reasons += line.find(id) != std::string::npos ? line + "\n" : "";
        }
        return reasons;
    }
};

TEST_F(ProtocolTest, TheServiceTakesEachMessageAndAnswersIt) {
    Connect({"--arrival", "0"});
    for (const Message* message : AllMessages()) {
        if (!ToService(message->direction)) {
            continue;
        }
        SCOPED_TRACE(message->name);
        const bool isRequest = message->direction == Direction::Request;
        const Outcome outcome = Send(*message, message->task, PayloadFor(*message));
        ASSERT_EQ(outcome.result, 0);
        const std::string refusals = Refusals(*message);
        for (const char* reason : {"unknown id", "belongs to", "bytes, expected"}) {
            EXPECT_EQ(refusals.find(reason), std::string::npos) << refusals;
        }
        EXPECT_EQ(refusals.find("waits for a reply") != std::string::npos, !isRequest) << refusals;
        if (isRequest && message->reply != nullptr) {
            const Decoded reply = DecodeReply(*message, outcome.data.data(), outcome.data.size());
            EXPECT_TRUE(reply.faults.empty()) << reply.faults.front();
        }
    }
}

TEST_F(ProtocolTest, TheServiceRefusesOtherLengthsAndTasks) {
    Connect();
    for (const Message* message : AllMessages()) {
        if (!ToService(message->direction)) {
            continue;
        }
        SCOPED_TRACE(message->name);
        const std::string right = PayloadFor(*message);
        const std::string_view otherTask = message->task == "ai_om_task" ? "ai_face_task" : "ai_om_task";
        EXPECT_EQ(Send(*message, otherTask, right).data, Bytes{1});
        size_t wrong = 1;
        if (message->payload == nullptr || message->payload->longest != UNBOUNDED) {
            const size_t longest = message->payload != nullptr ? message->payload->longest : 0;
            EXPECT_EQ(Send(*message, message->task, std::string(longest + 1, 'x')).data, Bytes{1});
            ++wrong;
        }
        if (message->payload != nullptr) {
            EXPECT_EQ(Send(*message, message->task, right.substr(0, message->payload->shortest - 1)).data, Bytes{1});
            ++wrong;
        }
        const std::string refusals = Refusals(*message);
        EXPECT_NE(refusals.find("belongs to " + std::string(message->task)), std::string::npos) << refusals;
        EXPECT_EQ(static_cast<size_t>(std::count(refusals.begin(), refusals.end(), '\n')), wrong) << refusals;
    }
}

// The simulator lists the ids of its events at its command "events".
TEST_F(ProtocolTest, TheServiceKnowsTheEvents) {
    Connect();
    std::set<uint32_t> expected;
    for (const Message* message : AllMessages()) {
        if (message->direction == Direction::Event) {
            expected.insert(message->id);
        }
    }
    const std::string list = simulator_.Command("events");
    const std::regex pattern("0x(6[0-9a-f]{5})");
    std::set<uint32_t> ids;
    for (std::sregex_iterator match(list.begin(), list.end(), pattern), end; match != end; ++match) {
        ids.insert(static_cast<uint32_t>(std::stoul((*match)[1], nullptr, 16)));
    }
    EXPECT_EQ(ids, expected);
}

}  // namespace
}  // namespace orvi_test
