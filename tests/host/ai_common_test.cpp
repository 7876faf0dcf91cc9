#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

#include "child.h"
#include "orvi_ai_common.h"
#include "orvi_host_common.h"

namespace {

int32_t ValueAt(const void* record, size_t offset) {
    int32_t value = 0;
    std::memcpy(&value, static_cast<const char*>(record) + offset, sizeof(value));
    return value;
}

void Write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

constexpr size_t kOffsets[] = {184, 188, 192, 196, 200, 204, 208, 220, 224, 228, 348, 352};

std::string Flag(const std::string& name, const std::string& value) {
    return "<flag name=\"" + name + "\" value=\"" + value + "\"/>";
}

std::string Nested(size_t depth) {
    std::string text = "<capability>";
    for (size_t i = 0; i < depth; ++i) {
        text += "<flag>";
    }
    return text;
}

TEST(Capability, EveryFlagHasItsPlace) {
    const struct {
        const char* name;
        size_t offset;
    } cases[] = {{"minutes-signature", 184}, {"sign", 188},         {"caption", 192},       {"nameplate", 196},
                 {"face-detector", 200},     {"director", 204},     {"fast-director", 208}, {"auto-frame", 220},
                 {"speak-track", 224},       {"split-screen", 228}, {"large-model-b", 348}, {"large-model-a", 352}};
    for (const auto& c : cases) {
        const TempDir dir;
        Write(dir / "c.xml",
              "<?xml version=\"1.0\"?>\n<!-- one -->\n<capability>" + Flag(c.name, "5") + "</capability>\n");
        InChild({{"ORVI_AI_CAPABILITY", dir / "c.xml"}}, dir / "err", [&] {
            const void* const record = OrviAiGetXmlData();
            ASSERT_NE(record, nullptr);
            for (const size_t offset : kOffsets) {
                EXPECT_EQ(ValueAt(record, offset), offset == c.offset ? 5 : 0) << c.name << " at " << offset;
            }
        });
        EXPECT_EQ(ReadFile(dir / "err"), "");
    }
}

TEST(Capability, DefaultsAndSampleSupportEverything) {
    for (const char* path : {"", ORVI_SAMPLE}) {
        InChild({{"ORVI_AI_CAPABILITY", path}}, "", [] {
            const void* const record = OrviAiGetXmlData();
            ASSERT_NE(record, nullptr);
            for (const size_t offset : kOffsets) {
                EXPECT_EQ(ValueAt(record, offset), 1) << offset;
            }
        });
    }
}

// What is wrong with a file is said in one line that names the file; the result is null.
TEST(Capability, FaultsAreNamed) {
    const struct {
        const char* what;
        std::string text;
        const char* expected;
    } cases[] = {
        {"empty", "", "expected <capability>"},
        {"no XML", "caption=1", "line 1: expected <"},
        {"another root", "<config/>", "\"config\"; expected <capability>"},
        {"an unknown flag", "<capability>" + Flag("captions", "1") + "</capability>",
         "\"captions\" is unknown; expected one of minutes-signature, sign, caption"},
        {"a word for a value", "<capability>" + Flag("sign", "yes") + "</capability>",
         "flag \"sign\" has the value \"yes\"; expected a 32-bit whole number"},
        {"an empty value", "<capability>" + Flag("sign", "") + "</capability>", "has the value \"\""},
        {"a plus sign", "<capability>" + Flag("sign", "+1") + "</capability>", "has the value \"+1\""},
        {"33 bits", "<capability>" + Flag("sign", "2147483648") + "</capability>", "has the value \"2147483648\""},
        {"a flag without name", "<capability><flag value=\"1\"/></capability>", "a flag has no name"},
        {"a flag without value", "<capability><flag name=\"sign\"/></capability>", "flag \"sign\" has no value"},
        {"another attribute", "<capability><flag name=\"sign\" on=\"1\"/></capability>", "attribute \"on\""},
        {"a flag twice", "<capability>" + Flag("sign", "1") + Flag("sign", "0") + "</capability>",
         "flag \"sign\" stands there twice"},
        {"text", "<capability>sign</capability>", "<capability> holds \"sign\"; expected <flag"},
        {"a flag with contents", "<capability><flag name=\"sign\" value=\"1\">1</flag></capability>", "has contents"},
        {"two roots", "<capability/><capability/>", "after </capability>"},
        {"a wrong end tag on line 3", "<capability>\n" + Flag("sign", "1") + "\n</capabilities>", "line 3: "},
        {"the end missing", "<capability>", "line 1: unexpected end of data"},
        {"a NUL byte", std::string("<capability>\0</capability>", 26), "NUL byte"},
        {"as deep as the tags go", Nested(500), "unexpected end of data"},
        {"deep enough to break a stack", Nested(100000), "more than 512 tags"},
        {"a flood of entities", "<capability>" + std::string(100000, '&') + "</capability>", "<capability> holds"},
        {"over 1 MiB", "<capability>" + std::string(1024 * 1024, ' ') + "</capability>", "longer than 1 MiB"},
    };
    for (const auto& c : cases) {
        const TempDir dir;
        Write(dir / "c.xml", c.text);
        InChild({{"ORVI_AI_CAPABILITY", dir / "c.xml"}}, dir / "err", [] { EXPECT_EQ(OrviAiGetXmlData(), nullptr); });
        const std::vector<std::string> lines = Lines(ReadFile(dir / "err"));
        ASSERT_EQ(lines.size(), 1U) << c.what;
        EXPECT_NE(lines[0].find("ORVI_AI_CAPABILITY: cannot use " + (dir / "c.xml") + ": "), std::string::npos)
            << lines[0];
        EXPECT_NE(lines[0].find(c.expected), std::string::npos) << c.what << ": " << lines[0];
    }
}

TEST(Capability, FilesThatCannotBeReadAreNamed) {
    const TempDir dir;
    ASSERT_EQ(mkdir((dir / "folder").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    const struct {
        const char* name;
        const char* expected;
    } cases[] = {
        {"missing", "No such file or directory"}, {"folder", "not a regular file"}, {"pipe", "not a regular file"}};
    for (const auto& c : cases) {
        const std::string err = dir / (std::string(c.name) + ".err");
        InChild({{"ORVI_AI_CAPABILITY", dir / c.name}}, err, [] { EXPECT_EQ(OrviAiGetXmlData(), nullptr); });
        const std::vector<std::string> lines = Lines(ReadFile(err));
        ASSERT_EQ(lines.size(), 1U) << c.name;
        EXPECT_NE(lines[0].find(c.expected), std::string::npos) << lines[0];
    }
}

// A sample that was cut anywhere ends in one line, and a file that was mended is used.
TEST(Capability, CutSamplesAreAnsweredAndMendedFilesAreUsed) {
    const TempDir dir;
    const std::string whole = ReadFile(ORVI_SAMPLE);
    const size_t end = whole.rfind('>') + 1;  // the rest is white space
    constexpr size_t kStep = 7;
    InChild({{"ORVI_AI_CAPABILITY", dir / "c.xml"}}, dir / "err", [&] {
        for (size_t length = 0; length < end; length += kStep) {
            Write(dir / "c.xml", whole.substr(0, length));
            ASSERT_EQ(OrviAiGetXmlData(), nullptr) << length;
        }
        Write(dir / "c.xml", whole);
        const void* const record = OrviAiGetXmlData();
        ASSERT_NE(record, nullptr);
        Write(dir / "c.xml", "<capability/>");
        EXPECT_EQ(OrviAiGetXmlData(), record) << "a record that was handed out stays";
        EXPECT_EQ(ValueAt(record, 192), 1);
    });
    EXPECT_EQ(Lines(ReadFile(dir / "err")).size(), (end + kStep - 1) / kStep);
}

TEST(Capability, ThreadsShareOneRecord) {
    std::vector<std::thread> threads;
    std::vector<void*> records(8);
    for (void*& record : records) {
        threads.emplace_back([&record] { record = OrviAiGetXmlData(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const void* record : records) {
        EXPECT_NE(record, nullptr);
        EXPECT_EQ(record, records[0]);
    }
}

TEST(Trace, LevelComesFromTheEnvironment) {
    const struct {
        const char* value;
        int level;
        size_t complaints;
    } cases[] = {{"", 0, 0}, {"none", 0, 0}, {"error", 1, 0}, {"3", 3, 0}, {"info", 3, 0}, {"9", 0, 1}};
    for (const auto& c : cases) {
        const TempDir dir;
        InChild({{"ORVI_TRACE_LEVEL", c.value}}, dir / "err", [&] {
            EXPECT_EQ(GetGucAITraceLevel(), c.level) << c.value;
            EXPECT_EQ(GetGucAITraceLevel(), c.level) << c.value;
        });
        EXPECT_EQ(Lines(ReadFile(dir / "err")).size(), c.complaints) << c.value;
    }
}

// The way that a trace is written: prefix, message format appended, the whole used as the format.
TEST(Trace, PrefixServesAsAFormat) {
    const TempDir dir;
    InChild({{"ORVI_LOG_FILE", dir / "log"}}, "", [] {
        char scratch[ORVI_AI_TRACE_SCRATCH_SIZE + 1];
        char line[ORVI_AI_TRACE_LINE_SIZE + 1];
        std::memset(scratch, '%', sizeof(scratch));
        std::memset(line, '%', sizeof(line));
        OrviAiGetTraceString(scratch, 3, line);
        EXPECT_EQ(scratch[ORVI_AI_TRACE_SCRATCH_SIZE], '%');
        EXPECT_EQ(line[ORVI_AI_TRACE_LINE_SIZE], '%');
        ASSERT_LT(strnlen(line, sizeof(line)), 100U) << "the message needs the room";
        ASSERT_EQ(std::strchr(line, '%'), nullptr);
        std::strcat(line, "[Function:12]:%s %d");
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        OrviAiTracePrintf(line, "text\nwith a newline", 7);
#pragma GCC diagnostic pop
        OrviAiTracePrintf("AI_TRACE_ERROR: snprintf_s error!\n");
    });
    const std::vector<std::string> lines = Lines(ReadFile(dir / "log"));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].find(" trace3 "), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("[Function:12]:text\\nwith a newline 7"), std::string::npos) << lines[0];
    EXPECT_EQ(lines[1], "AI_TRACE_ERROR: snprintf_s error!");
}

TEST(ClientLog, AttachesAndDetaches) {
    EXPECT_EQ(OrviHostLogIsAttached(), 0);
    EXPECT_NE(OrviAiLogUinit(), 0) << "nothing to detach";
    EXPECT_EQ(OrviAiClientLogInit(), 0);
    EXPECT_EQ(OrviHostLogIsAttached(), 1);
    EXPECT_EQ(OrviAiLogUinit(), 0);
    EXPECT_EQ(OrviHostLogIsAttached(), 0);
    EXPECT_EQ(OrviAiClientLogInit(), 0);
    EXPECT_EQ(OrviHostLogAttachCount(), 2U);
    EXPECT_EQ(OrviHostLogDetachCount(), 1U);
}

TEST(ClientLog, FileIdsAreInTheLowHalf) {
    const uint32_t id = OrviAiGetAiLogFileId("AiLog.log");
    EXPECT_EQ(id, OrviAiGetAiLogFileId(std::string("AiLog.log").c_str()));
    EXPECT_NE(id & 0xFFFFU, OrviAiGetAiLogFileId("AiLog.txt") & 0xFFFFU);
    EXPECT_NE(id >> 16, 0U) << "a caller that forgets the mask must be noticed";
    EXPECT_EQ(OrviAiGetAiLogFileId(nullptr), OrviAiGetAiLogFileId(""));
}

}  // namespace
