// The table of messages against the simulated service as it runs: it takes each message at the table's task with the
// table's lengths and nothing else, answers with the table's records, and knows the table's events.
#include <regex>
#include <set>

#include "common_records.h"
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

    // Whether the service refuses the message, be it sent as a request or one-way, for what is told of it in the table.
    bool IsRefused(const Message& message, std::string_view task, const std::string& payload, Bytes& reply) {
        if (message.direction == Direction::Request) {
            const Outcome outcome = Send(message, task, payload);
            EXPECT_EQ(outcome.result, 0);
            reply = outcome.data;
            return VerdictOf(message, reply) == ORVI_SIM_MALFORMED;
        }
        const size_t before = RefusalsLogged();
        SendToTask(std::string(task).c_str(), message.id, Bytes(payload.begin(), payload.end()));
        // Messages to a task keep their order: when this one has its answer, a refusal itself, that one has been seen.
        constexpr uint32_t UNKNOWN = 0x6FFFF0;
        EXPECT_EQ(RequestFromTask(std::string(task).c_str(), UNKNOWN, {}, LONG_WAIT_MS).data,
                  Bytes{ORVI_SIM_MALFORMED});
        return RefusalsLogged() != before + 1;
    }

    // The verdict in a reply; ORVI_SIM_DONE in one that is a record.
    static int64_t VerdictOf(const Message& message, const Bytes& reply) {
        if (reply.size() == 1) {
            return reply[0];
        }
        // A photo may have any length.
        const Record* const refusal = message.name == "checkin.photo" ? &REFUSAL_OF<LARGEST_PHOTO> : message.refusal;
        if (refusal == nullptr || reply.size() != refusal->longest) {
            return ORVI_SIM_DONE;
        }
        return FindValue(Decode(refusal, reply.data(), reply.size()).values, "verdict")->number;
    }

    // Who sends one-way is told of a refusal nowhere but there.
    size_t RefusalsLogged() const {
        size_t count = 0;
        const std::string log = simulator_.Log();
        for (size_t at = 0; (at = log.find(" refused ", at)) != std::string::npos; ++at) {
            ++count;
        }
        return count;
    }

    static constexpr uint32_t LARGEST_PHOTO = 1 << 20;
};

TEST_F(ProtocolTest, TheServiceTakesEachMessageAndAnswersIt) {
    Connect({"--arrival", "0"});
    for (const Message* message : AllMessages()) {
        if (!ToService(message->direction)) {
            continue;
        }
        SCOPED_TRACE(message->name);
        Bytes data;
        EXPECT_FALSE(IsRefused(*message, message->task, PayloadFor(*message), data));
        const Decoded reply = DecodeReply(*message, data.data(), data.size());
        EXPECT_TRUE(message->reply == nullptr || reply.faults.empty()) << reply.faults.front();
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
        Bytes reply;
        EXPECT_TRUE(IsRefused(*message, otherTask, right, reply));
        if (message->payload == nullptr || message->payload->longest != UNBOUNDED) {
            const size_t longest = message->payload != nullptr ? message->payload->longest : 0;
            EXPECT_TRUE(IsRefused(*message, message->task, std::string(longest + 1, 'x'), reply));
        }
        if (message->payload != nullptr) {
            EXPECT_TRUE(IsRefused(*message, message->task, right.substr(0, message->payload->shortest - 1), reply));
        }
        if (message->direction == Direction::OneWay) {
            EXPECT_EQ(Send(*message, message->task, right).data, Bytes{ORVI_SIM_MALFORMED}) << "is no request";
        }
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
