// The table against itself, the library's ids, what the library exports, and its documentation.
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "sample.h"

namespace {

using namespace orvi_protocol;

std::string ReadFile(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    EXPECT_FALSE(text.str().empty()) << path;
    return text.str();
}

// Marks the bytes that a record's fields take; a byte may be taken once.
void Cover(const Record& record, size_t at, std::set<std::string_view>& names, std::vector<int>& taken) {
    const auto counter = [&record](std::string_view name) {
        return std::count_if(record.fields.begin(), record.fields.end(),
                             [name](const Field& field) { return field.name == name && field.type == Type::Number; });
    };
    for (const Field& field : record.fields) {
        SCOPED_TRACE(std::string(record.name) + ": " + std::string(field.name));
        if (field.name.empty()) {
            ASSERT_NE(field.record, nullptr);
            EXPECT_EQ(field.size, field.record->longest);
            Cover(*field.record, at + field.offset, names, taken);
            continue;
        }
        EXPECT_TRUE(names.insert(field.name).second) << "twice";
        EXPECT_FALSE(field.meaning.empty());
        EXPECT_TRUE(field.counter.empty() || counter(field.counter) == 1) << field.counter;
        if (field.type == Type::Record) {
            ASSERT_NE(field.record, nullptr);
            EXPECT_TRUE(field.extent == Extent::Packed || field.each == field.record->longest);
            EXPECT_EQ(field.record->shortest, field.extent == Extent::Packed ? 8 : field.record->longest);
        }
        if (field.type == Type::Number || field.type == Type::Flag) {
            EXPECT_TRUE(field.each == 1 || field.each == 4);
            EXPECT_LE(field.least, field.most);
        }
        const bool isText = field.type == Type::Text && !field.isList;
        const uint32_t sure = field.extent == Extent::Room ? field.size : isText ? 1 : 0;  // a text has its NUL
        const size_t end = at + field.offset + sure;
        ASSERT_LE(end, taken.size());
        for (size_t i = at + field.offset; i < end; ++i) {
            EXPECT_EQ(taken[i]++, 0) << "byte " << i;
        }
        if (field.extent != Extent::Room) {
            EXPECT_EQ(end, record.shortest) << "is not the end of its record";
            EXPECT_TRUE(field.extent != Extent::Cut || field.offset + field.size == record.longest);
        }
    }
}

TEST(Table, FieldsFillTheirRecords) {
    for (const Record* record : orvi_test::AllRecords()) {
        std::vector<int> taken(record->shortest);
        std::set<std::string_view> names;
        Cover(*record, 0, names, taken);
        EXPECT_EQ(std::count(taken.begin(), taken.end(), 0), 0) << record->name << " has bytes without a field";
    }
}

TEST(Table, NamesAndIdsAreUnique) {
    std::set<std::string_view> names;
    std::set<std::pair<bool, uint32_t>> ids;
    for (const Message* message : AllMessages()) {
        const bool toService = ToService(message->direction);
        EXPECT_TRUE(names.insert(message->name).second) << message->name;
        EXPECT_TRUE(ids.insert({toService, message->id}).second) << message->name;
        EXPECT_TRUE(std::regex_match(std::string(message->name), std::regex("[a-z]+[.][a-z0-9-]+"))) << message->name;
        EXPECT_EQ(FindMessage(message->name), message);
        EXPECT_EQ(FindMessage(message->id, toService), message);
        EXPECT_EQ(message->task.empty(), !toService) << message->name;
        EXPECT_EQ(message->function.empty(), !toService) << message->name;
        EXPECT_EQ(message->callback == Callback::None, toService) << message->name;
    }
    EXPECT_EQ(FindMessageByWord("0x600038"), FindMessage("caption.line"));
    EXPECT_EQ(FindMessageByWord("6291477"), FindMessage("caption.start"));
    for (const char* word : {"", "0x", "caption", "0x600038x", "99999999999", "-1", " 1"}) {
        EXPECT_EQ(FindMessageByWord(word), nullptr) << word;
    }
}

TEST(Table, HasTheLibrarysIds) {
    const std::string header = ReadFile(ORVI_SOURCE_DIR "/proxy/message_ids.h");
    const std::regex pattern("constexpr uint32_t AI_(MSG|EVT)_(\\w+) = (0x[0-9A-F]+);");
    std::set<std::pair<bool, uint32_t>> expected = {{false, 0x200002}, {false, 0x200003}};
    for (std::sregex_iterator match(header.begin(), header.end(), pattern), end; match != end; ++match) {
        const auto id = static_cast<uint32_t>(std::stoul((*match)[3], nullptr, 16));
        const uint32_t count = (*match)[2] == "ASSISTANT_FIRST" ? 12 : 1;
        for (uint32_t i = 0; i < count; ++i) {
            expected.insert({(*match)[1] == "MSG", id + i});
        }
    }
    std::set<std::pair<bool, uint32_t>> ids;
    for (const Message* message : AllMessages()) {
        ids.insert({ToService(message->direction), message->id});
    }
    EXPECT_EQ(ids, expected);
}

TEST(Table, FunctionsAreExported) {
    const std::string map = ReadFile(ORVI_SOURCE_DIR "/interface/orvi_ai_srv.map");
    for (const Message* message : AllMessages()) {
        const std::string function(message->function);
        EXPECT_TRUE(function.empty() || map.find(" " + function + ";") != std::string::npos ||
                    map.find("::" + function + "(") != std::string::npos)
            << message->name << ": " << function;
    }
}

// --- docs/functions.md ---

std::string BytesColumn(const Message& message) {
    if (message.name == "assistant.intents") {
        return "4 + 256 an intent";
    }
    if (message.task == "ai_hotword_task") {
        return "the key and its NUL";
    }
    return std::to_string(message.payload != nullptr ? message.payload->longest : 0);
}

std::string ReplyColumn(const Message& message) {
    const std::string most = message.reply != nullptr ? std::to_string(message.reply->longest) : "";
    switch (message.rule) {
        case ReplyRule::None:
            return "-";
        case ReplyRule::Verdict:
            return "verdict";
        case ReplyRule::Any:
            return "any";
        case ReplyRule::AnyUpTo:
            return "any, <= " + most;
        case ReplyRule::Data:
            return "data";
        case ReplyRule::DataUpTo:
            return "data <= " + most + (message.name == "model.ability" ? "; its failure leaves two flags 0" : "");
        case ReplyRule::DataIntoRoom:
            return "data <= the caller's buffer";
        case ReplyRule::Photos:
            break;
    }
    return "the photos that it announces";
}

TEST(Table, IsTheDocumentedOne) {
    // A row a function; the last function sends one of three messages.
    std::map<std::string, std::string> expected;
    const char* const kinds[] = {"", ", type 1 ", ", type 2 "};
    std::string hotWordIds;
    size_t kind = 0;
    for (const Message* message : AllMessages()) {
        const std::string function(message->function);
        if (function.rfind("Orvi", 0) != 0) {
            continue;  // an event, or a method of the proxy only
        }
        char id[16];
        snprintf(id, sizeof(id), "0x%06X", message->id);
        std::string ids = id;
        if (function == "OrviAiAssistantUpdateKeyWord") {
            ids = hotWordIds += std::string(kinds[kind++]) + id;
        }
        const std::string wait = message->direction == Direction::OneWay ? "one-way"
                                 : message->waitMs == WAIT_OF_BUS        ? "bus"
                                                                         : std::to_string(message->waitMs);
        expected[function] = "| `" + function + "` | " + ids + " | " + std::string(message->task) + " | " + wait +
                             " | " + BytesColumn(*message) + " | " + ReplyColumn(*message) + " |";
    }
    std::istringstream documentation(ReadFile(ORVI_SOURCE_DIR "/docs/functions.md"));
    const std::string nothingSent = " | - | - | - | - | - |";
    size_t found = 0;
    for (std::string line; std::getline(documentation, line);) {
        if (line.compare(0, 3, "| `") != 0 || line.find(nothingSent) != std::string::npos) {
            continue;
        }
        const std::string function = line.substr(3, line.find('`', 3) - 3);
        EXPECT_EQ(line, expected[function]);
        ++found;
    }
    EXPECT_EQ(found, expected.size());
}

}  // namespace
