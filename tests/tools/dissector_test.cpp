// The script for network analysers, by the analyser itself where it is installed: every message with a value in every
// field, as the table has it.
#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>

#include "capture_file.h"
#include "child_process.h"
#include "exchange.h"
#include "protocol/sample.h"
#include "read_file.h"
#include "value.h"

namespace orvi_test {
namespace {

using namespace orvi_bus_tool;

constexpr char TSHARK[] = "/usr/bin/tshark";

// "name: value" of every field, as the analyser prints them.
void AddLines(const std::vector<orvi_protocol::Value>& values, std::vector<std::string>& lines) {
    for (const orvi_protocol::Value& value : values) {
        const bool isNumber =
            value.field->type == orvi_protocol::Type::Number || value.field->type == orvi_protocol::Type::Flag;
        const bool isText = value.field->type == orvi_protocol::Type::Text;
        if ((isNumber || isText) && (value.isElement || !value.field->isList)) {
            std::string text = isText ? value.bytes : std::to_string(value.number);
            for (const orvi_protocol::Word& word : value.field->words) {
                text = isNumber && word.number == value.number ? std::string(word.word) : text;
            }
            lines.push_back(std::string(value.field->name) + ": " + text);
        }
        AddLines(value.items, lines);
    }
}

TEST(Dissector, ShowsEveryFieldOfEveryMessage) {
    if (access(TSHARK, X_OK) != 0 || *ORVI_TEST_EMULATOR != '\0') {
        GTEST_SKIP() << TSHARK << " is not installed, or this is an emulated build";
    }
    char folder[] = "/tmp/orvi-test-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::string script = std::string(folder) + "/orvi.lua";
    const std::string capture = std::string(folder) + "/all.pcapng";
    ASSERT_EQ(std::system((ORVI_TEST_BIN_DIR "/orvi-bus dissector >" + script).c_str()), 0);
    CaptureWriter writer;
    std::string why;
    ASSERT_TRUE(writer.Open(capture, why)) << why;
    std::vector<std::vector<std::string>> expected;
    for (const orvi_protocol::Message* message : orvi_protocol::AllMessages()) {
        for (const bool isReply : {false, true}) {
            const orvi_protocol::Record* const layout = isReply ? message->reply : message->payload;
            if (layout == nullptr && isReply) {
                continue;
            }
            std::string bytes;
            ASSERT_TRUE(layout == nullptr || orvi_protocol::Encode(layout, Sample(layout), bytes, why)) << why;
            const bool toService = ToService(message->direction);
            TrafficRecord record;
            record.kind = isReply                                                   ? TraceKind::kReply
                          : message->direction == orvi_protocol::Direction::Request ? TraceKind::kRequest
                                                                                    : TraceKind::kOneWay;
            record.msgId = message->id;
            record.from = toService != isReply ? "application" : "AI_VISION";
            record.to = toService != isReply ? "AI_VISION" : "application";
            record.size = static_cast<uint32_t>(bytes.size());
            record.payload.emplace(bytes.begin(), bytes.end());
            ASSERT_TRUE(writer.Write(record, false, why)) << why;
            expected.push_back({"Message: " + std::string(message->name)});
            AddLines(orvi_protocol::Decode(layout, bytes.data(), bytes.size()).values, expected.back());
        }
    }
    ChildProcess tshark(TSHARK, {"-X", "lua_script:" + script, "-r", capture, "-V", "-O", "orvi"},
                        std::string(folder) + "/errors");
    tshark.CloseInput();
    size_t packet = 0;
    size_t next = 0;
    for (std::string line; tshark.ReadLine(line);) {
        if (line.rfind("Frame ", 0) == 0) {
            ASSERT_TRUE(packet == 0 || next == expected[packet - 1].size())
                << "packet " << packet << " lacks " << expected[packet - 1][next];
            ASSERT_LE(++packet, expected.size());
            next = 0;
        }
        const size_t begin = line.find_first_not_of(' ');
        if (packet != 0 && begin != std::string::npos && next < expected[packet - 1].size() &&
            line.substr(begin) == expected[packet - 1][next]) {
            ++next;
        }
    }
    EXPECT_EQ(packet, expected.size());
    EXPECT_EQ(next, expected.back().size());
    EXPECT_EQ(tshark.Wait(), 0) << ReadFile(std::string(folder) + "/errors");
    for (const char* file : {"/orvi.lua", "/all.pcapng", "/errors"}) {
        (void)std::remove((folder + std::string(file)).c_str());
    }
    EXPECT_EQ(rmdir(folder), 0);
}

}  // namespace
}  // namespace orvi_test
