// The encoder and the decoder: over every record of the table, and on what is wrong.
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <regex>

#include "orvi_vision_sim_payloads.h"
#include "sample.h"

namespace {

using namespace orvi_protocol;
using orvi_test::AllRecords;
using orvi_test::Sample;

const Record* PayloadOf(std::string_view name) {
    const Message* const message = FindMessage(name);
    EXPECT_NE(message, nullptr) << name;
    return message->payload;
}

std::string Encoded(const Record* record, const std::vector<Setting>& settings, Check check = Check::Bounds) {
    std::string bytes;
    std::string error;
    EXPECT_TRUE(Encode(record, settings, bytes, error, check)) << (record != nullptr ? record->name : "") << error;
    return bytes;
}

// Decodes a copy that ends where the bytes end, so that a sanitizer sees a read behind them.
Decoded DecodeExact(const Record* record, const std::string& bytes, size_t length) {
    const std::unique_ptr<char[]> copy(new char[length]);
    std::copy_n(bytes.begin(), length, copy.get());
    return Decode(record, copy.get(), length);
}

// Takes one JSON value from the start of the text; false when there is none.
bool TakeJson(std::string_view& text) {
    const char first = text.empty() ? '\0' : text[0];
    if (first != '{' && first != '[') {
        static const std::regex scalar(R"(^("(?:[^"\\\x00-\x1f]|\\["\\]|\\u[0-9a-f]{4})*"|-?[0-9]+|true|false))");
        std::cmatch match;
        const bool isThere = std::regex_search(text.begin(), text.end(), match, scalar);
        text.remove_prefix(isThere ? static_cast<size_t>(match.length()) : 0);
        return isThere;
    }
    const char last = first == '{' ? '}' : ']';
    text.remove_prefix(1);
    while (!text.empty() && text[0] != last) {
        if (first == '{' && (text[0] != '"' || !TakeJson(text) || text.empty() || text[0] != ':')) {
            return false;
        }
        text.remove_prefix(first == '{' ? 1 : 0);
        if (!TakeJson(text) || text.empty() || (text[0] != ',' && text[0] != last)) {
            return false;
        }
        text.remove_prefix(text[0] == ',' ? 1 : 0);
    }
    text.remove_prefix(text.empty() ? 0 : 1);
    return true;
}

TEST(Codec, EveryRecordComesBack) {
    for (const Record* record : AllRecords()) {
        SCOPED_TRACE(record->name);
        const std::vector<Setting> settings = Sample(record);
        const std::string bytes = Encoded(record, settings);
        EXPECT_GE(bytes.size(), record->shortest);
        EXPECT_LE(bytes.size(), record->longest);
        const Decoded decoded = DecodeExact(record, bytes, bytes.size());
        EXPECT_TRUE(decoded.faults.empty()) << decoded.faults.front();
        EXPECT_EQ(Encoded(record, ToSettings(decoded.values)), bytes);
        for (const Setting& setting : settings) {
            EXPECT_NE(FindValue(decoded.values, setting.path), nullptr) << setting.path;
        }
    }
}

TEST(Codec, NothingIsReadBehindTheEnd) {
    for (const Record* record : AllRecords()) {
        const std::string bytes = Encoded(record, Sample(record));
        for (size_t length = 0; length < bytes.size(); ++length) {
            const Decoded decoded = DecodeExact(record, bytes, length);
            ASSERT_EQ(decoded.faults.empty(), length >= record->shortest && record->shortest == 0)
                << record->name << " " << length;
        }
    }
}

TEST(Codec, AnyBytesGiveAResult) {
    std::mt19937 random(7);
    for (const Record* record : AllRecords()) {
        const std::string sample = Encoded(record, Sample(record));
        for (int round = 0; round < 300; ++round) {
            std::string bytes = sample.substr(0, round % 3 == 0 ? random() % (sample.size() + 1) : sample.size());
            for (int change = 0; change < 5 && !bytes.empty(); ++change) {
                // Counts stand at the beginning of most records.
                const size_t at = random() % (change == 0 ? std::min<size_t>(bytes.size(), 24) : bytes.size());
                bytes[at] = static_cast<char>(random() % 4 == 0 ? 0xFF : random());
            }
            const Decoded decoded = DecodeExact(record, bytes, bytes.size());
            Style style;
            style.reveal = round % 2 == 0;
            EXPECT_LE(ToLine(decoded, style, 200).size(), 203U);
            const std::string json = ToJson(decoded, style);
            std::string_view rest = json;
            EXPECT_TRUE(TakeJson(rest) && rest.empty()) << json;
            (void)ToTable(decoded, style);
            MaskPrivate(record, bytes.data(), bytes.size());
        }
    }
}

TEST(Codec, BytesAreThoseOfTheStructs) {
    OrviSimFaceEvent expected = {};
    expected.faceCount = 2;
    expected.faces[1].score = 93;
    expected.faces[1].yaw = -20;
    const std::string bytes = Encoded(PayloadOf("face.event"), {{"faces[1].score", "93"}, {"faces[1].yaw", "-20"}});
    ASSERT_EQ(bytes.size(), sizeof(expected));
    EXPECT_EQ(std::memcmp(bytes.data(), &expected, sizeof(expected)), 0);

    OrviSimModelPiece piece = {sizeof(piece), 5, 0, 2, "hi"};
    EXPECT_EQ(Encoded(PayloadOf("model.piece"), {{"request", "5"}, {"text", "hi"}}),
              std::string(reinterpret_cast<const char*>(&piece), sizeof(piece)));

    const std::string photos = Encoded(FindMessage("face.photos")->reply, {{"photos[0].face", "7"},
                                                                           {"photos[0].image", "text:abc"},
                                                                           {"photos[1].face", "9"},
                                                                           {"photos[1].image", "text:defgh"}});
    EXPECT_EQ(photos, std::string("\2\0\0\0\7\0\0\0\3\0\0\0abc\11\0\0\0\5\0\0\0defgh", 28));
    const Record* const intents = PayloadOf("assistant.intents");
    EXPECT_EQ(Encoded(intents, {}).size(), 4U);
    EXPECT_EQ(Encoded(intents, {{"names", "a"}, {"names", "b"}}).size(), 4U + 2 * 256);
    EXPECT_EQ(Encoded(PayloadOf("hotword.add"), {{"key", "abc"}}), std::string("abc\0", 4));
    EXPECT_EQ(Encoded(PayloadOf("assistant.speak"), {{"text", std::string(1024, 'x')}}).size(), 1032U);
}

TEST(Codec, RefusesWhatIsNoValue) {
    const struct {
        const char* message;
        std::vector<Setting> settings;
        const char* error;
    } cases[] = {
        {"caption.start", {}, "conference is missing"},
        {"caption.start", {{"conference", "c"}, {"option1", "2"}}, "option1 is '2': -2147483648 to 1"},
        {"caption.start", {{"conference", "c"}, {"report", "2"}}, "report is '2': 0 to 1"},
        {"caption.start", {{"conference", std::string(192, 'c')}}, "conference has 192 bytes: at most 191"},
        {"caption.start", {{"conference", "a"}, {"conference", "b"}}, "conference is given twice"},
        {"caption.start", {{"conference", std::string("a\0b", 3)}}, "conference has a NUL inside"},
        {"caption.stop",
         {{"speaker", "Zoe"}},
         "there is no field 'speaker'; there are client.process, client.task, client.cpu"},
        {"caption.deinit", {{"x", ""}}, "there is no field 'x'"},
        {"face.create", {{"rate", "31"}}, "rate is '31': 1 to 30 per second"},
        {"face.photos", {}, "count is 0: 1 to 5"},
        {"face.photos", {{"faces[5]", "1"}}, "faces: there is room for 5"},
        {"face.photos", {{"faces[x]", "1"}}, "'faces[x]': an index in brackets is a number"},
        {"face.photos", {{"faces", "7"}, {"count", "2"}}, "count is not 1, which is what is there"},
        {"face.event", {{"faces[0].score", "101"}}, "faces[0].score is '101': 0 to 100 percent"},
        {"checkin.page",
         {{"view", "all"}},
         "view is 'all': everybody, present, absent, latest-first, by-name, guests, counts, or 0 to 6"},
        {"assistant.speak", {{"text", std::string(1025, 'x')}}, "text has 1025 bytes: at most 1024"},
        {"assistant.mic", {{"length", "17"}}, "length is 17: the whole has 16 bytes"},
        {"notice.39", {{"contents", "hex:0g"}}, "contents is 'hex:0g': hex:00ff, zeros:100 or text:hello"},
    };
    for (const auto& one : cases) {
        std::string bytes;
        std::string error;
        EXPECT_FALSE(Encode(PayloadOf(one.message), one.settings, bytes, error)) << one.error;
        EXPECT_EQ(error, one.error);
        EXPECT_TRUE(bytes.empty());
    }
}

TEST(Codec, SendsWhatIsWrongWhenAsked) {
    const std::string bytes =
        Encoded(PayloadOf("face.event"), {{"count", "9"}, {"faces[0].score", "101"}}, Check::Width);
    const Decoded decoded = DecodeExact(PayloadOf("face.event"), bytes, bytes.size());
    ASSERT_EQ(decoded.faults, std::vector<std::string>{"count is 9, there is room for 7"});
    EXPECT_EQ(FindValue(decoded.values, "faces[0].score")->number, 101);
}

TEST(Codec, TellsWhatIsWrong) {
    const struct {
        const char* message;
        std::string bytes;
        const char* fault;
    } cases[] = {
        {"face.photos", std::string("\1\0\0\0\7\0\0\0\xff\xff\xff\x7f", 12) + "abc",
         "image: 2147483647 bytes are announced, 3 are there"},
        {"face.photos", std::string("\3\0\0\0\7\0\0\0\1\0\0\0a", 13), "photos: 1 of 3 are there"},
        {"face.photos", std::string("\xff\xff\xff\xff", 4), "count is -1"},
        {"checkin.init", std::string("\0abc", 4), "3 bytes behind the end"},
        {"checkin.init", "", "0 bytes, at least 1 expected"},
    };
    for (const auto& one : cases) {
        const Decoded decoded = DecodeExact(FindMessage(one.message)->reply, one.bytes, one.bytes.size());
        ASSERT_FALSE(decoded.faults.empty()) << one.fault;
        EXPECT_EQ(decoded.faults[0], one.fault);
    }
    const Message& start = *FindMessage("face.start");
    EXPECT_EQ(DecodeReply(start, std::string(56, '\0').data(), 56).values.back().field->name, "verdict");
    const std::string many = std::string("\xff\xff\xff\x7f", 4) + std::string(8 * 20000, '\0');
    EXPECT_EQ(Decode(FindMessage("face.photos")->reply, many.data(), many.size()).faults[0],
              "too many values: the rest is left out");
}

TEST(Codec, ShowsProgramsAndPeopleWhatTheyMaySee) {
    const Record* const line = PayloadOf("caption.line");
    std::string bytes = Encoded(line, {{"number", "3"}, {"speaker", "Zo\u00eb \"Z\""}, {"text", "a\x1b[2J\xff\n"}});
    const Decoded decoded = DecodeExact(line, bytes, bytes.size());
    Style whole;
    whole.reveal = true;
    EXPECT_EQ(ToJson(decoded, whole),
              "{\"length\":512,\"number\":3,\"final\":true,\"start\":0,\"face\":0,\"speaker\":\"Zo\u00eb \\\"Z\\\"\","
              "\"text\":\"a\\u001b[2J\\ufffd\\u000a\"}");
    EXPECT_EQ(ToLine(decoded, whole),
              "number=3 final=1 start=0 face=0 speaker=\"Zo\u00eb \"Z\"\" text=\"a\\x1b[2J\\xff\\x0a\"");
    EXPECT_EQ(ToLine(decoded, {}),
              "number=3 final=1 start=0 face=0 speaker=\"(private, 8 bytes)\" text=\"(private, 7 bytes)\"");
    MaskPrivate(line, bytes.data(), bytes.size());
    EXPECT_EQ(ToLine(Decode(line, bytes.data(), bytes.size()), whole),
              "number=3 final=1 start=0 face=0 speaker=\"********\" text=\"*******\"");

    const Record* const card = PayloadOf("assistant.card");
    const std::string items = Encoded(
        card,
        {{"seq", "7"}, {"title", "Lunch?"}, {"items[0].text", "yes"}, {"items[1].id", "12"}, {"items[1].text", "no"}});
    EXPECT_EQ(ToTable(DecodeExact(card, items, items.size()), whole),
              "  seq    7\n"
              "  count  2\n"
              "  title  Lunch?\n"
              "  body\n"
              "  id  text\n"
              "  1   yes\n"
              "  12  no\n");
}

// Bytes behind the end of a private text may be what stood there before.
TEST(Codec, MasksWhatTheTableDoesNotExplain) {
    OrviSimCaptionSpeaker speaker = {sizeof(speaker), 7, "Ada\0Grace"};
    MaskPrivate(PayloadOf("caption.speaker"), &speaker, sizeof(speaker));
    const OrviSimCaptionSpeaker expected = {sizeof(expected), 7, "***"};
    EXPECT_EQ(std::memcmp(&speaker, &expected, sizeof(speaker)), 0);
}

}  // namespace
